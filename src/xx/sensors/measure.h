// One tag's temperature.
#pragma once

#include "xx/sensors/degrees.h"
#include "xx/sensors/named_tag.h"

namespace tagwire {
inline namespace v1 {

inline constexpr Call temperature_call{.name = "read the temperature",
                                       .family = engine::ResultFamily::sensor};

const ChipRule& chip_rule(const ReaderInside& inside, const Call& call, SensorChip chip);

enum class Asked { in_inventory, one_by_one };
// Throws Error for what the chip does not have.
void check_question(const ReaderInside& inside, const Call& call, SensorChip chip, Asked asked,
                    const SensorQuestion& question);

// The two bytes of it, as far as they came.
Bytes measure_fd(ReaderInside& inside, const Call& call, const Epc& epc, PasswordBytes password,
                 const Measurement& measurement);

// A mask for all tags whose EPC begins with these bytes.
Mask epc_mask(const Epc& epc);
// Each EPC once, at the port that read it best; only the one that is wanted, if one is.
std::vector<Read> strongest_of_each(std::vector<Read> reads, const std::optional<Epc>& wanted);

// Asks the tag, or with an empty EPC whichever answers. Bytes that did not come are a problem; a refusal is an
// Error.
void measure_one(ReaderInside& inside, SensorChip chip, PasswordBytes password,
                 const SensorQuestion& question, Temperature& measured,
                 const std::optional<Bytes>& time = {});

}  // namespace v1
}  // namespace tagwire
