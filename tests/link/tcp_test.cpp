// The TCP channel.
#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <thread>

#include "link/system_seam.h"
#include "link/tcp.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

using testing::ElementsAre;

const Bytes request_frame = hex("04 FF 21 19 95");

// A port of this machine; nobody listens on it until listen().
class Port {
  public:
    Port() : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in at{};
        at.sin_family = AF_INET;
        at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof at;
        if (::bind(fd_, reinterpret_cast<const sockaddr*>(&at), size) != 0) std::abort();
        if (::getsockname(fd_, reinterpret_cast<sockaddr*>(&at), &size) != 0) std::abort();
        number_ = ntohs(at.sin_port);
    }
    ~Port() { ::close(fd_); }
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    int number() const { return number_; }
    void listen() const { ASSERT_EQ(::listen(fd_, 1), 0); }
    int accept() const { return ::accept(fd_, nullptr, nullptr); }

  private:
    int fd_;
    int number_ = 0;
};

class OpenNet : public testing::Test {
  protected:
    void TearDown() override
    {
        close_socket(reader_);
        Destroy_Reader(&reader_);
    }
    int open(int port, const char* address = "127.0.0.1")
    {
        std::string text = address;
        return reader_->operations.Open_Net(reader_, port, text.data());
    }

    SystemSeam seam_;
    Reader* reader_ = Create_Reader();
};

TEST_F(OpenNet, connects)
{
    const Port port;
    port.listen();
    ASSERT_EQ(open(port.number()), TAGWIRE_OK);
    reader_->m_type = tcp_link;
    const int far = port.accept();
    Bytes frame = request_frame;
    EXPECT_EQ(reader_->operations.SendDataToPort(reader_, frame.data(), 5), TAGWIRE_OK);
    Bytes arrived(5);
    EXPECT_EQ(::recv(far, arrived.data(), 5, MSG_WAITALL), 5);
    EXPECT_EQ(arrived, request_frame);
    ::close(far);
}

TEST_F(OpenNet, leaves_a_blocking_descriptor_that_is_not_inherited)
{
    const Port port;
    port.listen();
    ASSERT_EQ(open(port.number()), TAGWIRE_OK);
    EXPECT_EQ(::fcntl(reader_->sServer, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(::fcntl(reader_->sServer, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(reader_->m_type, 0);
    EXPECT_FALSE(reader_->DeviceIsOpen);
}

TEST_F(OpenNet, connects_without_blocking_and_switches_back)
{
    const Port port;
    port.listen();
    sys::calls.ioctl = [](int fd, unsigned long request, void* value) {
        if (request == FIONBIO) SystemSeam::record(*static_cast<int*>(value));
        return sys::Direct::ioctl(fd, request, value);
    };
    sys::calls.connect = [](int fd, const sockaddr* to, socklen_t size) {
        SystemSeam::record((::fcntl(fd, F_GETFL) & O_NONBLOCK) != 0 ? 100 : 101);
        return sys::Direct::connect(fd, to, size);
    };
    ASSERT_EQ(open(port.number()), TAGWIRE_OK);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(1, 100, 0));
}

TEST_F(OpenNet, gives_address_and_port_in_network_order)
{
    static sockaddr_in asked;
    sys::calls.connect = [](int, const sockaddr* to, socklen_t size) {
        std::memcpy(&asked, to, size);
        return 0;
    };
    ASSERT_EQ(open(0x1234, "192.0.2.10"), TAGWIRE_OK);
    EXPECT_EQ(asked.sin_family, AF_INET);
    EXPECT_EQ(ntohs(asked.sin_port), 0x1234);
    EXPECT_EQ(ntohl(asked.sin_addr.s_addr), 0xC000020AU);
}

TEST_F(OpenNet, takes_a_refused_connection_for_made)
{
    const Port port;
    EXPECT_EQ(open(port.number()), TAGWIRE_OK);
    EXPECT_GE(reader_->sServer, 0);
}

TEST_F(OpenNet, does_not_wait_or_ask_when_connected_at_once)
{
    sys::calls.connect = [](int, const sockaddr*, socklen_t) { return 0; };
    sys::calls.ppoll = [](pollfd*, nfds_t, const timespec*) { return fail_with(EIO); };
    sys::calls.getsockopt = [](int, int, int, void*, socklen_t*) { return fail_with(EIO); };
    EXPECT_EQ(open(9), TAGWIRE_OK);
}

TEST_F(OpenNet, fails_when_the_pending_error_cannot_be_fetched)
{
    const Port port;
    sys::calls.getsockopt = [](int, int level, int name, void*, socklen_t*) {
        SystemSeam::record(level);
        SystemSeam::record(name);
        return fail_with(EIO);
    };
    EXPECT_EQ(open(port.number()), TAGWIRE_NO_ANSWER);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(SOL_SOCKET, SO_ERROR));
    EXPECT_EQ(reader_->sServer, -1);
}

// A socket that never gets writable, as one whose peer does not answer.
int silent_far = -1;
int silent_socket()
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) std::abort();
    const Bytes filling(4096);
    while (::send(ends[0], filling.data(), filling.size(), MSG_NOSIGNAL) > 0) {
    }
    silent_far = ends[1];
    return ends[0];
}

