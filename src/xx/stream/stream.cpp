#include <tagwirexx/stream.hpp>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <tagwirexx/error.hpp>

#include "xx/stream/reading_plan.h"
#include "xx/stream/source.h"
#include "xx/stream/stream_inside.h"
#include "xx/values/names.h"

namespace tagwire {
inline namespace v1 {
namespace {

// For the readers' answers to the stop, and then for the thread: what the destructor promises.
constexpr std::chrono::milliseconds ending_limit(800);

void check(const SourceOptions& options, const std::string& url)
{
    const auto refuse = [&](const char* text) {
        throw Error(Errc::invalid_value, "add a source", url, text);
    };
    constexpr std::chrono::hours longest(24 * 365);
    const auto is_time = [&](std::chrono::milliseconds time) { return time.count() > 0 && time <= longest; };
    if (!is_time(options.probe_after)) refuse("probe_after lies between 1 ms and a year");
    if (options.duty && (!is_time(options.duty->on) || !is_time(options.duty->off)))
        refuse("the times of a duty cycle lie between 1 ms and a year");
    if (options.inputs_every && !is_time(*options.inputs_every))
        refuse("inputs_every lies between 1 ms and a year");
    check(options.plan, url);
    if (!options.only) return;
    if (options.only->bank != Bank::epc || options.only->bit < 32)
        refuse("`only` looks at the EPC, which begins at bit 32 of its bank");
    if (options.only->bits > 8 * options.only->bytes.size())
        refuse("`only` has fewer bytes than its bits need");
}

}  // namespace

// Ends the loop when the readers have been told, or when they do not answer.
class Stream::Inside::Ending final : public Watcher {
  public:
    explicit Ending(IoLoop& loop) : loop_(loop) {}

    void begin(std::vector<std::shared_ptr<Source>> sources)
    {
        sources_ = std::move(sources);
        left_ = sources_.size() + 1;
        loop_.set_timer(*this, std::chrono::steady_clock::now() + ending_limit);
        for (const auto& source : sources_) source->end([this] { count(); });
        count();
    }
    void on_ready(std::uint32_t /*events*/) override {}
    void on_time() override
    {
        for (const auto& source : sources_) source->end_now();
        loop_.end();
    }

  private:
    void count()
    {
        if (--left_ != 0) return;
        loop_.clear_timer(*this);
        loop_.end();
    }

    IoLoop& loop_;
    std::vector<std::shared_ptr<Source>> sources_;
    std::size_t left_ = 0;
};

Stream::Inside::Inside(const StreamOptions& options)
    : options_(options), queue_(options.capacity, options.overflow), ending_(std::make_unique<Ending>(loop_))
{}

Stream::Inside::~Inside() { stop(); }

void Stream::Inside::add(const std::string& url, const SourceOptions& options)
{
    Url where = parse_url(url);
    check(options, url);
    const std::string name = options.name.empty() ? url : options.name;
    const std::lock_guard lock(mutex_);
    if (is_stopped_) throw std::logic_error("the stream is stopped: no source can be added");
    if (members_.contains(name)) throw std::logic_error("the stream has a source named " + name + " already");
    auto lane = std::make_shared<Lane>(lasting_name(name));
    auto source =
        std::make_shared<Source>(loop_, queue_, lane, std::move(where), options, options_.longest_wait);
    const auto& member = members_.emplace(name, Member{lane, source}).first->second;
    if (recorder_) record_member(name, member);
    if (is_started_) post([source] { source->begin(); });
}

void Stream::Inside::remove(std::string_view name)
{
    const std::lock_guard lock(mutex_);
    const auto at = find(name);
    const Member member = at->second;
    members_.erase(at);
    if (is_stopped_) return;
    if (!is_started_) {
        queue_.with_lock([&](EventQueue& queue) { queue.put(member.lane, State::stopped, "removed", 0); });
        return;
    }
    std::erase_if(leaving_, [](const auto& left) { return left.expired(); });
    leaving_.push_back(member.source);
    // It lives until the last of this has run.
    post([this, member] {
        member.source->end([source = member.source] {});
        queue_.with_lock([&](EventQueue& queue) { queue.put(member.lane, State::stopped, "removed", 0); });
    });
}

void Stream::Inside::start()
{
    const std::lock_guard lock(mutex_);
    if (is_started_) throw std::logic_error("the stream is started already");
    if (is_stopped_) throw std::logic_error("the stream is stopped for good");
    loop_.start();
    is_started_ = true;
    for (const auto& [name, member] : members_) post([source = member.source] { source->begin(); });
}

void Stream::Inside::stop() noexcept
{
    const std::lock_guard lock(mutex_);
    if (std::exchange(is_stopped_, true)) return;
    queue_.with_lock([&](EventQueue& queue) {
        for (const auto& [name, member] : members_) queue.put(member.lane, State::stopped, "stopped", 0);
        queue.close();
    });
    if (!is_started_) return;
    std::vector<std::shared_ptr<Source>> sources;
    for (const auto& [name, member] : members_) sources.push_back(member.source);
    for (const auto& left : leaving_)
        if (auto source = left.lock()) sources.push_back(std::move(source));
    post([this, sources] { ending_->begin(sources); });
}

void Stream::Inside::stop_on(std::initializer_list<int> signals)
{
    const std::lock_guard lock(mutex_);
    if (stop_on_signal_) throw std::logic_error("signals stop this stream already");
    stop_on_signal_ = std::make_unique<StopOnSignal>(signals, [this] { stop(); });
    post([this, handler = stop_on_signal_.get()] { handler->listen(loop_); });
}

std::size_t Stream::Inside::take(Event* to, std::size_t most, std::chrono::milliseconds timeout)
{
    std::vector<Lane*> relieved;
    const std::size_t count = queue_.take(to, most, timeout, relieved);
    if (relieved.empty()) return count;
    const std::lock_guard lock(mutex_);
    for (const auto& [name, member] : members_)
        if (std::find(relieved.begin(), relieved.end(), member.lane.get()) != relieved.end())
            post([source = member.source] { source->go_on(); });
    return count;
}

Counters Stream::Inside::counters(std::string_view name) const
{
    const std::lock_guard lock(mutex_);
    return queue_.counters(*find(name)->second.lane);
}

Health Stream::Inside::health(std::string_view name) const
{
    const std::lock_guard lock(mutex_);
    return queue_.health(*find(name)->second.lane);
}

std::vector<std::string> Stream::Inside::sources() const
{
    const std::lock_guard lock(mutex_);
    std::vector<std::string> names;
    for (const auto& [name, member] : members_) names.push_back(name);
    return names;
}

void Stream::Inside::record(const std::string& path)
{
    stop_recording();
    auto recorder = std::make_shared<Recorder>(path);
    const std::lock_guard lock(mutex_);
    recorder_ = std::move(recorder);
    for (const auto& [name, member] : members_) record_member(name, member);
}

void Stream::Inside::record_member(const std::string& name, const Member& member) const
{
    post([source = member.source, recorder = recorder_, number = recorder_->add_source(name)] {
        source->record(recorder, number);
    });
}

// Returns when the file is whole.
void Stream::Inside::stop_recording()
{
    std::shared_ptr<Recorder> recorder;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [name, member] : members_) post([source = member.source] { source->record({}, 0); });
        recorder = std::move(recorder_);
    }
    if (!recorder) return;
    recorder->finish();
    const std::lock_guard lock(mutex_);
    lost_before_ = recorder->lost_bytes();
}

