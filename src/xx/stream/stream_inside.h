// What a Stream keeps.
#pragma once

#include <atomic>
#include <map>
#include <thread>

#include <tagwirexx/stream.hpp>

#include "xx/stream/event_queue.h"
#include "xx/stream/io_loop.h"
#include "xx/stream/source.h"
#include "xx/stream/stop_on_signal.h"

namespace tagwire {
inline namespace v1 {

class Stream::Inside {
  public:
    explicit Inside(const StreamOptions& options);
    ~Inside();
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

    void add(const std::string& url, const SourceOptions& options);
    void remove(std::string_view name);
    void start();
    void stop() noexcept;
    std::size_t take(Event* to, std::size_t most, std::chrono::milliseconds timeout);
    Counters counters(std::string_view name) const;
    Health health(std::string_view name) const;
    std::vector<std::string> sources() const;
    void record(const std::string& path);
    void stop_recording();
    std::uint64_t recording_lost() const;
    void paused(std::string_view name, const std::function<void(Reader&)>& function);
    void stop_on(std::initializer_list<int> signals);
    EventQueue& queue() { return queue_; }

  private:
    class Ending;
    struct Pausing {
        std::mutex turn;  // one pause at a time
        std::atomic<std::thread::id> thread{};
    };
    struct Member {
        std::shared_ptr<Lane> lane;
        std::shared_ptr<Source> source;
        std::shared_ptr<Pausing> pausing = std::make_shared<Pausing>();
    };
    using Members = std::map<std::string, Member, std::less<>>;

    void run_with_reader(const std::shared_ptr<Source>& source, ParkedLink link,
                         const std::function<void(Reader&)>& function) const;
    bool post(std::function<void()> task) const;
    void record_member(const std::string& name, const Member& member) const;
    Members::const_iterator find(std::string_view name) const;

    const StreamOptions options_;
    EventQueue queue_;
    mutable std::mutex mutex_;  // of what follows
    Members members_;
    std::vector<std::weak_ptr<Source>> leaving_;  // removed, and not at their end yet
    std::shared_ptr<Recorder> recorder_;
    std::uint64_t lost_before_ = 0;  // by the recording that ended last
    bool is_started_ = false;
    bool is_stopped_ = false;
    std::unique_ptr<Ending> ending_;
    std::unique_ptr<StopOnSignal> stop_on_signal_;
    IoLoop loop_;  // ends before what it calls
};

}  // namespace v1
}  // namespace tagwire
