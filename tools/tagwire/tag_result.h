// What the library answers to a command for one tag.
#pragma once

namespace tagwire::tool {

struct TagResult {
    int code = 0;
    int tag_error = -1;  // of the tag, when it refused

    bool is_success() const { return code == 0; }
    bool operator==(const TagResult&) const = default;
};

}  // namespace tagwire::tool