std::uint64_t Stream::Inside::recording_lost() const
{
    const std::lock_guard lock(mutex_);
    return recorder_ ? recorder_->lost_bytes() : lost_before_;
}

bool Stream::Inside::post(std::function<void()> task) const { return loop_.mailbox()->post(std::move(task)); }

Stream::Inside::Members::const_iterator Stream::Inside::find(std::string_view name) const
{
    const auto at = members_.find(name);
    if (at == members_.end()) throw std::logic_error("the stream has no source named " + std::string(name));
    return at;
}

Stream::Stream(const StreamOptions& options) : inside_(std::make_unique<Inside>(options)) {}
Stream::Stream(Stream&& other) noexcept = default;
Stream& Stream::operator=(Stream&& other) noexcept = default;
Stream::~Stream() = default;

void Stream::add(const std::string& url, const SourceOptions& options) { inside_->add(url, options); }
void Stream::remove(std::string_view source) { inside_->remove(source); }
void Stream::start() { inside_->start(); }
void Stream::stop() noexcept { inside_->stop(); }
bool Stream::stopped() const { return inside_->queue().is_at_end(); }
int Stream::fd() const { return inside_->queue().fd(); }
Counters Stream::counters(std::string_view source) const { return inside_->counters(source); }
Health Stream::health(std::string_view source) const { return inside_->health(source); }
std::vector<std::string> Stream::sources() const { return inside_->sources(); }

void Stream::record(const std::string& path) { inside_->record(path); }
void Stream::stop_recording() { inside_->stop_recording(); }
std::uint64_t Stream::recording_lost() const { return inside_->recording_lost(); }

std::optional<Event> Stream::next(std::chrono::milliseconds timeout)
{
    Event event;
    if (inside_->take(&event, 1, timeout) == 0) return std::nullopt;
    return event;
}

std::size_t Stream::take(std::span<Event> events, std::chrono::milliseconds timeout)
{
    return events.empty() ? 0 : inside_->take(events.data(), events.size(), timeout);
}

// Only the end of the stream is its end.
std::optional<Event> Stream::next_or_end()
{
    auto event = next(std::chrono::milliseconds::max());
    while (!event && !stopped()) event = next(std::chrono::milliseconds::max());
    return event;
}

void Stream::paused(std::string_view source, const std::function<void(Reader&)>& function)
{
    inside_->paused(source, function);
}

}  // namespace v1
}  // namespace tagwire
