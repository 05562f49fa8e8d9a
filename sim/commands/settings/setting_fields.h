// Handlers for settings that stand in requests and answers byte by byte.
#pragma once

#include "commands/dispatch.h"
#include "commands/fields.h"

namespace tagwire::sim {

inline constexpr std::uint8_t set_bit = 0x80;  // of a byte that is both asked and set by one command

inline void take(Fields& from, std::uint8_t& field) { field = from.byte(); }

template <std::size_t size> void take(Fields& from, std::array<std::uint8_t, size>& field)
{
    field = from.fixed<size>();
}

inline void give(Bytes& to, std::uint8_t field) { to.push_back(field); }

template <std::size_t size> void give(Bytes& to, const std::array<std::uint8_t, size>& field)
{
    for (const std::uint8_t byte : field) to.push_back(byte);
}

template <auto... fields>
inline constexpr std::size_t size_of_fields = (sizeof(std::declval<Settings&>().*fields) + ...);

inline void refuse(Device& device, const Call& call) { device.answer(call, status::bad_parameter); }

inline void change(Device& device, const Call& call, const std::function<void(Settings&)>& edit,
                   Lasting lasting = Lasting::stored)
{
    device.answer(call, device.change(edit, lasting) ? status::success : status::bad_parameter);
}

template <auto... fields> void store(Device& device, const Call& call)
{
    change(device, call, [&call](Settings& settings) {
        Fields from(call.data(), 0);
        (take(from, settings.*fields), ...);
    });
}

template <auto... fields> void tell(Device& device, const Call& call)
{
    Bytes data;
    (give(data, device.config().*fields), ...);
    device.answer(call, status::success, data);
}

// Sets the field when the request's highest bit is set; tells it in any case.
template <std::uint8_t Settings::*field> void exchange(Device& device, const Call& call)
{
    const std::uint8_t asked = call.data()[0];
    const auto value = static_cast<std::uint8_t>(asked & ~set_bit);
    const bool sets = (asked & set_bit) != 0;
    if (sets && !device.change([value](Settings& settings) { settings.*field = value; }))
        return refuse(device, call);
    tell<field>(device, call);
}

template <auto... fields> void add_store(CommandTable& table, std::uint8_t code)
{
    table.add(code, size_of_fields<fields...>, store<fields...>);
}

template <auto... fields> void add_tell(CommandTable& table, std::uint8_t code)
{
    table.add(code, 0, tell<fields...>);
}

template <std::uint8_t Settings::*field> void add_exchange(CommandTable& table, std::uint8_t code)
{
    table.add(code, 1, exchange<field>);
}

// 0 stores a setting, 1 sets it until the reader restarts; nothing for other bytes.
inline std::optional<Lasting> lasting_of(std::uint8_t byte)
{
    if (byte > 1) return std::nullopt;
    return byte == 0 ? Lasting::stored : Lasting::until_restart;
}

}  // namespace tagwire::sim
