// One reader of a Stream: connecting, starting, reading, probing, reconnecting, as steps of the Stream's loop.
#pragma once

#include <functional>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "link/questions.h"
#include "xx/link/recorder.h"
#include "xx/reader/reader_inside.h"
#include "xx/stream/event_queue.h"
#include "xx/stream/io_loop.h"
#include "xx/values/url.h"

namespace tagwire {
inline namespace v1 {

// A link whose reading has been stopped for its new owner, or why there is none.
struct ParkedLink {
    OpenLink link;
    engine::ReaderInformation information{};
    std::string problem;
};
using TakeLink = std::function<void(ParkedLink)>;

class Source final : public Watcher, public std::enable_shared_from_this<Source> {
  public:
    Source(IoLoop& loop, EventQueue& queue, std::shared_ptr<Lane> lane, Url url, SourceOptions options,
           std::chrono::milliseconds longest_wait);

    const Url& url() const { return url_; }

    // On the loop's thread.
    void begin();
    // Tells the reader to stop and closes; then calls `done`.
    void end(std::function<void()> done);
    void end_now();
    // There is room in the queue again.
    void go_on();
    void record(std::shared_ptr<Recorder> recorder, std::uint16_t number);
    // Stops the reading and gives the link away, until it comes back.
    void park(TakeLink taker);
    // Calls `resumed` when reading runs again, or does not.
    void unpark(OpenLink link, std::function<void()> resumed);

    void on_ready(std::uint32_t events) override;
    void on_time() override;
    void on_failure() noexcept override;

  private:
    enum class Step {
        idle,
        waiting,     // for the next attempt
        opening,     // a helper resolves the name, or opens the device
        connecting,  // the connection is being made
        asking,      // who the reader is
        clearing,    // what still reads for somebody else is being stopped
        asking_again,
        asking_ports,  // how it tells them
        preparing,     // a helper sets what the program wants set
        starting,
        reading,
        probing,
        stopping_to_restart,
        restarting,
        stopping_to_rest,
        resting,  // off, by its duty cycle
        stopping_to_park,
        parked,
        stopping_to_end,
        ended,
    };

    // What a helper brings: a device, the address of a host, or neither.
    struct Opened {
        Descriptor line;
        in_addr host{};
        std::string problem;
    };

    // A link that a helper has, and why it has failed.
    struct Lent {
        OpenLink link;
        std::string problem;
    };

    template <class Brought>
    bool aside(const std::shared_ptr<Brought>& brought, std::function<void(Brought&)> bring,
               void (Source::*then)(Brought&));
    static void bring(const Url& url, unsigned attempt, Opened& opened);
    bool takes_reports() const;
    bool may_wait_for_room() const { return step_ == Step::reading || step_ == Step::probing; }
    bool has_link_in_use() const { return link_.fd && step_ != Step::parked; }

    void attempt();
    void open_aside();
    void use(Opened& opened);
    void connect(const in_addr& host);
    void finish_connecting();
    void ask_who(Step step);
    void learn_ports();
    void prepare();
    void go_on_prepared(Lent& lent);
    OpenLink lend_link();
    bool take_link(OpenLink link);
    bool watch_input();
    void start_reading(Step step);
    void stop_reading(Step step);
    void begin_reading(const std::string& remark);
    void begin_resting();
    void rest_or_probe();
    SteadyTime ask_inputs(SteadyTime now);
    void give_link_away();
    void finish_end();
    void tell_resumed();
    void lose(const std::string& reason);
    void close_link();

    bool take_input();
    bool read_input();
    std::ptrdiff_t read_some(std::uint8_t* to, std::size_t most);
    void count_overruns(SteadyTime now);
    bool scan();
    bool find_frame();
    void skip(std::uint8_t byte);
    void accept();
    void accept_report();
    void accept_answer();
    void accept_ports(int ports);
    void set_aside(Bytes bytes);
    void put_lines(EventQueue& queue, std::uint8_t bits);
    void life_seen(bool is_report);
    void hand_over();
    void put_all(EventQueue& queue);
    bool is_wanted(const Read& read) const;
    void give_frame_up();

    void send(const engine::Question& question);
    void limit(std::chrono::milliseconds time);
    void arm();
    void show(State state, const std::string& reason);

    IoLoop& loop_;
    EventQueue& queue_;
    std::shared_ptr<Lane> lane_;
    Url url_;
    const SourceOptions options_;
    const std::chrono::milliseconds longest_wait_;

    Step step_ = Step::idle;
    State shown_ = State::waiting;
    OpenLink link_;
    engine::ReaderInformation information_{};
    unsigned attempts_ = 0;
    bool has_streamed_ = false;
    bool saw_reports_ = false;  // since the last question
    bool is_quiet_ = false;     // started again after an answer without tags
    bool is_out_of_room_ = false;
    SteadyTime step_end_{};
    SteadyTime last_life_{};
    SteadyTime duty_end_{};
    std::optional<SteadyTime> incomplete_since_;
    SteadyTime inputs_due_{};
    std::optional<std::uint8_t> inputs_;  // as they were told last
    SteadyTime overruns_due_{};
    std::optional<std::uint32_t> overruns_;  // of the line so far, as the system counts them
    std::weak_ptr<Opened> opening_;          // what the helper at work brings; none when it is gone
    std::weak_ptr<Lent> lending_;

    std::uint8_t buffer_[2048];
    engine::Assembly bytes_;
    engine::FrameCopy frame_;
    Received received_;
    std::vector<Read> reads_;
    Bytes skipped_;
    struct Aside {
        std::size_t reads_in_front;
        std::optional<std::uint8_t> lines;  // as the reader told them; otherwise:
        Raw raw;
    };
    std::vector<Aside> asides_;  // what is no report, among the reports
    Counters counted_;           // since it was handed over last

    std::shared_ptr<Recorder> recorder_;
    std::uint16_t number_ = 0;  // in the recording
    std::function<void()> done_;
    TakeLink taker_;
    std::function<void()> resumed_;
    bool is_ending_ = false;
    std::minstd_rand random_;
};

}  // namespace v1
}  // namespace tagwire
