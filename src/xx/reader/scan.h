// Where and how long inventories look for tags, and what their results mean.
#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "xx/reader/tag_collection.h"

namespace tagwire {
inline namespace v1 {

// A mask as commands carry it.
struct GivenMask {
    u8 bank = 1;
    std::array<u8, 2> bit{};  // high byte first
    u8 bits = 0;
    std::array<u8, 32> bytes{};
};
GivenMask given_mask(const ReaderInside& inside, const Call& call, u8 bank, unsigned bit, const Bytes& bytes,
                     unsigned bits);
GivenMask given_mask(const ReaderInside& inside, const Call& call, const Mask& mask);

struct ScanPlan {
    std::vector<u8> antennas;     // as commands carry them; none: as the reader is set
    std::optional<u8> scan_time;  // units of 100 ms
};
ScanPlan scan_plan(const ReaderInside& inside, const Call& call, const std::vector<Port>& antennas,
                   std::optional<std::chrono::milliseconds> scan_time);

// One antenna for a time.
struct Place {
    bool is_given = false;  // otherwise as the reader is set
    u8 antenna = 0;
    u8 scan_time = 0;
};
// Antenna and time go together: what the plan leaves open is then what the reader is set to.
std::vector<Place> places_of(ReaderInside& inside, const ScanPlan& plan, bool must_be_given);

// One inventory; false where its time was over.
bool scan_place(ReaderInside& inside, const Call& call, const Place& place,
                const std::function<int(const Place&)>& send);
// An Error tells what came until then.
bool scan_place(ReaderInside& inside, const Call& call, const Place& place, TagCollection& tags,
                const std::function<int(const Place&)>& send);

// What a Reader offers under these names.
InventoryResult inventory(ReaderInside& inside, const InventoryPlan& plan);
InventoryResult inventory_6b(ReaderInside& inside, const std::optional<Condition6b>& condition);
InventoryResult inventory_gb(ReaderInside& inside, const OtherTagsPlan& plan);
InventoryResult inventory_jb(ReaderInside& inside, const OtherTagsPlan& plan);

// Throws Error where the reader does not tell.
std::vector<Port> ask_enabled_ports(ReaderInside& inside);

inline std::chrono::milliseconds time_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

}  // namespace v1
}  // namespace tagwire
