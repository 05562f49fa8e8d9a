#include "help/suggestion.h"

#include <algorithm>
#include <numeric>

#include <fmt/format.h>

#include "help/tree.h"

namespace tagwire::tool {

namespace {

// How many letters to change, leave out, put in, or exchange with the next one.
std::size_t edits(const std::string& from, const std::string& to)
{
    std::vector<std::vector<std::size_t>> rows(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    std::iota(rows[0].begin(), rows[0].end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        rows[i][0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t change = from[i - 1] == to[j - 1] ? 0 : 1;
            rows[i][j] = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, rows[i - 1][j - 1] + change});
            const bool is_exchange = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
            if (is_exchange) rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
        }
    }
    return rows[from.size()][to.size()];
}

std::string with_suggestion(std::string text, const std::string& word,
                            const std::vector<std::string>& candidates)
{
    const auto meant = nearest(word, candidates);
    return meant.empty() ? text : fmt::format("{}: did you mean '{}'?", text, meant);
}

// Options of a command are those of what it is part of, too.
const CLI::Option* find_option(const CLI::App* command, const std::string& name)
{
    for (; command != nullptr; command = command->get_parent())
        if (const auto* const found = command->get_option_no_throw(name)) return found;
    return nullptr;
}

std::string unknown_option(const CLI::App* command, const std::string& name)
{
    std::vector<std::string> known;
    const auto path = path_of(*command);
    for (const auto* at = command; at != nullptr; at = at->get_parent()) {
        for (const auto* const option : options_of(*at))
            for (const auto& one : names_of(*option)) known.push_back(one);
    }
    return with_suggestion(
        fmt::format("'{}' is no option of tagwire{}{}", name, path.empty() ? "" : " ", path), name, known);
}

std::string unknown_command(const CLI::App& group, const std::string& word)
{
    std::vector<std::string> known;
    for (const auto* const command : commands_of(group)) known.push_back(command->get_name());
    const auto path = path_of(group);
    return with_suggestion(
        fmt::format("'{}' is no command of tagwire{}{}", word, path.empty() ? "" : " ", path), word, known);
}

bool looks_like_option(const std::string& word)
{
    return word.size() > 1 && word[0] == '-' && (word[1] < '0' || word[1] > '9');
}

}  // namespace

std::string nearest(const std::string& word, const std::vector<std::string>& candidates)
{
    std::size_t least = std::max<std::size_t>(1, word.size() / 3) + 1;
    std::string best;
    for (const auto& candidate : candidates) {
        const auto steps = edits(word, candidate);
        if (steps >= least) continue;
        least = steps;
        best = candidate;
    }
    return best;
}

std::string unknown_word(const CLI::App& application, const std::vector<std::string>& words)
{
    const auto* command = &application;
    for (std::size_t i = 0; i < words.size() && words[i] != "--"; ++i) {
        const auto& word = words[i];
        const auto* const next = find_command(*command, word);
        if (looks_like_option(word)) {
            const auto equals = word.find('=');
            const auto name = word.substr(0, equals);
            const auto* const option = find_option(command, name);
            if (option == nullptr) return unknown_option(command, name);
            // An optional value may be left out.
            if (equals == std::string::npos && option->get_items_expected_min() > 0) ++i;
        } else if (next != nullptr) {
            command = next;
        } else if (!commands_of(*command).empty()) {
            return unknown_command(*command, word);
        }
    }
    return {};
}

}  // namespace tagwire::tool
