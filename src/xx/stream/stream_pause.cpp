// A source of a Stream, lent to the program as a Reader.
#include <exception>
#include <future>
#include <stdexcept>

#include <tagwirexx/error.hpp>
#include <tagwirexx/reader.hpp>

#include "xx/reader/reader_inside.h"
#include "xx/stream/stream_inside.h"

namespace tagwire {
inline namespace v1 {

void Stream::Inside::paused(std::string_view name, const std::function<void(Reader&)>& function)
{
    Member member;
    {
        const std::lock_guard lock(mutex_);
        member = find(name)->second;
        if (!is_started_)
            throw Error(Errc::not_connected, "pause", std::string(name), "the stream is not started");
    }
    if (member.pausing->thread == std::this_thread::get_id())
        throw std::logic_error(std::string(name) + " is paused by this thread already");
    const std::lock_guard turn(member.pausing->turn);
    auto parked = std::make_shared<std::promise<ParkedLink>>();
    auto arrival = parked->get_future();
    const bool posted = post([source = member.source, parked] {
        source->park([parked](ParkedLink link) { parked->set_value(std::move(link)); });
    });
    parked.reset();
    ParkedLink link;
    if (!posted) link.problem = "the stream has been stopped";
    try {
        if (posted) link = arrival.get();
    } catch (const std::future_error&) {
        link.problem = "the stream has been stopped";
    }
    if (!link.problem.empty()) throw Error(Errc::not_connected, "pause", std::string(name), link.problem);
    member.pausing->thread = std::this_thread::get_id();
    const auto let_go = [&](void*) { member.pausing->thread = std::thread::id(); };
    const std::unique_ptr<void, decltype(let_go)> at_the_end(&member, let_go);
    run_with_reader(member.source, std::move(link), function);
}

// The link goes back whatever the function does.
void Stream::Inside::run_with_reader(const std::shared_ptr<Source>& source, ParkedLink link,
                                     const std::function<void(Reader&)>& function) const
{
    std::exception_ptr thrown;
    auto back = std::make_shared<OpenLink>();
    try {
        Reader reader = Reader::Inside::around(std::move(link.link), link.information);
        try {
            function(reader);
        } catch (...) {
            thrown = std::current_exception();
        }
        *back = Reader::Inside::take_back(std::move(reader));
    } catch (...) {
        if (!thrown) thrown = std::current_exception();
    }
    auto resumed = std::make_shared<std::promise<void>>();
    auto running = resumed->get_future();
    const bool posted = post(
        [source, back, resumed] { source->unpark(std::move(*back), [resumed] { resumed->set_value(); }); });
    resumed.reset();
    if (posted) running.wait();
    if (thrown) std::rethrow_exception(thrown);
}

}  // namespace v1
}  // namespace tagwire
