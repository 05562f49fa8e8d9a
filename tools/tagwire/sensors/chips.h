// The chips of tags that measure or have an LED, and options that only some of them have.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <tagwirexx/sensors.hpp>
#include <tagwirexx/tag.hpp>

#include "option.h"

namespace tagwire::tool {

inline constexpr Choices<SensorChip, 8> sensor_chips{{{"g2", SensorChip::g2},
                                                      {"ltu32", SensorChip::ltu32},
                                                      {"ast010", SensorChip::ast010},
                                                      {"em", SensorChip::em},
                                                      {"bx", SensorChip::bx},
                                                      {"yl", SensorChip::yl},
                                                      {"on", SensorChip::on},
                                                      {"fd", SensorChip::fd}}};
inline constexpr Choices<LedChip, 4> led_chips{
    {{"fd", LedChip::fd}, {"yl", LedChip::yl}, {"klw", LedChip::klw}, {"bx", LedChip::bx}}};

inline const Choices<SensorChip, 8>& names_of(SensorChip) { return sensor_chips; }
inline const Choices<LedChip, 4>& names_of(LedChip) { return led_chips; }

template <typename Chip> class ChipOptions {
  public:
    using Chips = std::initializer_list<Chip>;

    // "g2, em: " in front of its help
    static std::string text(Chips chips)
    {
        std::string text;
        for (const auto chip : chips)
            text += fmt::format("{}{}", text.empty() ? "" : ", ", name_of(chip, names_of(chip)));
        return text + ": ";
    }
    void add(CLI::Option* option, Chips chips)
    {
        option->description(text(chips) + option->get_description());
        options_.emplace_back(option, chips);
    }
    // Throws UsageError where one was given that this chip does not have.
    void require_all_of(Chip chip) const
    {
        for (const auto& [option, chips] : options_) {
            if (option->count() != 0 && std::find(chips.begin(), chips.end(), chip) == chips.end())
                throw UsageError(fmt::format("{} does not go with --chip {}", option->get_name(),
                                             name_of(chip, names_of(chip))));
        }
    }

  private:
    std::vector<std::pair<CLI::Option*, std::vector<Chip>>> options_;
};

}  // namespace tagwire::tool
