// A call of one command for sensor tags, and the suites of those that are answered by one frame.
#pragma once

#include <gmock/gmock.h>

#include <ostream>

#include "support/exchanges.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {

// Everything that a call can change. The outputs are joined by bars, without the bytes at their ends that
// were not written.
struct SensorOutcome {
    int result;
    int address = 0x05;
    int Errorcode = 1234;
    std::string outputs{};

    bool operator==(const SensorOutcome&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const SensorOutcome& o)
    {
        return out << "result " << o.result << ", address " << o.address << ", Errorcode " << o.Errorcode
                   << ", outputs '" << o.outputs << "'";
    }
};

inline Bytes counted(int count)
{
    Bytes out;
    for (int i = 1; i <= count; ++i) out.push_back(static_cast<u8>(i));
    return out;
}

// Without the bytes at the end that still have the mark.
inline std::string written_bytes(const u8* bytes, std::size_t size)
{
    while (size > 0 && bytes[size - 1] == 0x99) --size;
    return to_hex(Bytes(bytes, bytes + size));
}

// Arrays have just the size that a command may read or write. Those that the way of addressing does not use
// are null.
struct SensorCall {
    Reader* reader;
    int handle = 0;
    u8 ENum = 0;
    u8 MaskLen = 0;
    Bytes epc{};
    Bytes mask{};
    u8 address = 0x05;
    int Errorcode = 1234;
    Bytes mask_address{0x56, 0x78};
    Bytes password{0xA1, 0xA2, 0xA3, 0xA4};
    Bytes second_password{0xB1, 0xB2, 0xB3, 0xB4};
    Bytes pair{0xC1, 0xC2};
    Bytes second_pair{0xD1, 0xD2};
    Bytes data{0xE1, 0xE2, 0xE3};
    u8 setting = 0x0B;  // a field that changes what the command does
    std::vector<Bytes> outputs{};

    static SensorCall by_epc(Reader* reader, int words)
    {
        SensorCall call{reader};
        call.ENum = static_cast<u8>(words);
        call.epc = counted(2 * words);
        return call;
    }
    static SensorCall by_mask(Reader* reader, int bits)
    {
        SensorCall call{reader};
        call.ENum = 0xFF;
        call.MaskLen = static_cast<u8>(bits);
        call.mask = counted((bits + 7) / 8);
        return call;
    }

    bool masked() const { return ENum == 0xFF && epc.empty(); }
    u8* EPC() { return masked() ? nullptr : epc.data(); }
    u8* MaskAdr() { return masked() ? mask_address.data() : nullptr; }
    u8* MaskData() { return masked() ? mask.data() : nullptr; }

    // The output with this number.
    u8* out(std::size_t number, std::size_t size)
    {
        if (outputs.size() <= number) outputs.resize(number + 1);
        outputs[number] = repeat(0x99, size);
        return outputs[number].data();
    }
    std::string written() const
    {
        std::string all;
        for (const Bytes& output : outputs) {
            const std::string bytes = written_bytes(output.data(), output.size());
            if (!all.empty() && !bytes.empty()) all += " | ";
            all += bytes;
        }
        return all;
    }
};

// What a command sends and how it takes an answer with status 0, 0xFC and any other, with the data
// "31 32 33 34 ...".
struct SensorCommand {
    const char* name;
    u8 code;
    int (*run)(SensorCall&);
    const char* ahead;   // in front of ENum
    const char* fields;  // behind the EPC or in front of the mask
    int most_words;
    int len_0, len_6, len_most;                           // with an EPC of 0, 6 and the most words
    int len_mask_0 = 0, len_mask_9 = 0, len_mask_16 = 0;  // with a mask of so many bits; 0: there is no mask
    SensorOutcome success{}, tag_error{}, failure{};

    bool takes_mask() const { return len_mask_0 != 0; }
    friend std::ostream& operator<<(std::ostream& out, const SensorCommand& c) { return out << c.name; }
};

struct SensorName {
    template <class Parameter> std::string operator()(const Parameter& parameter) const
    {
        return parameter.param.name;
    }
};

inline constexpr u8 answering = 0x0A;
// The receiver's own check clears two bytes behind a frame; the third makes the command's check fail.
inline const Bytes bytes_behind = hex("01 02 03");
inline const Bytes answer_data =
    hex("31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F 40 41 42 43 44 45 46 47 48");

// The clock stands still unless the library waits.
class SensorCommands : public testing::Test {
  protected:
    static SensorOutcome finish(int (*run)(SensorCall&), SensorCall& call)
    {
        const int result = run(call);
        return {result, call.address, call.Errorcode, call.written()};
    }
    // The frame sent by a call that gets no answer.
    std::string sent(int (*run)(SensorCall&), SensorCall call) const
    {
        reader_.sent();
        EXPECT_EQ(finish(run, call), SensorOutcome{TAGWIRE_NO_ANSWER});
        EXPECT_FALSE(reader_->isInventoryCmd);
        return to_hex(reader_.sent());
    }
    SensorOutcome answered(int (*run)(SensorCall&), SensorCall call, const Bytes& bytes) const
    {
        reader_.feed(bytes);
        return finish(run, call);
    }
    SensorOutcome answered(int (*run)(SensorCall&), const Bytes& bytes) const
    {
        return answered(run, SensorCall::by_epc(reader_, 2), bytes);
    }
    static std::string framed(std::string_view bytes) { return to_hex(with_crc(hex(bytes))); }

    VirtualTime time_;
    TestReader reader_;
    OpenHandle handle_{reader_};
};

class SensorFrames : public SensorCommands, public testing::WithParamInterface<SensorCommand> {
  protected:
    SensorCall by_epc(int words) const { return SensorCall::by_epc(reader_, words); }
    SensorCall by_mask(int bits) const { return SensorCall::by_mask(reader_, bits); }
    std::string expected(int len, int ENum, const Bytes& epc, const Bytes& mask) const
    {
        const SensorCommand& c = GetParam();
        const Bytes head{static_cast<u8>(len), 0x05, c.code};
        return to_hex(
            with_crc(head + hex(c.ahead) + Bytes{static_cast<u8>(ENum)} + epc + hex(c.fields) + mask));
    }
    void expect_epc(int words, int len) const
    {
        EXPECT_EQ(sent(GetParam().run, by_epc(words)), expected(len, words, counted(2 * words), {})) << words;
    }
    void expect_mask(int bits, int len) const
    {
        const Bytes mask = hex("02 56 78") + Bytes{static_cast<u8>(bits)} + counted((bits + 7) / 8);
        EXPECT_EQ(sent(GetParam().run, by_mask(bits)), expected(len, 0xFF, {}, mask)) << bits;
    }
};

class SensorAnswers : public SensorCommands, public testing::WithParamInterface<SensorCommand> {
  protected:
    SensorOutcome answered(const Bytes& bytes) const
    {
        return SensorCommands::answered(GetParam().run, bytes);
    }
    Bytes own(int status) const
    {
        return answer(answering, GetParam().code, static_cast<u8>(status), answer_data);
    }
};

}  // namespace tagwire::engine::test
