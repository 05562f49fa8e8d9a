// A Reader on a link that the test holds the other end of.
//
// The link is a socket pair: what the test writes to the far end is the reader device's answer, and may be
// written before the command is called (a socket pair ignores the flush of a serial port). Works for both
// link types.
#pragma once

#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sys/socket.h>
#include <unistd.h>

#include "link/descriptor.h"
#include "reader/reader.h"
#include "support/bytes.h"

namespace tagwire::engine::test {

enum class Link { serial, tcp };

class TestReader {
  public:
    explicit TestReader(Link link = Link::tcp) : reader_(Create_Reader())
    {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) std::abort();
        near_ = ends[0];
        far_ = ends[1];
        if (link == Link::tcp) {
            reader_->m_type = tcp_link;
            reader_->sServer = near_;
        } else {
            reader_->m_type = serial_link;
            reader_->hCommPort = near_;
        }
        reader_->FrmHandle = 7;
    }
    // Leaves the descriptor to the test's end, as a Reader that was never marked open does.
    ~TestReader()
    {
        if (reader_ != nullptr) Destroy_Reader(&reader_);
        ::close(near_);
        if (far_ >= 0) ::close(far_);
    }
    TestReader(const TestReader&) = delete;
    TestReader& operator=(const TestReader&) = delete;

    Reader* get() const { return reader_; }
    Reader* operator->() const { return reader_; }
    operator Reader*() const { return reader_; }
    const Operations& operations() const { return reader_->operations; }

    // Bytes from the reader device.
    void feed(const Bytes& bytes) const
    {
        std::size_t at = 0;
        while (at < bytes.size()) {
            const ssize_t n = ::send(far_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
            if (n <= 0) std::abort();
            at += static_cast<std::size_t>(n);
        }
    }
    // Bytes that the library has sent since the last call.
    Bytes sent() const
    {
        Bytes out;
        std::uint8_t chunk[4096];
        for (;;) {
            const ssize_t n = ::recv(far_, chunk, sizeof chunk, MSG_DONTWAIT);
            if (n <= 0) return out;
            out.insert(out.end(), chunk, chunk + n);
        }
    }
    void hang_up()
    {
        ::close(far_);
        far_ = -1;
    }
    int far() const { return far_; }
    int near() const { return near_; }

  private:
    Reader* reader_;
    int near_ = -1;
    int far_ = -1;
};

// Puts a script into the Reader's ReadRfidData slot: each call hands out the next chunk, and 0 when none is
// left. With fail_at_end() the calls behind the last chunk are read errors (-1).
class ScriptedReads {
  public:
    ScriptedReads(Reader* reader, std::vector<Bytes> chunks) : reader_(reader), chunks_(std::move(chunks))
    {
        current_ = this;
        reader_->operations.ReadRfidData = read;
    }
    ~ScriptedReads()
    {
        reader_->operations.ReadRfidData = I_ReadRfidData;
        current_ = nullptr;
    }
    ScriptedReads(const ScriptedReads&) = delete;
    ScriptedReads& operator=(const ScriptedReads&) = delete;

    void then(Bytes chunk) { chunks_.push_back(std::move(chunk)); }
    void fail_at_end(bool fail = true) { fail_at_end_ = fail; }
    int calls() const { return calls_; }
    std::function<void(int)> before_call;  // gets the number of the call, from 1

  private:
    static int read(Reader* /*sthis*/, u8* to) { return current_->next(to); }
    int next(u8* to)
    {
        ++calls_;
        if (before_call) before_call(calls_);
        if (at_ == chunks_.size()) return fail_at_end_ ? -1 : 0;
        const Bytes& chunk = chunks_[at_++];
        if (!chunk.empty()) std::memcpy(to, chunk.data(), chunk.size());
        return static_cast<int>(chunk.size());
    }

    static inline ScriptedReads* current_ = nullptr;
    Reader* reader_;
    std::vector<Bytes> chunks_;
    std::size_t at_ = 0;
    int calls_ = 0;
    bool fail_at_end_ = false;
};

}  // namespace tagwire::engine::test
