// One tag's temperature.
#pragma once

#include "xx/sensors/degrees.h"
#include "xx/sensors/fd_tag.h"

namespace tagwire {
inline namespace v1 {

inline constexpr Call temperature_call{.name = "read the temperature",
                                       .family = engine::ResultFamily::sensor};

const ChipRule& chip_rule(const ReaderInside& inside, const Call& call, SensorChip chip);

enum class Asked { in_inventory, one_by_one };
// Throws Error for what the chip does not have.
void check_question(const ReaderInside& inside, const Call& call, SensorChip chip, Asked asked,
                    const SensorQuestion& question);

// Bytes that did not come are a problem; a refusal is an Error.
void measure_one(TagInside& tag, SensorChip chip, const SensorQuestion& question, Temperature& measured,
                 const std::optional<Bytes>& time = {});

}  // namespace v1
}  // namespace tagwire
