// What the views of a Reader and its settings by name have in common.
#pragma once

#include <string_view>
#include <vector>

#include "xx/reader/reader_inside.h"
#include "xx/values/ranges.h"

#include <tagwirexx/radio.hpp>
#include <tagwirexx/settings.hpp>

namespace tagwire {
inline namespace v1 {

int checked(const ReaderInside& inside, const Call& call, const Range& range, long long value);
// An Error unless there is no problem.
void refuse_problem(const ReaderInside& inside, const Call& call, const std::string& problem);

// dBm of each port. A reader that tells one power only has one for all.
Bytes ask_powers(ReaderInside& inside, const Call& call);
// One for all ports, or one for each of them. The ports are counted before anything is changed.
void send_powers(ReaderInside& inside, const Call& call, const Bytes& powers);

// Band, highest and lowest channel; or 0xFF and a plan of one's own: spacing, channels, first frequency.
inline constexpr std::size_t size_of_band = 3;
inline constexpr std::size_t size_of_plan = 6;
Bytes ask_region(ReaderInside& inside, const Call& call);
void send_region(ReaderInside& inside, const Call& call, Bytes region, Lasting lasting);

// Written, read back and compared, as Settings::set() does; and what another command has written. Where the reader
// does not tell a value its acknowledgement counts. Throws Error.
struct SettingValue {
    std::string_view name;
    Bytes bytes;  // as the row of the setting has them
};
void set_values(ReaderInside& inside, const std::vector<SettingValue>& values,
                Lasting lasting = Lasting::stored);
void require_values(ReaderInside& inside, const std::vector<SettingValue>& values);

// Families of readers as bits.
using Families = unsigned;
constexpr Families bit_of(ReaderFamily family) { return 1U << static_cast<unsigned>(family); }
inline constexpr Families every_family = 0b11111;
// What the reader tells with a command that means another thing to each family, and the families that tell as
// much. Of what a mobile reader tells it is the beginning.
Bytes ask_family_values(ReaderInside& inside, const Call& call);
Families families_telling(const Bytes& family_values);
// The same in one. A reader that does not know the command is of none of the families that have it to themselves.
Families ask_families(ReaderInside& inside, const Call& call);

// All that the reader tells of reading without a host: as long as it came.
Bytes ask_system_parameters(ReaderInside& inside, const Call& call);
Bytes ask_read_parameters(ReaderInside& inside, const Call& call);
// What ask_read_parameters() gave, with changes.
void send_read_parameters(ReaderInside& inside, const Call& call, const Bytes& parameters);
inline constexpr std::size_t filter_time_at = 3;  // among these

}  // namespace v1
}  // namespace tagwire
