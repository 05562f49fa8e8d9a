// A virtual reader behind one kind of link, and its URL.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "link/crc16.h"
#include "simulator.h"

#include <tagwirexx/reader.hpp>

namespace tagwire::test {

enum class Link { tcp, pty };

inline std::string link_name(const testing::TestParamInfo<Link>& info)
{
    return info.param == Link::tcp ? "tcp" : "pty";
}

inline sim::TagSettings make_tag(unsigned serial)
{
    sim::TagSettings tag;
    tag.epc = {0xE2,
               0,
               0,
               0,
               0,
               0,
               0,
               0,
               static_cast<std::uint8_t>(serial >> 24U),
               static_cast<std::uint8_t>(serial >> 16U),
               static_cast<std::uint8_t>(serial >> 8U),
               static_cast<std::uint8_t>(serial)};
    return tag;
}
inline Epc epc_of(unsigned serial) { return Epc(std::span<const std::uint8_t>(make_tag(serial).epc)); }

// An answer or report of the reader at address 0x0A.
inline sim::Bytes frame_of(std::uint8_t command, const sim::Bytes& data, std::uint8_t status = 0)
{
    sim::Bytes frame{static_cast<std::uint8_t>(data.size() + 5), 0x0A, command, status};
    frame.insert(frame.end(), data.begin(), data.end());
    const std::uint16_t crc = engine::crc16(frame.data(), frame.size());
    frame.push_back(static_cast<std::uint8_t>(crc & 0xFFU));
    frame.push_back(static_cast<std::uint8_t>(crc >> 8U));
    return frame;
}

// As fast as the machine is, at address 0x0A.
inline sim::Scenario make_scenario(unsigned tags)
{
    sim::Scenario scenario;
    scenario.reader.address = 0x0A;
    scenario.reader.air_time = 0;
    scenario.reader.report_rate = 0;
    for (unsigned i = 1; i <= tags; ++i) scenario.tags.push_back(make_tag(i));
    return scenario;
}

// A busy machine may keep an answer for longer than a command waits: then again.
template <class Act> auto patiently(Act act)
{
    for (int attempt = 1; attempt < 20; ++attempt) {
        try {
            return act();
        } catch (const Error& error) {
            if (error.code() != Errc::no_answer && error.code() != Errc::bad_answer) throw;
        }
    }
    return act();
}

// What is thrown; fails where nothing is.
template <class Act> std::unique_ptr<Error> error_of(Act act)
{
    try {
        act();
    } catch (const Error& error) {
        return std::make_unique<Error>(error);
    }
    ADD_FAILURE() << "no Error";
    return std::make_unique<Error>(Errc::file, "", "", "");
}

class VirtualReader : public testing::TestWithParam<Link> {
  protected:
    // Ends the connection to an earlier reader.
    void connect(const sim::Scenario& scenario, const std::string& query = "")
    {
        opened.reset();
        device = &simulator.add_reader(scenario);
        url = url_of(*device, query);
        open();
    }
    void open()
    {
        opened = patiently([&] { return std::make_unique<Reader>(url); });
    }
    std::string url_of(sim::Reader& reader, const std::string& query = "") const
    {
        if (GetParam() == Link::tcp)
            return "tcp://127.0.0.1:" + std::to_string(reader.listen("127.0.0.1", 0)) +
                   (query.empty() ? "" : "?" + query);
        return "serial:" + reader.open_pty() + "?baud=115200" + (query.empty() ? "" : "&" + query);
    }
    Reader& reader() { return *opened; }
    void connect_family(sim::ReaderFamily family)
    {
        sim::Scenario scenario = make_scenario(0);
        scenario.reader.family = family;
        connect(scenario);
    }

    // Refused before anything is sent.
    template <class Act> void expect_invalid(Act act, Errc code = Errc::invalid_value)
    {
        const std::uint64_t before = device->counters().requests;
        const auto error = error_of(act);
        EXPECT_EQ(error->code(), code) << error->what();
        EXPECT_EQ(error->outcome(), Outcome::nothing);
        EXPECT_EQ(device->counters().requests, before);
    }
    // The first command of this code is answered with these bytes of data instead of its own.
    template <class Act>
    auto with_answer(std::uint8_t command, const sim::Bytes& data, Act act, std::uint8_t status = 0)
    {
        const sim::Bytes frame = frame_of(command, data, status);
        const auto attempt = [&] {
            sim::Fault lose = sim::Fault::lose();
            lose.command = command;
            device->inject(lose);
            const std::uint64_t before = device->counters().commands[command];
            const std::jthread answering([this, command, before, &frame] {
                if (device->wait_for_command(command, before + 1)) device->send_raw(frame);
            });
            return act();
        };
        for (int i = 1; i < 20; ++i) {
            try {
                return attempt();
            } catch (const Error& error) {
                if (error.code() != Errc::no_answer) throw;
            }
        }
        return attempt();
    }
    // A command whose answer has these bytes of data only.
    template <class Act>
    void expect_short_answer_refused(std::uint8_t command, const sim::Bytes& data, Act act)
    {
        const auto error = error_of([&] { with_answer(command, data, act); });
        EXPECT_EQ(error->code(), Errc::bad_answer) << error->what();
    }

    sim::Simulator simulator;
    sim::Reader* device = nullptr;
    std::string url;
    std::unique_ptr<Reader> opened;
};

}  // namespace tagwire::test