TEST_F(OpenNet, gives_up_after_one_second_when_nobody_answers)
{
    sys::calls.socket = silent_socket;
    sys::calls.connect = [](int, const sockaddr*, socklen_t) { return fail_with(EINPROGRESS); };
    const VirtualTime time;
    const auto start = VirtualTime::now_ms();
    EXPECT_EQ(open(9), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(VirtualTime::now_ms() - start, 1000);
    EXPECT_EQ(reader_->sServer, -1);
    ::close(silent_far);
}

TEST_F(OpenNet, ends_the_sending_side_and_closes_when_nobody_answers)
{
    sys::calls.socket = silent_socket;
    sys::calls.connect = [](int, const sockaddr*, socklen_t) { return fail_with(EINPROGRESS); };
    sys::calls.ioctl = [](int fd, unsigned long request, void* value) {
        if (request == FIONBIO) SystemSeam::record(*static_cast<int*>(value));
        return sys::Direct::ioctl(fd, request, value);
    };
    sys::calls.shutdown = [](int fd, int how) {
        SystemSeam::record(100 + how);
        return sys::Direct::shutdown(fd, how);
    };
    sys::calls.close = [](int fd) {
        SystemSeam::record(200);
        return sys::Direct::close(fd);
    };
    const VirtualTime time;
    EXPECT_EQ(open(9), TAGWIRE_NO_ANSWER);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(1, 0, 100 + SHUT_WR, 200));
    ::close(silent_far);
}

