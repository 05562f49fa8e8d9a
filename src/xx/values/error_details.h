// What few errors carry.
#pragma once

#include <tagwirexx/error.hpp>
#include <tagwirexx/inventory.hpp>

namespace tagwire {
inline namespace v1 {

struct ErrorDetails {
    std::vector<Range> written = {};
    std::vector<Range> not_written = {};
    std::vector<Range> unknown = {};
    std::vector<SeenTag> answered = {};
    int tag_error = -1;
};

}  // namespace v1
}  // namespace tagwire
