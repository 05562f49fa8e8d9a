// Many readers, one queue of events.
//
//     tagwire::Stream live;
//     live.add("tcp://192.0.2.10:6000", {.name = "gate1"});
//     live.start();
//     for (const tagwire::Event& event : live) ...
//
// One thread of the Stream's own connects, starts the reading, takes the reports and reconnects; no code of
// the program runs on it. All signals are blocked there. The program takes events whenever it likes, from any
// thread; an event goes to one taker.
//
// A reader's trouble is an event, never an exception. Exceptions tell of misuse (std::logic_error: a name
// that is not there, a second start) and of texts that cannot be understood (Error).
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/event.hpp>
#include <tagwirexx/profile.hpp>
#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;

// What happens to reports that nobody takes in time, when a source's share of the queue is full. All of them
// are counted, and told as a Gap where they are missing.
enum class Overflow {
    drop_oldest,
    drop_newest,
    block,  // nothing more is taken from that reader meanwhile; the others go on
};

struct StreamOptions {
    std::size_t capacity = 8192;  // reports a source may have in the queue
    Overflow overflow = Overflow::drop_oldest;
    std::chrono::milliseconds longest_wait = std::chrono::seconds(4);  // between two attempts to connect
};

// On and off times of reading, in turn.
struct Duty {
    std::chrono::milliseconds on = {};
    std::chrono::milliseconds off = {};
};

// What the reader is to have while it reads; what is left out stays as it is. The reader is asked at each
// connection, and set where it differs before reading starts: the antennas until its restart, the others as it
// keeps them. A reader that refuses is not read from, and the reason says what it refused.
struct ReadingPlan {
    std::optional<int> q = {};  // 0 to 15
    std::optional<Session> session = {};
    Target target = Target::a;        // whose tags the reading is started for
    std::vector<Port> antennas = {};  // 1 to 64
    std::optional<Dbm> power = {};    // of all ports, 0 to 40 dBm

    bool is_empty() const { return !q && !session && antennas.empty() && !power; }
};

struct SourceOptions {
    std::string name = {};  // what its events carry; the URL when empty. Unique in a Stream
    std::chrono::milliseconds probe_after =
        std::chrono::seconds(10);  // of silence, before the reader is asked
    // Settings that the reader is to have, as with the plan; see Settings::apply(). What the plan names is the
    // plan's. A reader of another type than the profile tells is not read from; its firmware may be another.
    std::optional<Profile> profile = {};
    ReadingPlan plan = {};
    std::optional<Mask> only = {};  // other tags are counted as filtered, and not numbered. Of the EPC bank
    std::optional<Duty> duty = {};
    // How often the inputs are asked for; their changes are events. Never when empty.
    std::optional<std::chrono::milliseconds> inputs_every = {};
};

struct Counters {
    std::uint64_t bytes = 0;          // received, since the Stream began
    std::uint64_t frames = 0;         // whole and undamaged
    std::uint64_t bad_crc = 0;        // damaged, or noise that looked like a frame
    std::uint64_t skipped_bytes = 0;  // that are no frame
    std::uint64_t received = 0;       // reports: delivered + dropped + those in the queue
    std::uint64_t delivered = 0;      // taken
    std::uint64_t dropped = 0;
    std::uint64_t filtered = 0;     // by `only`; not among the received
    std::size_t highest_level = 0;  // of the queue, this source's reports
    std::uint64_t reconnects = 0;   // times that reading began again
    std::uint64_t overruns = 0;     // bytes that a serial line lost, where the system counts them
};

struct Health {
    State state = State::waiting;
    std::string reason = {};
    std::chrono::steady_clock::time_point since = {};
    std::optional<Received> last_read = {};
    unsigned attempts = 0;  // to connect, since reading ran last
};

class TAGWIREXX_API Stream final {
  public:
    explicit Stream(const StreamOptions& options = {});
    Stream(Stream&& other) noexcept;
    Stream& operator=(Stream&& other) noexcept;
    // Stops, tells the readers to stop, and closes; waits at most 1 s.
    ~Stream();

    // A reader, by URL; see Reader. At any time. Throws Error for a URL that cannot be understood
    // and for options outside their range, std::logic_error for a name that is there already and behind stop().
    void add(const std::string& url, const SourceOptions& options = {});
    // The reader is told to stop; what it has in the queue can still be taken.
    void remove(std::string_view source);

    // Returns at once. Readers that are absent are tried until they come.
    void start();
    // Enters `stopped` for each source and closes the queue, whose events can still be taken. From any thread,
    // any number of times; waits for nothing.
    void stop() noexcept;
    // Stopped, and every event taken.
    bool stopped() const;

    // The next event; none when the time is over, and at once when stopped() is true.
    std::optional<Event> next(std::chrono::milliseconds timeout);
    // Waits for the first event only; returns how many were put in front.
    std::size_t take(std::span<Event> events, std::chrono::milliseconds timeout);
    // Readable while there are events, and for good when stopped. For poll() and the like; owned by the Stream.
    int fd() const;

    Counters counters(std::string_view source) const;
    Health health(std::string_view source) const;
    std::vector<std::string> sources() const;

    // Stops the reading of a source, runs the function on the caller's thread, and lets it go on; what the
    // function throws leaves afterwards. Throws Error (Errc::not_connected) when the reader is not there.
    void paused(std::string_view source, const std::function<void(Reader&)>& function);

    // Every byte from now on goes to this file, see tagwirexx/recording.hpp; one file at a time. Throws Error.
    // recording_lost() is how many bytes of it, or of the one that ended last, could not be written, or not in time.
    void record(const std::string& path);
    void stop_recording();
    std::uint64_t recording_lost() const;

    // Single-pass: a second loop goes on where the first one ended. `*it` is valid until `++it`.
    class Iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Event;
        using difference_type = std::ptrdiff_t;
        using pointer = const Event*;
        using reference = const Event&;

        explicit Iterator(Stream* stream) : stream_(stream) { ++*this; }
        const Event& operator*() const { return *event_; }
        const Event* operator->() const { return &*event_; }
        Iterator& operator++()
        {
            event_ = stream_->next_or_end();
            return *this;
        }
        void operator++(int) { ++*this; }
        friend bool operator==(const Iterator& it, std::default_sentinel_t) { return !it.event_; }

      private:
        Stream* stream_;
        std::optional<Event> event_;
    };
    Iterator begin() { return Iterator(this); }
    static std::default_sentinel_t end() { return {}; }

    class Inside;

  private:
    friend TAGWIREXX_API void stop_on_signal(Stream& stream, std::initializer_list<int> signals);
    std::optional<Event> next_or_end();

    std::unique_ptr<Inside> inside_;
};

// Stops the Stream at the first of these signals; a second one does what it did before. Throws
// std::logic_error where a handler stands already, or signals stop a Stream already. The Stream must live as
// long as the handlers do: until the first signal or its own end.
TAGWIREXX_API void stop_on_signal(Stream& stream, std::initializer_list<int> signals);

}  // namespace v1
}  // namespace tagwire
