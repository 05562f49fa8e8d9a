#include "gen2_memory.h"

#include "tagwire/memory.h"
#include "tagwire/result.h"

#include <algorithm>
#include <utility>

namespace tagwire::tool {

namespace {

constexpr std::uint32_t last_word_of_short_commands = 255;

bool needs_long_pointer(const Run& run) { return run.first + run.count - 1 > last_word_of_short_commands; }

}  // namespace

TagResult Gen2Memory::read(const Run& run, Bytes& data)
{
    const Access access{place_.name, place_.password};
    auto result = read_as(access, run, data);
    if (result.is_success() || !after_failure_) return result;
    // The write that failed may have changed what the tag answers to.
    const auto second = read_as(*after_failure_, run, data);
    return second.is_success() ? second : result;
}

TagResult Gen2Memory::read_as(const Access& access, const Run& run, Bytes& data) const
{
    data.assign(std::max<std::size_t>(word_bytes * run.count, 250), 0);
    TagCall call(reader_, access.name);
    auto password = access.password;
    auto pointer = high_byte_first(run.first);
    const auto count = static_cast<std::uint8_t>(run.count);
    const auto result =
        needs_long_pointer(run)
            ? call(ExtReadData_G2, std::tuple(place_.bank, pointer.data(), count, password.data()),
                   data.data())
            : call(ReadData_G2, std::tuple(place_.bank, pointer[1], count, password.data()), data.data());
    data.resize(word_bytes * run.count);
    return result;
}

TagResult Gen2Memory::write(std::uint32_t first, std::span<const std::uint8_t> data)
{
    const Run run{first, static_cast<std::uint32_t>(data.size() / 2)};
    const auto words = static_cast<std::uint8_t>(run.count);
    const Bytes bytes(data.begin(), data.end());
    auto pointer = high_byte_first(first);
    TagCall call(reader_, place_.name);
    const auto result = needs_long_pointer(run)
                            ? call.write(place_.block_write ? ExtBlockWrite_G2 : ExtWriteData_G2, words,
                                         place_.bank, pointer.data(), bytes, place_.password)
                            : call.write(place_.block_write ? BlockWrite_G2 : WriteData_G2, words,
                                         place_.bank, pointer[1], bytes, place_.password);

    const WordsWritten written{place_.bank, first, data};
    Access after{gen2_name_after(place_.name, written), gen2_password_after(place_.password, written)};
    if (result.is_success()) {
        place_.name = std::move(after.name);
        place_.password = after.password;
    } else {
        after_failure_ = std::move(after);
    }
    return result;
}

}  // namespace tagwire::tool
