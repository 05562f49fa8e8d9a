#include "xx/sensors/fd_tag.h"

#include <algorithm>

#include "xx/sensors/degrees.h"

namespace tagwire {
inline namespace v1 {

namespace {

using O = Operations;

}  // namespace

TagMemory::Limits SensorMemory::limits() const
{
    constexpr unsigned most_read = 250;
    constexpr unsigned room = 251;  // behind the code of a command
    constexpr unsigned fixed = 13;  // counts, place, and what opens tag and memory
    const auto& [call, most_words, code] = write_sensor_memory_call;
    const NameOnWire name = tag_.name_that_fits(call, most_words);
    const unsigned fit = room - fixed - static_cast<unsigned>(name.size());
    return {.unit = 1, .most_read = most_read, .most_write = std::min(most_bytes_, fit)};
}

Bytes SensorMemory::read_with(const Password& access, const Password& own, const MemoryRange& range)
{
    SensorCall how = read_sensor_memory_call;
    how.call.least = static_cast<int>(range.count);
    std::vector<u8> data(range.count);
    auto first = word_bytes(range.first);
    ask_sensor_with(access, tag_, how, &O::Fd_ReadMemory,
                    std::tuple(first.data(), static_cast<u8>(range.count), in(access),
                               static_cast<u8>(!own.is_zero()), in(own)),
                    data.data());
    return data;
}

Bytes SensorMemory::read(const MemoryRange& range)
{
    Bytes out = read_with(tag_.password_, password_, range);
    is_password_right_ = true;
    return out;
}

void SensorMemory::write(const MemoryRange& range, std::span<const u8> data)
{
    auto first = word_bytes(range.first);
    ask_sensor(tag_, write_sensor_memory_call, &O::Fd_WriteMemory,
               std::tuple(first.data(), static_cast<u8>(range.count), in(data), in(tag_.password_),
                          static_cast<u8>(!password_.is_zero()), in(password_)));
    is_password_right_ = true;
}

Bytes SensorMemory::look(const MemoryRange& range)
{
    static const Password none;
    return read_with(tag_.proven_password(), is_password_right_ ? password_ : none, range);
}

void SensorMemory::open(const MemoryRange& range)
{
    if (!password_.is_zero()) read({range.first, 1});
}

Bytes SensorMemory::read_told(const MemoryRange& range, const ReadingTold& told)
{
    const unsigned most = limits().most_read;
    Bytes out;
    while (out.size() < range.count) {
        const auto done = static_cast<unsigned>(out.size());
        const Bytes piece = read({range.first + done, std::min(most, range.count - done)});
        out.insert(out.end(), piece.begin(), piece.end());
        const bool goes_on = !told || told({.bytes = out.size(), .total = range.count});
        if (!goes_on && out.size() < range.count)
            throw Error(Errc::aborted, read_sensor_memory_call.call.name, reader().name(),
                        "it was not to go on behind " + std::to_string(out.size()) + " of " +
                            std::to_string(range.count) + " bytes");
    }
    return out;
}

Bytes measure_fd(TagInside& tag, const SensorCall& how, const Measurement& measurement)
{
    std::array<u8, hundredths_size> data{};
    const ReaderInside::Turn turn(*tag.reader_);
    ask_sensor(tag, how, &O::Fd_GetTemperature,
               std::tuple(static_cast<u8>(measurement.quantity), static_cast<u8>(measurement.latest),
                          static_cast<u8>(measurement.check_field),
                          static_cast<u8>(measurement.block.has_value()),
                          static_cast<u8>(measurement.block.value_or(0)), in(tag.password_)),
               data.data());
    return as_came(data, tag.reader_->came(), data.size());
}

SensorMode ask_mode(TagInside& tag, const SensorCall& how, const Password& password, bool wakes)
{
    std::array<u8, 2> bits{};
    ask_sensor_with(password, tag, how, &O::Fd_OP_Mode_Chk, std::tuple(static_cast<u8>(wakes), in(password)),
                    bits.data());
    return {static_cast<std::uint16_t>(bits[0] << 8U | bits[1])};
}

}  // namespace v1
}  // namespace tagwire
