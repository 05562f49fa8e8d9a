// What a line that is not understood may have been meant to be.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace tagwire::tool {

// The candidate that is so near to the word that it was meant; empty where there is none.
std::string nearest(const std::string& word, const std::vector<std::string>& candidates);

// Which word is no command or option, and what it may have been meant to be; empty where all are known.
std::string unknown_word(const CLI::App& application, const std::vector<std::string>& words);

}  // namespace tagwire::tool
