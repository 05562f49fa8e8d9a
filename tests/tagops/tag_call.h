// A call of one tag command with arguments that all differ, and what it leaves in its outputs.
#pragma once

#include <ostream>
#include <string>

#include "support/exchanges.h"

namespace tagwire::engine::test {

inline constexpr u8 asked_address = 0x05;
inline constexpr u8 answering_address = 0x0A;
inline constexpr u8 untouched_byte = 0x99;
inline constexpr int untouched_code = 1234;

// Everything that a call can change. `value` is the command's output of one byte, `bytes` the one of many.
struct Outcome {
    int result;
    int address;
    int Errorcode;
    int value;
    std::string bytes;

    bool operator==(const Outcome&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Outcome& o)
    {
        return out << "result " << o.result << ", address " << o.address << ", Errorcode " << o.Errorcode
                   << ", value " << o.value << ", bytes '" << o.bytes << "'";
    }
};

inline Outcome nothing_but(int result) { return {result, asked_address, untouched_code, untouched_byte, ""}; }

// "01 02 03" and so on.
inline Bytes counting(int count)
{
    Bytes out;
    for (int i = 1; i <= count; ++i) out.push_back(static_cast<u8>(i));
    return out;
}

// The arguments of all commands. Arrays are as long as a command may read or write them, and on the heap,
// where a step beyond is seen. Those that the way of addressing does not use are null.
struct TagCall {
    int handle = 0;  // above 0: the exported function is called
    u8 address = asked_address;
    u8 ENum = 0;
    Bytes epc;
    bool masked = false;
    u8 MaskLen = 0;
    Bytes mask;
    Bytes mask_address{0x56, 0x78};
    Bytes password{0xA1, 0xA2, 0xA3, 0xA4};
    Bytes kill_password{0xB1, 0xB2, 0xB3, 0xB4};
    Bytes word_pointer{0x12, 0x34};
    u8 WNum = 3;
    Bytes words{0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6};
    u8 MsgLen = 2;
    Bytes message{0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6};
    int antenna = 0x0103;
    u8 ports = 16;
    Bytes antennas{0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48};
    int Errorcode = untouched_code;
    u8 value = untouched_byte;
    Bytes bytes = repeat(untouched_byte, 250);

    static TagCall by_epc(int words)
    {
        TagCall call;
        call.ENum = static_cast<u8>(words);
        call.epc = counting(2 * words);
        return call;
    }
    static TagCall by_mask(int bits)
    {
        TagCall call;
        call.ENum = 0xFF;
        call.masked = true;
        call.MaskLen = static_cast<u8>(bits);
        call.mask = counting((bits + 7) / 8);
        return call;
    }

    u8* EPC() { return masked ? nullptr : epc.data(); }
    u8* MaskAdr() { return masked ? mask_address.data() : nullptr; }
    u8* MaskData() { return masked ? mask.data() : nullptr; }

    Outcome outcome(int result) const
    {
        Bytes written = bytes;
        while (!written.empty() && written.back() == untouched_byte) written.pop_back();
        return {result, address, Errorcode, value, to_hex(written)};
    }
};

// A command, the data of an answer that tells of success, and what this answer gives.
struct TagCommand {
    const char* name;
    u8 code;
    int (*run)(Reader*, TagCall&);
    const char* data;
    Outcome success;
    bool inventory;  // whether the inventory mark is set while the frame is on its way

    bool has_error_code() const { return success.Errorcode != untouched_code; }
    friend std::ostream& operator<<(std::ostream& out, const TagCommand& c) { return out << c.name; }
};

}  // namespace tagwire::engine::test
