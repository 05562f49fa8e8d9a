// A command that sets or reads the reader device, its golden request, and what an answer gives.
#pragma once

#include <gmock/gmock.h>

#include <list>
#include <ostream>
#include <string>
#include <type_traits>

#include "support/exchanges.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {

inline constexpr u8 asked_address = 0x05;
inline constexpr u8 answering_address = 0x0A;
inline constexpr int untouched_number = 1234;

inline Bytes counting_from(u8 first, std::size_t count)
{
    Bytes out;
    for (std::size_t i = 0; i < count; ++i) out.push_back(static_cast<u8>(first + i));
    return out;
}

// One call. Arrays are as long as the command may read or write them and lie on the heap, where a step beyond
// is seen.
struct SettingCall {
    Reader* reader;
    Bytes out;  // all outputs of one byte and of many, one behind the other
    u8 address = asked_address;
    int number = untouched_number;  // the one output that is an int
    std::list<Bytes> inputs;

    SettingCall(Reader* r, std::size_t outputs) : reader(r), out(counting_from(0x90, outputs)) {}

    template <class... Parameters>
    int operator()(int (*Operations::*slot)(Reader*, u8*, Parameters...),
                   std::type_identity_t<Parameters>... arguments)
    {
        return (reader->operations.*slot)(reader, &address, arguments...);
    }
    u8* at(std::size_t place) { return out.data() + place; }
    u8* input(std::size_t count, u8 first = 0xA1)
    {
        return inputs.emplace_back(counting_from(first, count)).data();
    }

    std::string outcome(int result) const { return describe(result, address, out, number); }

    static std::string describe(int result, u8 address, const Bytes& out, int number)
    {
        return "result " + std::to_string(result) + ", address " + to_hex({address}) + ", outputs [" +
               to_hex(out) + "], number " + std::to_string(number);
    }
};

// When something is written, of the answers with a good CRC and the command's own code.
enum class Written { never, on_success, always };

struct Setting {
    const char* name;
    int (*run)(SettingCall&);
    const char* request;  // without the CRC
    Written address;
    const char* data = "";     // of an answer that tells of success
    const char* outputs = "";  // what it leaves in the outputs
    Written written = Written::never;
    int number = untouched_number;
    bool amid_reports = false;  // whether other frames in front of the answer are skipped
    bool clears_first = false;  // whether the outputs are zero before anything else happens

    u8 code() const { return hex(request)[2]; }
    std::size_t output_count() const { return hex(outputs).size(); }
    Bytes answer(int status) const
    {
        return test::answer(answering_address, code(), static_cast<u8>(status), hex(data));
    }

    // What the call leaves behind that ends with this status of the reader device.
    std::string with_status(int status) const
    {
        const auto happens = [&](Written when) {
            return when == Written::always || (when == Written::on_success && status == 0);
        };
        const bool writes = happens(written);
        return SettingCall::describe(status, happens(address) ? answering_address : asked_address,
                                     writes ? hex(outputs) : unwritten(), writes ? number : untouched_number);
    }
    // The same for a call that fails without an answer of its own.
    std::string with_failure(int result) const
    {
        return SettingCall::describe(result, asked_address, unwritten(), untouched_number);
    }

    friend std::ostream& operator<<(std::ostream& out, const Setting& s) { return out << s.name; }

  private:
    Bytes unwritten() const
    {
        return clears_first ? repeat(0, output_count()) : counting_from(0x90, output_count());
    }
};

struct SettingName {
    template <class Parameter> std::string operator()(const Parameter& parameter) const
    {
        return parameter.param.name;
    }
};

// The clock stands still unless the library waits.
class SettingTest : public testing::Test {
  protected:
    SettingCall call(std::size_t outputs = 0) const { return {reader_, outputs}; }

    // The outcome when the receiver gives these bytes and this result.
    std::string received(const Setting& setting, const Bytes& bytes, int result = 0)
    {
        const FixedAnswer answer(reader_, bytes, result);
        if (setting.amid_reports) reader_->operations.AutoGetDataFromPort = receive_amid_reports;
        awaited_command = -1;
        const std::string outcome = run(setting);
        reader_->operations.AutoGetDataFromPort = I_AutoGetDataFromPort;
        EXPECT_EQ(awaited_command, setting.amid_reports ? setting.code() : -1);
        EXPECT_FALSE(answer.in_inventory);
        EXPECT_FALSE(reader_->isInventoryCmd);
        reader_.sent();
        return outcome;
    }
    // The outcome when the reader device has sent these bytes.
    std::string answered(const Setting& setting, const Bytes& bytes) const
    {
        reader_.feed(bytes);
        return run(setting);
    }
    std::string run(const Setting& setting) const
    {
        SettingCall one = call(setting.output_count());
        const int result = setting.run(one);
        return one.outcome(result);
    }
    static Bytes own(u8 code, int status, const Bytes& data = {})
    {
        return answer(answering_address, code, static_cast<u8>(status), data);
    }

    VirtualTime time_;
    TestReader reader_{Link::serial};  // its reads do not wait

  private:
    static int receive_amid_reports(Reader* reader, u8* to, int* length, int command)
    {
        awaited_command = command;
        return reader->operations.GetDataFromPort(reader, to, length);
    }
    static inline int awaited_command = -1;
};

// The rules for all of them are in every_setting_test.cpp, the commands in the tests of their topics.
class EverySetting : public SettingTest, public testing::WithParamInterface<Setting> {};

// The same for those that work while the reader device reports by itself.
class SettingAmidReports : public EverySetting {
  protected:
    Bytes good() const { return GetParam().answer(0); }
    std::string success() const { return GetParam().with_status(0); }
};

inline std::vector<Setting> those_amid_reports(const std::vector<Setting>& settings)
{
    std::vector<Setting> chosen;
    for (const Setting& setting : settings)
        if (setting.amid_reports) chosen.push_back(setting);
    return chosen;
}

}  // namespace tagwire::engine::test
