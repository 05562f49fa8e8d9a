// Collects what the callback receives.
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tagwire/types.h"

namespace tagwire::engine::test {

struct SeenTag {
    RFIDTag tag;  // its UID pointer is dead: use `uid`
    std::string uid;
    int kind;
};

// One list for the process; a callback is a plain function.
class SeenTags {
  public:
    static void callback(RFIDTagStruct tag, int kind)
    {
        const std::lock_guard lock(mutex());
        list().push_back({*tag, tag->UID, kind});
    }
    static std::vector<SeenTag> take()
    {
        const std::lock_guard lock(mutex());
        return std::exchange(list(), {});
    }
    static std::size_t count()
    {
        const std::lock_guard lock(mutex());
        return list().size();
    }

  private:
    static std::mutex& mutex()
    {
        static std::mutex m;
        return m;
    }
    static std::vector<SeenTag>& list()
    {
        static std::vector<SeenTag> l;
        return l;
    }
};

}  // namespace tagwire::engine::test
