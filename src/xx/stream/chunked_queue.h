// A queue whose elements stay where they are, in chunks of a few. One that empties and fills again allocates nothing.
#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <memory>
#include <utility>

namespace tagwire {
inline namespace v1 {

template <class T> class ChunkedQueue {
  public:
    ChunkedQueue() = default;
    ChunkedQueue(const ChunkedQueue&) = delete;
    ChunkedQueue& operator=(const ChunkedQueue&) = delete;
    ~ChunkedQueue()
    {
        while (!empty()) pop_front();
    }

    bool empty() const { return begin_ == end_; }
    std::size_t size() const { return end_ - begin_; }
    T& operator[](std::size_t i) { return *place(begin_ + i); }
    T& front() { return *place(begin_); }
    T& back() { return *place(end_ - 1); }

    template <class... Arguments> T& emplace_back(Arguments&&... arguments)
    {
        if (end_ == chunks_.size() * chunk_size) add_chunk();
        T* const made = std::construct_at(place(end_), std::forward<Arguments>(arguments)...);
        ++end_;
        return *made;
    }
    void pop_front()
    {
        std::destroy_at(place(begin_++));
        if (empty()) begin_ = end_ = 0;
        if (begin_ < chunk_size) return;
        spare_ = std::move(chunks_.front());
        chunks_.pop_front();
        begin_ -= chunk_size;
        end_ -= chunk_size;
    }
    void pop_back() { std::destroy_at(place(--end_)); }

  private:
    static constexpr std::size_t chunk_size = 8;
    // Room for one, made and ended by hand.
    union Place {
        Place() {}
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        ~Place() {}
        T element;
    };
    using Chunk = std::array<Place, chunk_size>;

    T* place(std::size_t at) { return &(*chunks_[at / chunk_size])[at % chunk_size].element; }
    void add_chunk()
    {
        auto chunk = spare_ ? std::move(spare_) : std::make_unique<Chunk>();
        chunks_.push_back(std::move(chunk));
    }

    std::deque<std::unique_ptr<Chunk>> chunks_;
    std::unique_ptr<Chunk> spare_;
    std::size_t begin_ = 0;  // in the first chunk
    std::size_t end_ = 0;
};

}  // namespace v1
}  // namespace tagwire
