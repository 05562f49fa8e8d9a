// Parameter tables.
#include <array>

#include "xx/reader/reader_inside.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

constexpr Call read_table_call{.name = "read a parameter table", .family = engine::ResultFamily::services};
constexpr Call write_table_call{
    .name = "write a parameter table", .effect = Effect::change, .family = engine::ResultFamily::services};
constexpr Call all_parameters_call{
    .name = "change all parameters", .effect = Effect::change, .family = engine::ResultFamily::services};

constexpr std::size_t longest_table = 65535;

u8 checked_table(const ReaderInside& inside, const Call& call, unsigned number)
{
    return static_cast<u8>(checked(inside, call, "the number of a table", number, 0, 255));
}

}  // namespace

Bytes Tables::read(unsigned number)
{
    const u8 table = checked_table(*inside_, read_table_call, number);
    Bytes out(longest_table + 1);
    std::array<u8, 2> length{};
    inside_->ask(read_table_call, &Operations::ReadParameterTable, table, out.data(), length.data());
    out.resize(std::size_t{length[0]} << 8U | length[1]);
    return out;
}

void Tables::write(unsigned number, std::span<const std::uint8_t> table)
{
    const u8 checked_number = checked_table(*inside_, write_table_call, number);
    checked(*inside_, write_table_call, "the count of bytes of a table", static_cast<long long>(table.size()),
            0, longest_table);
    Bytes bytes(table.begin(), table.end());
    bytes.push_back(0);  // an empty table has an address too
    const ReaderInside::Turn turn(*inside_);
    inside_->ask(write_table_call, &Operations::WriteParameterTable, checked_number, bytes.data(),
                 static_cast<int>(table.size()));
    bytes.pop_back();
    if (read_back(*inside_, write_table_call, [&] { return read(number); }) != bytes)
        fail_as_different(*inside_, write_table_call,
                          "the reader does not hold what was written: is the table free to be written?");
}

void Tables::save_as_factory()
{
    inside_->ask(all_parameters_call, &Operations::OverwriteFactoryDefaultParameterTable);
}

void Tables::restore_factory()
{
    inside_->ask(all_parameters_call, &Operations::RestoreFactoryDefaultParameterTable);
}

void Tables::clear(unsigned what)
{
    inside_->ask(all_parameters_call, &Operations::ClearAllParameters,
                 static_cast<u8>(checked(*inside_, all_parameters_call, "what is cleared", what, 1, 255)));
}

}  // namespace v1
}  // namespace tagwire
