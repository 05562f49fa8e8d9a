// A Reader whose records and traffic are looked at.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

#include "inventory/records.h"
#include "reader/hooks.h"
#include "support/bytes.h"

namespace tagwire::engine::test {

struct SeenRecord {
    TagRecord record;  // its id pointer is dead: use `id`
    Bytes id;
};

using Traffic = std::pair<Direction, Bytes>;

class Hooked {
  public:
    explicit Hooked(Reader* reader) : reader_(reader) { reader_->keeping.hooks = &hooks_; }
    ~Hooked() { reader_->keeping.hooks = nullptr; }
    Hooked(const Hooked&) = delete;
    Hooked& operator=(const Hooked&) = delete;

    std::vector<SeenRecord> records() const
    {
        const std::lock_guard lock(mutex_);
        return records_;
    }
    std::vector<Traffic> take_traffic()
    {
        const std::lock_guard lock(mutex_);
        return std::exchange(traffic_, {});
    }
    bool await_records(std::size_t count)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return records_.size() >= count; });
    }

  private:
    void add(const TagRecord& record)
    {
        const std::lock_guard lock(mutex_);
        records_.push_back({record, Bytes(record.id, record.id + record.id_size)});
        changed_.notify_all();
    }
    void add(Direction direction, const Bytes& bytes)
    {
        const std::lock_guard lock(mutex_);
        traffic_.emplace_back(direction, bytes);
    }

    Hooks hooks_{this,
                 [](void* own, const TagRecord& record) noexcept { static_cast<Hooked*>(own)->add(record); },
                 [](void* own, Direction direction, const u8* bytes, int count) noexcept {
                     static_cast<Hooked*>(own)->add(direction, Bytes(bytes, bytes + count));
                 }};
    Reader* reader_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<SeenRecord> records_;
    std::vector<Traffic> traffic_;
};

}  // namespace tagwire::engine::test
