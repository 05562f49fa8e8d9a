// Tags that a Reader keeps by itself.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/inventory.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;
class ReaderInside;

struct BufferedTag {
    Epc epc = {};
    Port port = {};
    std::uint8_t antenna_byte = 0;  // as it came
    int rssi = 0;                   // of the latest reading
    unsigned count = 0;             // readings, 255 at most
};

struct BufferCounts {
    bool complete = true;               // false: the scan time ran out
    std::optional<unsigned> read = {};  // tags that this inventory read; the reader tells when it is complete
    unsigned stored = 0;                // tags in the buffer
};

// A record of continuous reading.
struct HistoryRecord {
    Epc epc = {};
    std::array<std::uint8_t, 11> details = {};  // the reader's own coding
};

// Which of some tags are in the field: the reader is given their EPCs, and tells of those only.
struct SearchPlan {
    std::vector<Epc> epcs = {};       // of whole words
    int q = 4;                        // 0 to 15, of all rounds
    std::vector<Port> antennas = {};  // 1 to 16; those that the reader uses when empty
    bool keep_list = false;           // those that the reader was given before are looked for, too
};

struct FoundTag {
    Epc epc = {};
    int rssi = 0;  // the strongest
};

struct SearchResult {
    std::vector<FoundTag> found = {};
    std::vector<Epc> missing = {};  // of the plan's
    bool complete = true;           // false: the scan time ran out
};

// Of its Reader, as long as that lives; as a Reader for threads and errors.
class TAGWIREXX_API Buffer {
  public:
    // Into the buffer instead of to the host. `words` may ask for words of the TID bank, to be kept instead
    // of the EPC: 1 to 31 of them, from 0 to 255 on.
    BufferCounts inventory(const InventoryPlan& plan = {});
    // The tags stay in the buffer.
    std::vector<BufferedTag> read();
    unsigned count();
    void clear();
    // Identifiers of up to 496 bits, instead of 128, behind which they are cut.
    bool keeps_long_ids();
    void keep_long_ids(bool on);

    // Tags of continuous reading, kept in a buffer of their own.
    std::vector<HistoryRecord> history();
    void clear_history();

    SearchResult find(const SearchPlan& plan);

  private:
    friend class Reader;
    explicit Buffer(ReaderInside& inside) : inside_(&inside) {}

    ReaderInside* inside_;
};

}  // namespace v1
}  // namespace tagwire
