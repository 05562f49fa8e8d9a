#include "device/parameter_tables.h"

#include <utility>

#include "transport/wire.h"

namespace tagwire::sim {

Bytes ParameterTables::table(std::uint8_t number) const
{
    const auto found = tables_.find(number);
    return found == tables_.end() ? Bytes{} : found->second;
}

std::uint8_t ParameterTables::write(std::uint8_t number, std::uint8_t frame, const Bytes& chunk)
{
    std::optional<Writing> writing = std::exchange(writing_, std::nullopt);
    const bool follows = writing && writing->table == number && writing->next == frame;
    if (!follows && frame != 0) return status::out_of_order;
    if (!follows) writing = Writing{number, 0, {}};
    if (chunk.empty()) {
        tables_[number] = std::move(writing->bytes);
        return status::success;
    }
    if (chunk.size() > longest_table_chunk || writing->bytes.size() + chunk.size() > longest_table) {
        return status::bad_parameter;
    }
    append(writing->bytes, chunk);
    ++writing->next;
    writing_ = std::move(writing);
    return status::success;
}

void ParameterTables::replace_all(const Tables& tables)
{
    tables_ = tables;
    stop_writing();
}

}  // namespace tagwire::sim