TEST_F(OpenNet, waits_for_the_whole_second_whatever_signals_arrive)
{
    sys::calls.socket = silent_socket;
    sys::calls.connect = [](int, const sockaddr*, socklen_t) { return fail_with(EINPROGRESS); };
    const VirtualTime time;
    static auto virtual_ppoll = sys::calls.ppoll;
    virtual_ppoll = sys::calls.ppoll;
    Failures::arm(3);
    sys::calls.ppoll = [](pollfd* fds, nfds_t count, const timespec* limit) {
        if (!Failures::next()) return virtual_ppoll(fds, count, limit);
        VirtualTime::advance_ms(100);
        return fail_with(EINTR);
    };
    const auto start = VirtualTime::now_ms();
    EXPECT_EQ(open(9), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(VirtualTime::now_ms() - start, 1000);
    ::close(silent_far);
}

TEST_F(OpenNet, fails_when_it_cannot_wait)
{
    sys::calls.connect = [](int, const sockaddr*, socklen_t) { return fail_with(EINPROGRESS); };
    sys::calls.ppoll = [](pollfd*, nfds_t, const timespec*) { return fail_with(ENOMEM); };
    EXPECT_EQ(open(9), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(reader_->sServer, -1);
}

class InvalidAddress : public OpenNet, public testing::WithParamInterface<const char*> {};

TEST_P(InvalidAddress, gives_48_and_leaves_the_socket_in_place)
{
    sys::calls.connect = [](int, const sockaddr*, socklen_t) {
        SystemSeam::record(1);
        return 0;
    };
    EXPECT_EQ(open(9, GetParam()), TAGWIRE_NO_ANSWER);
    EXPECT_TRUE(SystemSeam::recorded().empty());
    ASSERT_GE(reader_->sServer, 0);
    EXPECT_NE(::fcntl(reader_->sServer, F_GETFD), -1);
}

INSTANTIATE_TEST_SUITE_P(All, InvalidAddress,
                         testing::Values("999.1.1.1", "", "localhost", "127.0.0.1.1", "127.0.0.1 x", "::1"));

TEST_F(OpenNet, takes_no_address_for_an_invalid_one)
{
    EXPECT_EQ(reader_->operations.Open_Net(reader_, 9, nullptr), TAGWIRE_NO_ANSWER);
    EXPECT_GE(reader_->sServer, 0);
}

TEST_F(OpenNet, says_so_when_its_socket_is_descriptor_0)
{
    sys::calls.socket = [] {
        errno = EMFILE;
        return 0;
    };
    testing::internal::CaptureStderr();
    EXPECT_EQ(open(9), TAGWIRE_NO_ANSWER);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said, std::string("socket failed!: ") + std::strerror(EMFILE) + "\n");
    EXPECT_EQ(reader_->sServer, 0);
    reader_->sServer = -1;
}

TEST_F(OpenNet, fails_silently_when_there_is_no_socket)
{
    sys::calls.socket = [] { return fail_with(EMFILE); };
    testing::internal::CaptureStderr();
    EXPECT_EQ(open(9), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(reader_->sServer, -1);
}

// --- An open link ---

class TcpLink : public testing::Test {
  protected:
    int read() const { return reader_.operations().ReadRfidData(reader_, reader_->btRecvArr); }
    int send(const Bytes& frame) const
    {
        Bytes copy = frame;
        return reader_.operations().SendDataToPort(reader_, copy.data(), static_cast<unsigned>(copy.size()));
    }
    int send_stop(const Bytes& frame) const
    {
        Bytes copy = frame;
        return reader_.operations().SendStopDataToPort(reader_, copy.data(),
                                                       static_cast<unsigned>(copy.size()));
    }
    void fill_output() const
    {
        const Bytes filling(4096);
        while (::send(reader_.near(), filling.data(), filling.size(), MSG_DONTWAIT | MSG_NOSIGNAL) > 0) {
        }
    }

    SystemSeam seam_;
    TestReader reader_;
};

TEST_F(TcpLink, read_returns_0_after_one_second_of_silence)
{
    const VirtualTime time;
    const auto start = VirtualTime::now_ms();
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(VirtualTime::now_ms() - start, 1000);
}

TEST_F(TcpLink, read_returns_as_soon_as_something_arrives)
{
    const VirtualTime time;
    const auto start = VirtualTime::now_ms();
    VirtualTime::in(999, [this] { reader_.feed(hex("01 02 03")); });
    EXPECT_EQ(read(), 3);
    EXPECT_EQ(VirtualTime::now_ms() - start, 999);
    EXPECT_EQ(to_hex(Bytes(reader_->btRecvArr, reader_->btRecvArr + 3)), "01 02 03");
}

TEST_F(TcpLink, read_takes_at_most_2048_bytes)
{
    reader_.feed(repeat(0x11, 2048));
    reader_.feed(repeat(0x22, 952));
    reader_->btRecvArr[2048] = 0xA5;
    EXPECT_EQ(read(), 2048);
    EXPECT_EQ(reader_->btRecvArr[2047], 0x11);
    EXPECT_EQ(reader_->btRecvArr[2048], 0xA5);
    EXPECT_EQ(read(), 952);
    EXPECT_EQ(reader_->btRecvArr[0], 0x22);
}

TEST_F(TcpLink, read_from_a_peer_that_hung_up_returns_0_at_once)
{
    const VirtualTime time;
    const auto start = VirtualTime::now_ms();
    reader_.hang_up();
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(VirtualTime::now_ms(), start);
}

TEST_F(TcpLink, read_without_a_socket_returns_minus_1)
{
    reader_->sServer = -1;
    EXPECT_EQ(read(), -1);
}

TEST_F(TcpLink, read_that_cannot_wait_returns_0)
{
    sys::calls.ppoll = [](pollfd*, nfds_t, const timespec*) { return fail_with(ENOMEM); };
    reader_.feed(hex("01"));
    EXPECT_EQ(read(), 0);
}

TEST_F(TcpLink, read_of_a_closed_descriptor_returns_0)
{
    const int closed = ::dup(reader_.near());
    ::close(closed);
    reader_->sServer = closed;
    EXPECT_EQ(read(), 0);
    reader_->sServer = reader_.near();
}

TEST_F(TcpLink, read_error_counts_as_nothing_there)
{
    reader_.feed(hex("01"));
    sys::calls.recv = [](int, void*, std::size_t, int) { return fail_with<ssize_t>(ECONNRESET); };
    reader_->btRecvArr[0] = 0xA5;
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(reader_->btRecvArr[0], 0xA5);
}

TEST_F(TcpLink, read_goes_on_after_a_signal)
{
    reader_.feed(hex("01 02"));
    Failures::arm(2);
    sys::calls.recv = [](int fd, void* to, std::size_t count, int flags) {
        return Failures::next() ? fail_with<ssize_t>(EINTR) : sys::Direct::recv(fd, to, count, flags);
    };
    EXPECT_EQ(read(), 2);
}

TEST_F(TcpLink, read_does_not_block_for_bytes_that_another_thread_took)
{
    ::fcntl(reader_.near(), F_SETFL, 0);  // blocking, as an open leaves it
    reader_.feed(hex("01 02"));
    sys::calls.recv = [](int fd, void* to, std::size_t count, int flags) {
        char taken[16];
        if (::recv(fd, taken, sizeof taken, MSG_DONTWAIT) != 2) std::abort();
        return sys::Direct::recv(fd, to, count, flags);
    };
    EXPECT_EQ(read(), 0);
}

TEST_F(TcpLink, read_returns_minus_1_when_the_link_is_closed_meanwhile)
{
    int result = 0;
    std::thread reading([&] { result = read(); });
    const int keep = ::dup(reader_.near());  // the far end must not see a hang-up
    close_socket(reader_);
    reading.join();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(reader_->sServer, -1);
    ::dup3(keep, reader_.near(), O_CLOEXEC);
    ::close(keep);
}

TEST_F(TcpLink, sends_the_frame)
{
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
    EXPECT_EQ(reader_.sent(), request_frame);
}

TEST_F(TcpLink, sends_a_stop_like_any_frame)
{
    std::memset(reader_->recvBuff, 0xA5, 9000);
    reader_->recvLength = 77;
    EXPECT_EQ(send_stop(request_frame), TAGWIRE_OK);
    EXPECT_EQ(reader_.sent(), request_frame);
    EXPECT_EQ(Bytes(reader_->recvBuff, reader_->recvBuff + 8000), repeat(0, 8000));
    EXPECT_EQ(reader_->recvBuff[8000], 0xA5);
    EXPECT_EQ(reader_->recvLength, 0);
    EXPECT_EQ(send_stop(repeat(1, 1025)), TAGWIRE_NO_ANSWER);
}

TEST_F(TcpLink, send_clears_8000_bytes_of_the_receive_buffer_and_its_count)
{
    std::memset(reader_->recvBuff, 0xA5, 9000);
    reader_->recvLength = 77;
    send(request_frame);
    EXPECT_EQ(Bytes(reader_->recvBuff, reader_->recvBuff + 8000), repeat(0, 8000));
    EXPECT_EQ(reader_->recvBuff[8000], 0xA5);
    EXPECT_EQ(reader_->recvLength, 0);
}

TEST_F(TcpLink, send_does_not_discard_what_arrived_before)
{
    reader_.feed(hex("01 02"));
    send(request_frame);
    EXPECT_EQ(read(), 2);
}

TEST_F(TcpLink, send_without_a_socket_gives_48_and_clears_nothing)
{
    reader_->sServer = -1;
    reader_->recvBuff[0] = 0xA5;
    reader_->recvLength = 77;
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(send_stop(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(reader_->recvBuff[0], 0xA5);
    EXPECT_EQ(reader_->recvLength, 77);
}

TEST_F(TcpLink, send_gives_up_after_one_second_when_the_output_is_full)
{
    fill_output();
    reader_->recvLength = 77;
    const VirtualTime time;
    const auto start = VirtualTime::now_ms();
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(VirtualTime::now_ms() - start, 1000);
    EXPECT_EQ(reader_->recvLength, 0);
}

TEST_F(TcpLink, send_waits_for_room_in_the_output)
{
    fill_output();
    const VirtualTime time;
    const auto start = VirtualTime::now_ms();
    VirtualTime::in(500, [this] { reader_.sent(); });
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
    EXPECT_EQ(VirtualTime::now_ms() - start, 500);
    EXPECT_EQ(reader_.sent(), request_frame);
}

TEST_F(TcpLink, send_gives_up_after_one_second_when_a_stop_was_requested)
{
    fill_output();
    request_stop(reader_);
    const VirtualTime time;
    const auto start = VirtualTime::now_ms();
    VirtualTime::in(5000, [this] { reader_.sent(); });
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(VirtualTime::now_ms() - start, 1000);
}

TEST_F(TcpLink, send_to_a_peer_that_hung_up_gives_48_and_no_signal)
{
    reader_.hang_up();
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(send_stop(request_frame), TAGWIRE_NO_ANSWER);
}

TEST_F(TcpLink, send_is_attempted_three_times)
{
    Failures::arm(2);
    sys::calls.send = [](int fd, const void* from, std::size_t count, int flags) {
        SystemSeam::record(1);
        return Failures::next() ? fail_with<ssize_t>(EIO) : sys::Direct::send(fd, from, count, flags);
    };
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
    EXPECT_EQ(SystemSeam::recorded().size(), 3U);
    EXPECT_EQ(reader_.sent(), request_frame);
}

TEST_F(TcpLink, send_fails_after_three_failed_attempts)
{
    sys::calls.send = [](int, const void*, std::size_t, int) {
        SystemSeam::record(1);
        return fail_with<ssize_t>(EIO);
    };
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(SystemSeam::recorded().size(), 3U);
}

TEST_F(TcpLink, send_fails_after_three_attempts_that_took_nothing)
{
    sys::calls.send = [](int, const void*, std::size_t, int) {
        SystemSeam::record(1);
        return ssize_t{0};
    };
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(SystemSeam::recorded().size(), 3U);
}

TEST_F(TcpLink, send_of_a_part_counts_as_success)
{
    sys::calls.send = [](int, const void*, std::size_t, int) {
        SystemSeam::record(1);
        return ssize_t{1};
    };
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
    EXPECT_EQ(SystemSeam::recorded().size(), 1U);
}

TEST_F(TcpLink, send_takes_frames_of_at_most_1024_bytes)
{
    EXPECT_EQ(send(repeat(1, 1025)), TAGWIRE_NO_ANSWER);
    EXPECT_TRUE(reader_.sent().empty());
    EXPECT_EQ(send(repeat(1, 1024)), TAGWIRE_OK);
    EXPECT_EQ(reader_.sent(), repeat(1, 1024));
}

TEST_F(TcpLink, logs_what_was_sent_and_what_was_read)
{
    static std::string text;
    text.clear();
    reader_->operations.log = [](Reader*, char direction, u8* bytes, int count) {
        text += direction + to_hex(Bytes(bytes, bytes + count)) + ';';
    };
    send(request_frame);
    reader_.feed(hex("0A 0B"));
    read();
    send_stop(hex("01 02"));
    reader_.hang_up();
    read();
    send(request_frame);
    EXPECT_EQ(text, "W04 FF 21 19 95;R0A 0B;W01 02;");
}

TEST_F(TcpLink, works_with_descriptor_numbers_above_1023)
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < 1600) {
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 1600);
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    }
    const int high = ::fcntl(reader_.near(), F_DUPFD_CLOEXEC, 1500);
    ASSERT_GE(high, 1500);
    reader_->sServer = high;
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
    EXPECT_EQ(reader_.sent(), request_frame);
    reader_.feed(hex("01 02"));
    EXPECT_EQ(read(), 2);
    const VirtualTime time;
    const auto start = VirtualTime::now_ms();
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(VirtualTime::now_ms() - start, 1000);
    ::close(high);
}

}  // namespace
}  // namespace tagwire::engine::test
