#include "xx/stream/stop_on_signal.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <string>
#include <utility>

#include "xx/stream/stream_inside.h"

namespace tagwire {
inline namespace v1 {
namespace {

constexpr int signal_numbers = 65;

// For good, since a handler may be about to write to it whenever it would be closed.
int told = -1;
std::atomic<bool> in_use{false};
std::atomic<bool> handled[signal_numbers];
struct sigaction before[signal_numbers];

void put_back()
{
    for (int number = 1; number < signal_numbers; ++number)
        if (handled[number].exchange(false)) ::sigaction(number, &before[number], nullptr);
}

}  // namespace

extern "C" {
static void tagwire_stop_handler(int /*number*/)
{
    const int saved = errno;
    put_back();
    signal_event(told);
    errno = saved;
}
}

StopOnSignal::StopOnSignal(std::initializer_list<int> signals, std::function<void()> stop)
    : stop_(std::move(stop))
{
    for (const int number : signals) {
        struct sigaction now {};
        if (number < 1 || number >= signal_numbers || ::sigaction(number, nullptr, &now) != 0)
            throw std::logic_error("no signal has the number " + std::to_string(number));
        if ((now.sa_flags & SA_SIGINFO) != 0 || (now.sa_handler != SIG_DFL && now.sa_handler != SIG_IGN))
            throw std::logic_error("signal " + std::to_string(number) + " has a handler already");
    }
    if (told < 0) told = make_event_descriptor();
    if (in_use.exchange(true)) throw std::logic_error("signals stop another stream already");
    clear_event(told);
    struct sigaction ours {};
    ours.sa_handler = tagwire_stop_handler;
    ours.sa_flags = SA_RESTART;
    ::sigfillset(&ours.sa_mask);
    for (const int number : signals) {
        if (handled[number]) continue;  // named twice
        ::sigaction(number, nullptr, &before[number]);
        handled[number] = true;
        if (::sigaction(number, &ours, nullptr) == 0) continue;
        handled[number] = false;
        put_back();
        in_use = false;
        throw std::logic_error("signal " + std::to_string(number) + " cannot be handled");
    }
}

StopOnSignal::~StopOnSignal()
{
    put_back();
    in_use = false;
}

void StopOnSignal::listen(IoLoop& loop)
{
    loop_ = &loop;
    if (!loop.watch(told, EPOLLIN, *this)) put_back();  // they do what they did before
}

void StopOnSignal::on_ready(std::uint32_t /*events*/)
{
    loop_->forget(told, *this);
    stop_();
}

void stop_on_signal(Stream& stream, std::initializer_list<int> signals) { stream.inside_->stop_on(signals); }

}  // namespace v1
}  // namespace tagwire
