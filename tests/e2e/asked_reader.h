// A test that asks one virtual reader for what it can set and tell.
#pragma once

#include <thread>
#include <type_traits>

#include "e2e/linked_reader.h"

namespace tagwire::test {

// When *address becomes the address of the reader that answered.
enum class Echo { never, on_success, always };

// Commands go to whoever is there, so that the address of the reader that answered shows.
class AskedReader : public LinkedReader {
  protected:
    static constexpr unsigned char everyone = 0xFF;
    static constexpr unsigned char own = 0x0A;
    static constexpr int refused = 0xFF;

    // The reader at address `own`.
    static sim::Scenario scenario_of(unsigned tags)
    {
        sim::Scenario scenario = make_scenario(tags);
        scenario.reader.address = own;
        scenario.reader.serial = {0xA1, 0xB2, 0xC3, 0xD4};
        return scenario;
    }

    template <class... Parameters>
    int ask(int (*command)(unsigned char*, Parameters...), std::type_identity_t<Parameters>... arguments)
    {
        answered_by = everyone;
        return command(&answered_by, arguments...);
    }
    // For commands that wait for 200 ms only: again when a busy machine kept the answer for longer.
    template <class... Parameters>
    int ask_briefly(int (*command)(unsigned char*, Parameters...),
                    std::type_identity_t<Parameters>... arguments)
    {
        const std::int64_t unanswered = unanswered_by(reader->counters());
        int result = ask(command, arguments...);
        for (int attempt = 1; attempt < 20 && result == 48; ++attempt) {
            drop_late_answer(unanswered);
            result = ask(command, arguments...);
        }
        return result;
    }

    // The result of a command to which this frame is the answer, in place of the reader's own.
    template <class Command> int answered_with(const Bytes& frame, Command command)
    {
        const std::uint8_t code = frame.at(2);
        int result = 48;
        for (int attempt = 0; attempt < 20 && result == 48; ++attempt) {
            sim::Fault lose = sim::Fault::lose();
            lose.command = code;
            reader->inject(lose);
            const std::uint64_t before = reader->counters().commands[code];
            std::thread answering([&] {
                if (reader->wait_for_command(code, before + 1)) reader->send_raw(frame);
            });
            result = command();
            answering.join();
        }
        return result;
    }

    void expect_address(Echo echo, int result) const
    {
        const bool told = echo == Echo::always || (echo == Echo::on_success && result == 0);
        EXPECT_EQ(answered_by, told ? reader->address() : everyone);
    }
    void expect_done(int result, Echo echo = Echo::never) const
    {
        EXPECT_EQ(result, 0);
        expect_address(echo, 0);
    }
    void expect_refused(int result, Echo echo = Echo::never) const
    {
        EXPECT_EQ(result, refused);
        expect_address(echo, refused);
    }
    // What the edit does to the settings in force is all that happens.
    template <class Edit, class Command> void expect_change(Edit edit, Command command, Echo echo)
    {
        sim::Settings expected = reader->settings();
        edit(expected);
        expect_done(command(), echo);
        EXPECT_TRUE(reader->settings() == expected);
    }
    template <class Command> void expect_no_change(Command command, Echo echo)
    {
        const sim::Settings before = reader->settings();
        expect_refused(command(), echo);
        EXPECT_TRUE(reader->settings() == before);
    }
    bool talks()
    {
        unsigned char serial[4] = {};
        return ask(GetSeriaNo, serial, handle) == 0 && serial[0] == reader->settings().serial[0];
    }

    unsigned char answered_by = 0;

  private:
    static std::int64_t unanswered_by(const sim::Counters& counters)
    {
        return static_cast<std::int64_t>(counters.requests + counters.reports_sent - counters.frames_sent);
    }
    void drop_late_answer(std::int64_t unanswered)
    {
        reader->wait_until([=](const sim::Counters& now) { return unanswered_by(now) <= unanswered; });
        Bytes late(2048);
        int count = 0;
        while (ReadActiveModeData(late.data(), &count, handle) == 0) {
        }
    }
};

}  // namespace tagwire::test
