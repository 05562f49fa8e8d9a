// The tags of one inventory or several, each once per port.
#pragma once

#include <map>
#include <optional>
#include <tuple>

#include "xx/reader/reader_inside.h"

namespace tagwire {
inline namespace v1 {

class TagCollection final : public RecordSink {
  public:
    // Records name tags by EPC, or by the identifier of another air interface.
    enum class Named { by_epc, by_id };

    TagCollection(AntennaByte antenna_byte, Named named, std::optional<Words> words)
        : antenna_byte_(antenna_byte), named_(named), words_(words)
    {}

    void take(const engine::TagRecord& record) noexcept override;
    // Behind every inventory. Throws std::bad_alloc where tags were lost for want of memory.
    void end_inventory();
    std::size_t size() const { return result_.reads.size(); }
    InventoryResult take_result() { return std::move(result_); }

  private:
    using Key = std::tuple<Epc, std::optional<Tid>, std::optional<TagId>, Port>;

    void add(const engine::TagRecord& record);
    void begin_tag(const engine::TagRecord& record);
    void add_data(const engine::TagRecord& record);
    void merge(Read read);

    AntennaByte antenna_byte_;
    Named named_;
    std::optional<Words> words_;
    std::optional<Read> last_;  // its data may still come
    std::map<Key, std::size_t> places_;
    InventoryResult result_;
    bool out_of_memory_ = false;
};

}  // namespace v1
}  // namespace tagwire
