#include "commands/tags/tag_frames.h"

#include <utility>

namespace tagwire::sim {

namespace {

constexpr Time longest_wait = std::chrono::milliseconds(50);  // of air time
constexpr std::size_t count_size = 2;                         // antenna byte and count
constexpr unsigned largest_count = 255;

}  // namespace

TagFrames::TagFrames(Device& device, const Call& call, Bytes lead, Bytes head)
    : device_(device), owner_(call.from), command_(call.request.command), lead_(std::move(lead)),
      head_(std::move(head))
{}

void TagFrames::add(const Heard& tag, const std::vector<Bytes>& records, Time air)
{
    for (const Bytes& record : records) {
        add(tag.port, record, air);
        if (&record == &records.front()) heard_.push_back(tag);
    }
}

void TagFrames::add(unsigned antenna, const Bytes& record, Time air)
{
    const unsigned limit = device_.settings().records_per_frame;
    const std::size_t room = longest_answer_data - head_.size() - count_size;
    const bool full =
        records_.size() + record.size() > room || count_ == largest_count || (limit > 0 && count_ == limit);
    if (full || antenna != antenna_) flush();
    if (count_ == 0) oldest_ = air;
    antenna_ = antenna;
    append(records_, record);
    ++count_;
}

void TagFrames::age(Time air)
{
    if (count_ > 0 && air - oldest_ > longest_wait) flush();
}

void TagFrames::flush()
{
    if (count_ > 0) send(status::more_follow, antenna_);
}

void TagFrames::note(std::uint8_t status, unsigned antenna)
{
    flush();
    send(status, antenna);
}

void TagFrames::finish(std::uint8_t status, unsigned antenna)
{
    if (count_ > 0 && antenna != antenna_) flush();
    send(status, antenna);
}

void TagFrames::send(std::uint8_t status, unsigned antenna)
{
    Bytes data = head_;
    append(data, {device_.antenna_byte(antenna), static_cast<std::uint8_t>(count_)});
    append(data, records_);
    records_.clear();
    count_ = 0;
    device_.wire().send(owner_, lead_, make_answer(device_.address(), command_, status, data),
                        FrameKind::answer, std::exchange(heard_, {}));
}

}  // namespace tagwire::sim
