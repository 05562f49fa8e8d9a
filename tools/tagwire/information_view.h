// What a reader says about itself, as text and as JSON.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "format.h"
#include "reader_information.h"

namespace tagwire::tool {

struct InformationReport {
    std::string reader;
    ReaderInformation information;
    std::optional<ModuleDetails> module;
    int module_code = 0;
    std::string module_error;
};

std::vector<std::string> information_lines(const InformationReport& report);
Json information_json(const InformationReport& report);

}  // namespace tagwire::tool
