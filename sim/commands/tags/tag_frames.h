// Gathers the tag records of a running inventory into frames: status 0x03 while more may follow, the last
// records in the final frame. All records of a frame come from one antenna.
#pragma once

#include "device/device.h"

namespace tagwire::sim {

class TagFrames {
  public:
    // `lead` goes out before every frame; `head` stands in it, before antenna byte and count.
    TagFrames(Device& device, const Call& call, Bytes lead = {}, Bytes head = {});

    ConnectionId owner() const { return owner_; }
    // The records of a tag; only the first of them names it.
    void add(const Heard& tag, const std::vector<Bytes>& records, Time air);
    // Sends what has waited long enough.
    void age(Time air);
    void flush();
    // What was to be sent is lost.
    void abandon(std::string_view why) { device_.wire().lose(owner_, FrameKind::answer, heard_, why); }
    // Sends a frame without records that does not end the inventory.
    void note(std::uint8_t status, unsigned antenna);
    void finish(std::uint8_t status, unsigned antenna);

  private:
    void add(unsigned antenna, const Bytes& record, Time air);
    void send(std::uint8_t status, unsigned antenna);

    Device& device_;
    ConnectionId owner_;
    std::uint8_t command_;
    Bytes lead_;
    Bytes head_;
    Bytes records_;
    std::vector<Heard> heard_;
    unsigned count_ = 0;
    unsigned antenna_ = 0;
    Time oldest_{};
};

}  // namespace tagwire::sim
