// What fills a Profile.
#pragma once

#include "xx/settings/rows.h"

#include <tagwirexx/profile.hpp>

namespace tagwire {
inline namespace v1 {

class ProfileInside {
  public:
    static void add(Profile& profile, const rows::Row& row, const std::string& text)
    {
        profile.values_.push_back({row.name, text});
    }
    static void add_refused(Profile& profile, SettingNote note)
    {
        profile.refused_.push_back(std::move(note));
    }
    static void add_silent(Profile& profile, SettingNote note) { profile.silent_.push_back(std::move(note)); }
    static void set_reader(Profile& profile, std::optional<int> type, std::optional<Version> firmware)
    {
        profile.type_ = type;
        profile.firmware_ = firmware;
    }
};

}  // namespace v1
}  // namespace tagwire
