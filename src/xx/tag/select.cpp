// The filter of Gen2 tags.
#include <algorithm>

#include "xx/reader/scan.h"

namespace tagwire {
inline namespace v1 {
namespace {

constexpr Call select_call{"set the filter of tags", Effect::change};

struct SelectFields {
    u8 target;
    u8 action;
    GivenMask mask;
    u8 truncate;
};

// Bit 0 of the last byte is port 1.
std::array<u8, 8> field_of(const ReaderInside& reader, const std::vector<Port>& antennas)
{
    std::array<u8, 8> out{};
    for (const Port port : antennas) {
        const auto bit =
            static_cast<unsigned>(checked(reader, select_call, "an antenna", port.number(), 1, 64)) - 1;
        out[out.size() - 1 - bit / 8] |= static_cast<u8>(1U << bit % 8);
    }
    return out;
}

u8 antenna_byte_of(ReaderInside& reader, Port port)
{
    const bool is_mask = reader.antenna_byte() == AntennaByte::mask;
    const int number = checked(reader, select_call, "the antenna", port.number(), 1, is_mask ? 8 : 64);
    return static_cast<u8>(is_mask ? 1 << (number - 1) : number);
}

// How many ports the reader has, which decides the form of the command.
unsigned ports_of(ReaderInside& reader)
{
    std::array<u8, 255> powers{};
    int count = 0;
    const int result =
        reader.run({"ask for the antennas"}, &Operations::GetAntennaPower, powers.data(), &count);
    return result == 0 ? static_cast<unsigned>(std::min(count, reader.came())) : 0;
}

void send_selection(ReaderInside& reader, std::vector<Port> antennas, SelectFields fields,
                    std::optional<u8> carrier_time)
{
    constexpr unsigned most_of_short_form = 16;
    const ReaderInside::Turn turn(reader);
    if (antennas.empty()) antennas = ask_enabled_ports(reader);
    GivenMask& mask = fields.mask;
    const auto ask = [&](auto operation, auto antenna, auto... more) {
        reader.ask(select_call, operation, antenna, more..., fields.target, fields.action, mask.bank,
                   mask.bit.data(), mask.bits, mask.bytes.data(), fields.truncate);
    };
    if (carrier_time)
        return reader.ask(select_call, &Operations::SelectCmdWithCarrier,
                          antenna_byte_of(reader, antennas.at(0)), fields.target, fields.action, mask.bank,
                          mask.bit.data(), mask.bits, mask.bytes.data(), fields.truncate, *carrier_time);
    auto field = field_of(reader, antennas);
    const unsigned highest =
        static_cast<unsigned>(std::max_element(antennas.begin(), antennas.end())->number());
    const unsigned ports = std::max(ports_of(reader), highest);
    if (ports > most_of_short_form) return ask(&Operations::SelectCMDByMutipleAntenna, field.data());
    ask(&Operations::SelectCMDByAntenna, field[6] << 8 | field[7], static_cast<u8>(ports));
}

}  // namespace

void Reader::select(const Selection& what)
{
    SelectFields fields{};
    fields.target =
        static_cast<u8>(checked(*inside_, select_call, "the target", static_cast<int>(what.target), 0, 4));
    fields.action = static_cast<u8>(checked(*inside_, select_call, "the action", what.action, 0, 7));
    fields.mask = given_mask(*inside_, select_call, what.mask);
    fields.truncate = what.truncate ? 1 : 0;
    field_of(*inside_, what.antennas);
    std::optional<u8> time;
    if (what.carrier_time)
        time =
            static_cast<u8>(checked(*inside_, select_call, "the carrier time", *what.carrier_time, 0, 255));
    if (time && what.antennas.size() != 1)
        refuse_value(*inside_, select_call, "a carrier time is for one antenna: name it");
    send_selection(*inside_, what.antennas, fields, time);
}

void Reader::select_all(const std::vector<Port>& antennas)
{
    field_of(*inside_, antennas);
    send_selection(*inside_, antennas, {}, {});
}

}  // namespace v1
}  // namespace tagwire
