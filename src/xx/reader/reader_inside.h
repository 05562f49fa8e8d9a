// What a Reader is made of: an engine Reader on a link of its own, and how operations of it are called.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>

#include "inventory/records.h"
#include "link/result_text.h"
#include "reader/hooks.h"
#include "xx/link/dial.h"
#include "xx/link/recorder.h"

#include <tagwirexx/reader.hpp>

namespace tagwire {
inline namespace v1 {

struct OpenLink {
    bool serial = false;
    Descriptor fd = {};
    std::uint8_t address = 0xFF;
    std::optional<AntennaByte> antenna_byte = {};
    std::string name = {};  // for people: the URL
};

// Whether a call changes something in the reader or in a tag.
enum class Effect { none, change };

// How a call is told of, what may be left behind where its answer is lost, and how many bytes of data its
// answer must have.
struct Call {
    const char* name;
    Effect effect = Effect::none;
    int least = 0;
    bool is_inventory = false;  // which may last for as long as set_longest_job() says
    engine::ResultFamily family = engine::ResultFamily::settings;
};

// Takes the records of an inventory as they come.
class RecordSink {
  public:
    virtual void take(const engine::TagRecord& record) noexcept = 0;

  protected:
    ~RecordSink() = default;
};

class ReaderInside {
  public:
    // Asks the reader who it is, unless it has told. Throws Error.
    explicit ReaderInside(OpenLink link, const engine::ReaderInformation* told = nullptr);
    ReaderInside(const ReaderInside&) = delete;
    ReaderInside& operator=(const ReaderInside&) = delete;

    // A Reader on a link that is open and shaken hands with, and the link again. Nothing unread may be on it.
    static Reader around(OpenLink link, const engine::ReaderInformation& told);
    static OpenLink take_back(Reader reader);

    const std::string& name() const { return link_.name; }
    bool is_serial() const { return link_.serial; }
    const engine::ReaderInformation& told() const { return told_; }
    // Asks again.
    const engine::ReaderInformation& ask_information();
    // On the bus. ask_at() asks who is at an address: TAGWIRE_OK, TAGWIRE_NO_ANSWER, or what was wrong with the
    // answer. From move_to() on commands go there.
    u8 address() const { return link_.address; }
    int ask_at(u8 address);
    void move_to(u8 address);
    // Its code; none over TCP.
    std::optional<u8> line_speed() const;
    // From now on the link is opened with the speed that it has.
    void keep_line_speed() { kept_speed_ = line_speed(); }
    // How the reader tells ports. Asked of the reader at the first time, where the URL does not say it.
    AntennaByte antenna_byte();
    LinkCounters link_counters();
    bool was_reading() const { return was_reading_; }
    void set_was_reading() { was_reading_ = true; }
    void abort() noexcept;
    void record(const std::string& path);
    void stop_recording();
    std::uint64_t recording_lost();

    // Keeps other callers out while it lives; a thread may have several.
    class Turn {
      public:
        explicit Turn(ReaderInside& inside);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

      private:
        ReaderInside& inside_;
        std::unique_lock<std::recursive_mutex> lock_;
    };

    // Calls an operation and returns its result. Throws Error where the link is gone or the call was aborted.
    template <class... Parameters>
    int run(const Call& call, int (*Operations::*operation)(engine::Reader*, u8*, Parameters...),
            std::type_identity_t<Parameters>... arguments)
    {
        const Turn turn(*this);
        begin(call);
        u8 address = link_.address;
        const auto start = std::chrono::steady_clock::now();
        int result = (engine_->operations.*operation)(engine_.get(), &address, arguments...);
        if (call.is_inventory) result = await_inventory(result, start + longest_job_);
        end(call, result);
        return result;
    }
    // The same where anything but success is an Error.
    template <class... Parameters>
    void ask(const Call& call, int (*Operations::*operation)(engine::Reader*, u8*, Parameters...),
             std::type_identity_t<Parameters>... arguments)
    {
        const Turn turn(*this);
        const int result = run(call, operation, arguments...);
        if (result != 0) fail(call, result);
        require(call, came());
    }
    // Bytes of data in the answer that came last, and its status.
    int came() const;
    int status() const;
    // Whether a tag that the reader reported by itself came in place of the answer.
    bool report_came() const;
    // Whether the reader answered with this result that it does not know the command.
    bool is_unknown_command(int result) const;
    // Whether bytes came at all, behind what the call began with.
    bool something_came() const { return received_ > 0; }
    void require(const Call& call, int bytes) const;
    [[noreturn]] void fail(const Call& call, int result) const;

    // Records go there while it lives.
    class Listening {
      public:
        Listening(ReaderInside& inside, RecordSink& sink) : inside_(inside) { inside_.sink_ = &sink; }
        ~Listening() { inside_.sink_ = nullptr; }
        Listening(const Listening&) = delete;
        Listening& operator=(const Listening&) = delete;

      private:
        ReaderInside& inside_;
    };
    // For readers that restart: the link is closed, opened and shaken hands on. Throws Error; the link is lost
    // then, until another attempt. Nobody else may be using the Reader.
    void reopen();
    // The same for those that may not say who they are at the moment: the link is kept then.
    void reopen_unasked();
    // For readers that do not say who they are at the moment: passes over what comes, until nothing does.
    void listen();
    // The same where answers to what was given up may still come.
    void listen_if_stale()
    {
        if (stale_) listen();
    }
    // The longest that the reader may be busy with what was given up.
    void set_longest_job(std::chrono::milliseconds limit) { longest_job_ = limit; }

  private:
    struct Deleter {
        void operator()(engine::Reader* reader) const;
    };

    static void take_record(void* own, const engine::TagRecord& record) noexcept;
    static void see_traffic(void* own, engine::Direction direction, const u8* bytes, int count) noexcept;
    void take_up_link();
    void open_anew();
    void close_link();
    void shake_hands();
    int ask_information(engine::ReaderInformation& told);
    void begin(const Call& call);
    void end(const Call& call, int result);
    int await_inventory(int result, std::chrono::steady_clock::time_point end);
    void settle(const Call& call);
    bool await_information(std::chrono::milliseconds patience);
    bool receive_information();
    bool is_lost() const;
    void discard_input() const;
    bool is_aborted() const;
    [[noreturn]] void fail_as(Errc code, const Call& call, const std::string& text, int result = 0) const;

    OpenLink link_;  // closed behind the engine's Reader, which uses it
    std::unique_ptr<engine::Reader, Deleter> engine_;
    engine::Hooks hooks_;
    engine::ReaderInformation told_{};
    bool was_reading_ = false;
    RecordSink* sink_ = nullptr;
    std::optional<Recorder> recorder_;  // changed between calls only
    std::uint16_t recorded_as_ = 0;
    std::atomic<std::uint64_t> received_{0};
    std::optional<u8> kept_speed_;  // where it is not the URL's any more
    bool stale_ = false;            // answers to what was given up may still come
    std::chrono::milliseconds longest_job_{0};
    std::recursive_mutex calls_;

    mutable std::mutex state_;  // of what abort() looks at
    int depth_ = 0;
    bool running_ = false;
    bool aborted_ = false;
};

OpenLink open_link(const Url& url);

// Finds the device of serial:auto in `folder`. Throws Error.
std::unique_ptr<ReaderInside> open_reader(const Url& url, const std::string& folder = "/dev");

// A change that was acknowledged, and reads back otherwise; or whose reading back fails, with that Error.
[[noreturn]] void fail_as_different(const ReaderInside& inside, const Call& change, const std::string& text);
[[noreturn]] void fail_unread(const std::string& operation, const std::string& reader, const Error& error);

// What `read` reads behind such a change.
template <class Read> auto read_back(const ReaderInside& inside, const Call& change, Read read)
{
    try {
        return read();
    } catch (const Error& error) {
        fail_unread(change.name, inside.name(), error);
    }
}

// An Error for a value outside its range.
[[noreturn]] void refuse_value(const ReaderInside& inside, const Call& call, const std::string& text);
// The value, if it is in its range.
int checked(const ReaderInside& inside, const Call& call, const char* what, long long value, int lowest,
            int highest);

}  // namespace v1
}  // namespace tagwire
