// The serial channel, on a pseudo terminal: the test holds the reader device's end.
#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <pty.h>
#include <string>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>

#include "link/descriptor.h"
#include "link/serial.h"
#include "link/system_seam.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

using testing::ElementsAre;

// A pseudo terminal whose line starts with everything set that a raw line must not have.
class Terminal {
  public:
    Terminal()
    {
        char name[64];
        if (::openpty(&master_, &slave_, name, nullptr, nullptr) != 0) std::abort();
        name_ = name;
        termios line{};
        ::tcgetattr(slave_, &line);
        line.c_iflag = ICRNL | IXON | IXOFF | INPCK | ISTRIP | BRKINT;
        line.c_oflag = OPOST | ONLCR;
        line.c_lflag = ICANON | ECHO | ISIG | IEXTEN;
        line.c_cflag |= CSTOPB | CRTSCTS | HUPCL;
        line.c_cc[VMIN] = 3;
        line.c_cc[VTIME] = 5;
        ::tcsetattr(slave_, TCSANOW, &line);
    }
    ~Terminal()
    {
        hang_up();
        ::close(slave_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    char* path() { return name_.data(); }
    void hang_up()
    {
        if (master_ >= 0) ::close(master_);
        master_ = -1;
    }
    void feed(const Bytes& bytes) const
    {
        ASSERT_EQ(::write(master_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        pollfd arrived{slave_, POLLIN, 0};
        ASSERT_EQ(::poll(&arrived, 1, 10'000), 1);
    }
    Bytes sent(std::size_t count) const
    {
        Bytes out(count);
        std::size_t at = 0;
        while (at < count) {
            pollfd arrived{master_, POLLIN, 0};
            if (::poll(&arrived, 1, 10'000) != 1) break;
            const ssize_t n = ::read(master_, out.data() + at, count - at);
            if (n <= 0) break;
            at += static_cast<std::size_t>(n);
        }
        out.resize(at);
        return out;
    }

  private:
    int master_ = -1;
    int slave_ = -1;
    std::string name_;
};

// What another process finds out. Children do nothing but system calls.
template <class Question> int ask_other_process(Question question)
{
    const pid_t child = ::fork();
    if (child == 0) ::_exit(question());
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool is_locked_for_others(const char* path)
{
    return ask_other_process([path] {
               const int fd = ::open(path, O_RDWR | O_NOCTTY | O_NONBLOCK);
               struct flock region {};
               region.l_type = F_WRLCK;
               region.l_whence = SEEK_SET;
               if (fd < 0 || ::fcntl(fd, F_GETLK, &region) != 0) return 2;
               return region.l_type == F_UNLCK ? 0 : 1;
           }) == 1;
}

// Another process that holds the lock of a device until this ends.
class OtherProcess {
  public:
    explicit OtherProcess(const char* path)
    {
        int locked[2];
        if (::pipe(locked) != 0 || ::pipe(stay_) != 0) std::abort();
        child_ = ::fork();
        if (child_ == 0) {
            ::close(stay_[1]);
            struct flock region {};
            region.l_type = F_WRLCK;
            region.l_whence = SEEK_SET;
            const int fd = ::open(path, O_RDWR | O_NOCTTY | O_NONBLOCK);
            char byte = ::fcntl(fd, F_SETLK, &region) == 0 ? 'y' : 'n';
            if (::write(locked[1], &byte, 1) != 1) ::_exit(1);
            ::_exit(::read(stay_[0], &byte, 1) == 0 ? 0 : 1);
        }
        char byte = 0;
        has_lock_ = ::read(locked[0], &byte, 1) == 1 && byte == 'y';
        ::close(locked[0]);
        ::close(locked[1]);
        ::close(stay_[0]);
    }
    ~OtherProcess()
    {
        ::close(stay_[1]);
        ::waitpid(child_, nullptr, 0);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;
    bool has_lock() const { return has_lock_; }

  private:
    int stay_[2] = {-1, -1};
    pid_t child_ = -1;
    bool has_lock_ = false;
};

std::ptrdiff_t open_descriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

class SerialPort : public testing::Test {
  protected:
    void TearDown() override
    {
        close();
        Destroy_Reader(&reader_);
    }
    int open(u8 baud = 5) { return reader_->operations.Open_Com(reader_, terminal_.path(), baud); }
    void close()
    {
        if (reader_->hCommPort >= 0) close_port(reader_);
        reader_->hCommPort = -1;
    }
    int send(const Bytes& frame)
    {
        Bytes copy = frame;
        return reader_->operations.SendDataToPort(reader_, copy.data(), static_cast<unsigned>(copy.size()));
    }
    int send_stop(const Bytes& frame)
    {
        Bytes copy = frame;
        return reader_->operations.SendStopDataToPort(reader_, copy.data(),
                                                      static_cast<unsigned>(copy.size()));
    }
    int read() { return reader_->operations.ReadRfidData(reader_, reader_->btRecvArr); }
    Bytes received(int count) const { return {reader_->btRecvArr, reader_->btRecvArr + count}; }

    SystemSeam seam_;
    Terminal terminal_;
    Reader* reader_ = Create_Reader();
};

const Bytes request_frame = hex("04 FF 21 19 95");

// --- Opening ---

struct Speed {
    int index;
    speed_t speed;
};

class SerialSpeed : public SerialPort, public testing::WithParamInterface<Speed> {};

// User-mode emulation does not pass every speed on. Tried on the open terminal, after the library's own setting was
// read back.
bool keeps_speed(int fd, speed_t speed)
{
    termios line{};
    cfsetospeed(&line, speed);
    cfsetispeed(&line, speed);
    return ::tcsetattr(fd, TCSANOW, &line) == 0 && ::tcgetattr(fd, &line) == 0 &&
           ::cfgetospeed(&line) == speed;
}

TEST_P(SerialSpeed, is_that_of_the_baud_index)
{
    ASSERT_EQ(open(static_cast<u8>(GetParam().index)), TAGWIRE_OK);
    termios line{};
    ASSERT_EQ(::tcgetattr(reader_->hCommPort, &line), 0);
    EXPECT_EQ(::cfgetospeed(&reader_->portDCB), GetParam().speed);
    if (!keeps_speed(reader_->hCommPort, GetParam().speed)) GTEST_SKIP() << "an emulator without this speed";
    EXPECT_EQ(::cfgetospeed(&line), GetParam().speed);
    EXPECT_EQ(::cfgetispeed(&line), GetParam().speed);
}

INSTANTIATE_TEST_SUITE_P(All, SerialSpeed,
                         testing::Values(Speed{0, B9600}, Speed{1, B19200}, Speed{2, B38400},
                                         Speed{3, B57600}, Speed{4, B57600}, Speed{5, B57600},
                                         Speed{6, B115200}, Speed{7, B921600}, Speed{8, B57600},
                                         Speed{200, B57600}, Speed{255, B57600}),
                         [](const auto& test) { return "index_" + std::to_string(test.param.index); });

TEST_F(SerialPort, is_raw_with_8_data_bits_no_parity_and_1_stop_bit)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    termios line{};
    ASSERT_EQ(::tcgetattr(reader_->hCommPort, &line), 0);
    EXPECT_EQ(line.c_iflag, 0U);
    EXPECT_EQ(line.c_oflag, 0U);
    EXPECT_EQ(line.c_lflag, 0U);
    EXPECT_EQ(line.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
    EXPECT_EQ(line.c_cflag & (PARENB | CSTOPB | CRTSCTS | HUPCL), 0U);
    EXPECT_EQ(line.c_cflag & (CLOCAL | CREAD), static_cast<tcflag_t>(CLOCAL | CREAD));
}

TEST_F(SerialPort, has_reads_that_return_at_once)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    termios line{};
    ASSERT_EQ(::tcgetattr(reader_->hCommPort, &line), 0);
    EXPECT_EQ(line.c_cc[VMIN], 0);
    EXPECT_EQ(line.c_cc[VTIME], 0);
}

TEST_F(SerialPort, takes_no_setting_from_the_device_or_from_before)
{
    std::memset(&reader_->portDCB, 0xFF, sizeof reader_->portDCB);
    ASSERT_EQ(open(), TAGWIRE_OK);
    const termios& line = reader_->portDCB;
    EXPECT_EQ(line.c_iflag, 0U);
    EXPECT_EQ(line.c_oflag, 0U);
    EXPECT_EQ(line.c_lflag, 0U);
    EXPECT_EQ(line.c_cflag, static_cast<tcflag_t>(CLOCAL | CREAD | CS8 | B57600));
    EXPECT_THAT(line.c_cc, testing::Each(0));
    EXPECT_EQ(line.c_line, 0);
}

TEST_F(SerialPort, is_opened_for_both_ways_exclusively_without_waiting_and_not_as_terminal)
{
    sys::calls.open = [](const char* path, int flags, mode_t mode) {
        SystemSeam::record(flags);
        return sys::Direct::open(path, flags, mode);
    };
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(O_RDWR | O_EXCL | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
}

TEST_F(SerialPort, stays_nonblocking_and_is_not_inherited)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    send(request_frame);
    EXPECT_NE(::fcntl(reader_->hCommPort, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(::fcntl(reader_->hCommPort, F_GETFD), FD_CLOEXEC);
}

TEST_F(SerialPort, leaves_the_link_type_and_the_open_mark_alone)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_EQ(reader_->m_type, 0);
    EXPECT_FALSE(reader_->DeviceIsOpen);
    EXPECT_EQ(reader_->sServer, -1);
}

TEST_F(SerialPort, is_locked_against_other_processes_while_open)
{
    EXPECT_FALSE(is_locked_for_others(terminal_.path()));
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_TRUE(is_locked_for_others(terminal_.path()));
    close();
    EXPECT_FALSE(is_locked_for_others(terminal_.path()));
}

TEST_F(SerialPort, is_refused_while_another_process_has_it)
{
    const auto before = open_descriptors();
    {
        const OtherProcess other(terminal_.path());
        ASSERT_TRUE(other.has_lock());
        EXPECT_EQ(open(), TAGWIRE_NO_DEVICE);
        EXPECT_EQ(reader_->hCommPort, -1);
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(open(), TAGWIRE_OK);
}

TEST_F(SerialPort, is_refused_a_second_time_in_the_same_process_and_stays_locked)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    Reader* second = Create_Reader();
    EXPECT_EQ(second->operations.Open_Com(second, terminal_.path(), 5), TAGWIRE_NO_DEVICE);
    EXPECT_EQ(second->hCommPort, -1);
    EXPECT_TRUE(is_locked_for_others(terminal_.path()));
    Destroy_Reader(&second);
    EXPECT_TRUE(is_locked_for_others(terminal_.path()));
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
}

TEST_F(SerialPort, is_known_by_any_of_its_names)
{
    const auto link = std::filesystem::path(testing::TempDir()) / ("serial_" + std::to_string(::getpid()));
    std::filesystem::create_symlink(terminal_.path(), link);
    std::string name = link;
    ASSERT_EQ(open(), TAGWIRE_OK);
    Reader* second = Create_Reader();
    EXPECT_EQ(second->operations.Open_Com(second, name.data(), 5), TAGWIRE_NO_DEVICE);
    EXPECT_TRUE(is_locked_for_others(terminal_.path()));
    Destroy_Reader(&second);
    std::filesystem::remove(link);
}

TEST_F(SerialPort, can_be_opened_again_after_it_was_closed)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    close();
    EXPECT_EQ(open(), TAGWIRE_OK);
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
    EXPECT_EQ(terminal_.sent(5), request_frame);
}

TEST_F(SerialPort, does_not_hinder_the_use_of_another_device)
{
    Terminal other;
    Reader* second = Create_Reader();
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_EQ(second->operations.Open_Com(second, other.path(), 5), TAGWIRE_OK);
    close_port(second);
    Destroy_Reader(&second);
}

// --- The claim ---

// A local socket with the name of a device.
class Claim {
  public:
    explicit Claim(const char* path) : fd_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        struct stat about {};
        if (::stat(path, &about) != 0) std::abort();
        const std::string name = "tagwire-serial-" + std::to_string(major(about.st_rdev)) + "-" +
                                 std::to_string(minor(about.st_rdev));
        sockaddr_un at{};
        at.sun_family = AF_UNIX;
        name.copy(at.sun_path + 1, name.size());
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
        got_ = ::bind(fd_, reinterpret_cast<const sockaddr*>(&at), size) == 0;
    }
    ~Claim() { ::close(fd_); }
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;
    bool got() const { return got_; }

  private:
    int fd_;
    bool got_ = false;
};

TEST_F(SerialPort, is_claimed_while_open)
{
    EXPECT_TRUE(Claim(terminal_.path()).got());
    sys::calls.local_socket = [] {
        const int fd = sys::Direct::local_socket();
        SystemSeam::record(::fcntl(fd, F_GETFD));
        return fd;
    };
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(FD_CLOEXEC));
    EXPECT_FALSE(Claim(terminal_.path()).got());
    EXPECT_EQ(ask_other_process([this] { return Claim(terminal_.path()).got() ? 1 : 0; }), 0);
    close();
    EXPECT_TRUE(Claim(terminal_.path()).got());
}

TEST_F(SerialPort, that_another_one_has_claimed_gives_57_and_is_not_opened)
{
    const auto before = open_descriptors();
    {
        const Claim other(terminal_.path());
        ASSERT_TRUE(other.got());
        sys::calls.open = [](const char*, int, mode_t) { return fail_with(EIO); };
        EXPECT_EQ(open(), TAGWIRE_NO_DEVICE);
        EXPECT_EQ(reader_->hCommPort, -1);
        HeldPort* held = nullptr;
        EXPECT_EQ(open_port(terminal_.path(), 5, &held), -1);
        EXPECT_EQ(errno, EBUSY);
        sys::calls.open = sys::Direct::open;
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(open(), TAGWIRE_OK);
}

TEST_F(SerialPort, keeps_no_claim_when_it_cannot_be_opened)
{
    sys::calls.open = [](const char*, int, mode_t) { return fail_with(EIO); };
    EXPECT_EQ(open(), TAGWIRE_NO_DEVICE);
    EXPECT_TRUE(Claim(terminal_.path()).got());
}

TEST_F(SerialPort, needs_no_claim_where_there_are_none)
{
    sys::calls.local_socket = [] { return fail_with(EAFNOSUPPORT); };
    ASSERT_EQ(open(), TAGWIRE_OK);
    close();
    sys::calls.local_socket = sys::Direct::local_socket;
    sys::calls.bind = [](int, const sockaddr*, socklen_t) { return fail_with(EPERM); };
    const auto before = open_descriptors();
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_EQ(open_descriptors(), before + 1);
}

// --- Without a Reader ---

TEST_F(SerialPort, is_opened_without_a_reader)
{
    const auto before = open_descriptors();
    sys::calls.tcflush = [](int, int) {
        SystemSeam::record(1);
        return 0;
    };
    HeldPort* held = nullptr;
    const int fd = open_port(terminal_.path(), 6, &held);
    ASSERT_GE(fd, 0);
    termios line{};
    ASSERT_EQ(::tcgetattr(fd, &line), 0);
    EXPECT_EQ(line.c_iflag | line.c_oflag | line.c_lflag, 0U);
    EXPECT_EQ(line.c_cflag & (CSIZE | PARENB | CSTOPB), static_cast<tcflag_t>(CS8));
    EXPECT_EQ(line.c_cc[VMIN], 0);
    EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
    EXPECT_TRUE(is_locked_for_others(terminal_.path()));
    EXPECT_FALSE(Claim(terminal_.path()).got());
    EXPECT_TRUE(SystemSeam::recorded().empty());
    close_port(fd, held);
    EXPECT_FALSE(is_locked_for_others(terminal_.path()));
    EXPECT_TRUE(Claim(terminal_.path()).got());
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(SerialPort, is_opened_once_with_or_without_a_reader)
{
    HeldPort* held = nullptr;
    const int fd = open_port(terminal_.path(), 5, &held);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(open(), TAGWIRE_NO_DEVICE);
    HeldPort* second = nullptr;
    EXPECT_EQ(open_port(terminal_.path(), 5, &second), -1);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_TRUE(is_locked_for_others(terminal_.path()));
    close_port(fd, held);
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_EQ(open_port(terminal_.path(), 5, &second), -1);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_TRUE(is_locked_for_others(terminal_.path()));
}

TEST_F(SerialPort, without_a_reader_says_why_it_cannot_be_opened)
{
    const auto before = open_descriptors();
    HeldPort* held = nullptr;
    EXPECT_EQ(open_port("/dev/no_such_reader", 5, &held), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(open_port("/dev", 5, &held), -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(open_port("/dev/null", 5, &held), -1);
    EXPECT_EQ(errno, ENOTTY);
    {
        const OtherProcess other(terminal_.path());
        ASSERT_TRUE(other.has_lock());
        EXPECT_EQ(open_port(terminal_.path(), 5, &held), -1);
        EXPECT_EQ(errno, EBUSY);
    }
    EXPECT_EQ(open_descriptors(), before);
}

// --- What cannot be opened ---

TEST_F(SerialPort, that_is_missing_gives_57)
{
    std::string nowhere = "/dev/no_such_reader";
    EXPECT_EQ(reader_->operations.Open_Com(reader_, nowhere.data(), 5), TAGWIRE_NO_DEVICE);
    EXPECT_EQ(reader_->operations.Open_Com(reader_, nullptr, 5), TAGWIRE_NO_DEVICE);
    std::string directory = "/dev";
    EXPECT_EQ(reader_->operations.Open_Com(reader_, directory.data(), 5), TAGWIRE_NO_DEVICE);
    EXPECT_EQ(reader_->hCommPort, -1);
}

TEST_F(SerialPort, that_is_no_terminal_gives_249_and_is_closed)
{
    const auto before = open_descriptors();
    std::string file = testing::TempDir() + "no_terminal_" + std::to_string(::getpid());
    ::close(::open(file.c_str(), O_CREAT | O_RDWR, 0600));
    EXPECT_EQ(reader_->operations.Open_Com(reader_, file.data(), 5), TAGWIRE_LINE_SETTINGS);
    EXPECT_EQ(reader_->hCommPort, -1);
    EXPECT_EQ(open_descriptors(), before);
    std::filesystem::remove(file);
}

TEST_F(SerialPort, that_refuses_its_settings_gives_249_and_is_closed)
{
    const auto before = open_descriptors();
    sys::calls.tcsetattr = [](int, const termios*) { return fail_with(EIO); };
    EXPECT_EQ(open(), TAGWIRE_LINE_SETTINGS);
    EXPECT_EQ(reader_->hCommPort, -1);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_FALSE(is_locked_for_others(terminal_.path()));
    sys::calls.tcsetattr = sys::Direct::tcsetattr;
    EXPECT_EQ(open(), TAGWIRE_OK);
}

TEST_F(SerialPort, that_cannot_be_locked_gives_57_and_is_closed_without_being_set)
{
    const auto before = open_descriptors();
    sys::calls.lock = [](int, struct flock*) { return fail_with(EACCES); };
    sys::calls.tcsetattr = [](int, const termios*) {
        SystemSeam::record(1);
        return 0;
    };
    sys::calls.tcflush = [](int, int) {
        SystemSeam::record(2);
        return 0;
    };
    EXPECT_EQ(open(), TAGWIRE_NO_DEVICE);
    EXPECT_EQ(reader_->hCommPort, -1);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(SystemSeam::recorded().empty());
    sys::calls.lock = sys::Direct::lock;
    EXPECT_EQ(open(), TAGWIRE_OK);
}

TEST_F(SerialPort, is_locked_through_the_table)
{
    reader_->operations.trylock_fd = [](Reader*, int) { return -1; };
    EXPECT_EQ(open(), TAGWIRE_NO_DEVICE);
}

TEST_F(SerialPort, that_cannot_be_opened_in_one_go_is_tried_again_after_a_signal)
{
    Failures::arm(3);
    sys::calls.open = [](const char* path, int flags, mode_t mode) {
        return Failures::next() ? fail_with(EINTR) : sys::Direct::open(path, flags, mode);
    };
    EXPECT_EQ(open(), TAGWIRE_OK);
}

TEST_F(SerialPort, gets_its_settings_again_after_a_signal)
{
    Failures::arm(3);
    sys::calls.tcsetattr = [](int fd, const termios* line) {
        return Failures::next() ? fail_with(EINTR) : sys::Direct::tcsetattr(fd, line);
    };
    EXPECT_EQ(open(), TAGWIRE_OK);
}

// --- Standard input ---

bool is_blocked(int signal)
{
    sigset_t now;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &now);
    return ::sigismember(&now, signal) == 1;
}

TEST_F(SerialPort, opening_discards_both_queues_of_standard_input_and_not_those_of_the_port)
{
    sys::calls.tcflush = [](int fd, int queues) {
        SystemSeam::record(fd);
        SystemSeam::record(queues);
        return 0;
    };
    sys::calls.tcsetattr = [](int fd, const termios* line) {
        SystemSeam::record(-1);
        return sys::Direct::tcsetattr(fd, line);
    };
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(0, TCIOFLUSH, -1));
}

TEST_F(SerialPort, opening_succeeds_when_standard_input_cannot_be_flushed)
{
    sys::calls.tcflush = [](int, int) { return fail_with(ENOTTY); };
    EXPECT_EQ(open(), TAGWIRE_OK);
}

TEST_F(SerialPort, opening_does_not_stop_a_background_job)
{
    sys::calls.tcflush = [](int, int) {
        SystemSeam::record(is_blocked(SIGTTOU));
        return 0;
    };
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(1));
    EXPECT_FALSE(is_blocked(SIGTTOU));
}

TEST_F(SerialPort, opening_leaves_the_callers_signal_mask)
{
    sigset_t mask;
    sigset_t before;
    sigemptyset(&mask);
    sigaddset(&mask, SIGTTOU);
    sigaddset(&mask, SIGUSR2);
    ::pthread_sigmask(SIG_BLOCK, &mask, &before);
    EXPECT_EQ(open(), TAGWIRE_OK);
    EXPECT_TRUE(is_blocked(SIGTTOU));
    EXPECT_TRUE(is_blocked(SIGUSR2));
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// --- Advisory locks ---

TEST_F(SerialPort, lock_can_be_given_back)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_EQ(reader_->operations.unlock_fd(reader_, reader_->hCommPort), 0);
    EXPECT_FALSE(is_locked_for_others(terminal_.path()));
    EXPECT_EQ(reader_->operations.trylock_fd(reader_, reader_->hCommPort), 0);
    EXPECT_TRUE(is_locked_for_others(terminal_.path()));
}

TEST_F(SerialPort, lock_is_a_write_lock_of_the_whole_file)
{
    sys::calls.lock = [](int fd, struct flock* region) {
        for (const std::int64_t value :
             {std::int64_t{fd}, std::int64_t{region->l_type}, std::int64_t{region->l_whence},
              std::int64_t{region->l_start}, std::int64_t{region->l_len}})
            SystemSeam::record(value);
        return 0;
    };
    EXPECT_EQ(reader_->operations.trylock_fd(reader_, 77), 0);
    EXPECT_EQ(reader_->operations.unlock_fd(reader_, 78), 0);
    EXPECT_THAT(SystemSeam::recorded(),
                ElementsAre(77, F_WRLCK, SEEK_SET, 0, 0, 78, F_UNLCK, SEEK_SET, 0, 0));
}

TEST_F(SerialPort, locks_of_a_closed_descriptor_fail)
{
    EXPECT_EQ(reader_->operations.trylock_fd(reader_, -1), -1);
    EXPECT_EQ(reader_->operations.unlock_fd(reader_, -1), -1);
}

// --- Sending ---

TEST_F(SerialPort, sends_the_frame)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
    EXPECT_EQ(terminal_.sent(5), request_frame);
}

TEST_F(SerialPort, send_discards_output_then_input_then_writes)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    sys::calls.tcflush = [](int, int queue) {
        SystemSeam::record(queue);
        return 0;
    };
    sys::calls.write = [](int, const void*, std::size_t count) {
        SystemSeam::record(1000);
        return static_cast<ssize_t>(count);
    };
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(TCOFLUSH, TCIFLUSH, 1000));
}

TEST_F(SerialPort, send_discards_a_stale_answer)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    terminal_.feed(hex("01 02 03"));
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
    EXPECT_EQ(read(), 0);
}

TEST_F(SerialPort, send_clears_8000_bytes_of_the_receive_buffer_and_its_count)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    std::memset(reader_->recvBuff, 0xA5, 9000);
    reader_->recvLength = 77;
    send(request_frame);
    EXPECT_EQ(Bytes(reader_->recvBuff, reader_->recvBuff + 8000), repeat(0, 8000));
    EXPECT_EQ(reader_->recvBuff[8000], 0xA5);
    EXPECT_EQ(reader_->recvLength, 0);
}

TEST_F(SerialPort, send_without_a_port_gives_48_and_clears_nothing)
{
    reader_->recvLength = 77;
    reader_->recvBuff[0] = 0xA5;
    Bytes frame = request_frame;
    EXPECT_EQ(reader_->operations.SendDataToPortS(reader_, frame.data(), 5), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(send_stop(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(reader_->recvLength, 77);
    EXPECT_EQ(reader_->recvBuff[0], 0xA5);
}

struct Logged {
    static inline std::string text;
    static void note(Reader*, char direction, u8* bytes, int count)
    {
        text += direction + to_hex(Bytes(bytes, bytes + count)) + ';';
    }
};

TEST_F(SerialPort, send_that_was_cut_short_gives_48_and_is_not_logged)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    Logged::text.clear();
    reader_->operations.log = Logged::note;
    sys::calls.write = [](int, const void*, std::size_t count) {
        SystemSeam::record(1);
        return static_cast<ssize_t>(count) - 1;
    };
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(send_stop(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(Logged::text, "");
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(1, 1));
}

TEST_F(SerialPort, send_that_failed_gives_48_and_is_not_tried_again)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    sys::calls.write = [](int, const void*, std::size_t) {
        SystemSeam::record(1);
        return fail_with<ssize_t>(EAGAIN);
    };
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(send_stop(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(1, 1));
}

TEST_F(SerialPort, send_goes_on_after_a_signal)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    Failures::arm(2);
    sys::calls.write = [](int fd, const void* from, std::size_t count) {
        return Failures::next() ? fail_with<ssize_t>(EINTR) : sys::Direct::write(fd, from, count);
    };
    EXPECT_EQ(send(request_frame), TAGWIRE_OK);
    EXPECT_EQ(terminal_.sent(5), request_frame);
}

TEST_F(SerialPort, logs_what_was_sent_and_what_was_read)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    Logged::text.clear();
    reader_->operations.log = Logged::note;
    send(request_frame);
    terminal_.feed(hex("0A 0B"));
    EXPECT_EQ(read(), 2);
    EXPECT_EQ(read(), 0);
    send_stop(hex("01 02"));
    EXPECT_EQ(Logged::text, "W04 FF 21 19 95;R0A 0B;W01 02;");
}

TEST_F(SerialPort, send_of_a_stop_flushes_nothing_and_leaves_the_receive_buffer)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    reader_->recvBuff[0] = 0xA5;
    reader_->recvLength = 77;
    terminal_.feed(hex("01 02 03"));
    sys::calls.tcflush = [](int, int) {
        SystemSeam::record(1);
        return 0;
    };
    EXPECT_EQ(send_stop(request_frame), TAGWIRE_OK);
    EXPECT_TRUE(SystemSeam::recorded().empty());
    EXPECT_EQ(reader_->recvBuff[0], 0xA5);
    EXPECT_EQ(reader_->recvLength, 77);
    EXPECT_EQ(terminal_.sent(5), request_frame);
    EXPECT_EQ(read(), 3);
}

// --- Reading ---

TEST_F(SerialPort, read_with_nothing_there_returns_0_at_once)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    const VirtualTime time;
    const auto start = VirtualTime::now_ms();
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(VirtualTime::now_ms(), start);
}

TEST_F(SerialPort, read_returns_what_is_there)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    terminal_.feed(hex("00 0A 0D 7F FF 11 13 03"));  // none of them means anything on a raw line
    reader_->btRecvArr[8] = 0xA5;
    ASSERT_EQ(read(), 8);
    EXPECT_EQ(to_hex(received(9)), "00 0A 0D 7F FF 11 13 03 A5");
}

TEST_F(SerialPort, read_takes_at_most_256_bytes)
{
    TestReader reader(Link::serial);
    reader.feed(repeat(0x11, 256));
    reader.feed(repeat(0x22, 44));
    reader->btRecvArr[256] = 0xA5;
    EXPECT_EQ(reader.operations().ReadRfidData(reader, reader->btRecvArr), 256);
    EXPECT_EQ(reader->btRecvArr[255], 0x11);
    EXPECT_EQ(reader->btRecvArr[256], 0xA5);
    EXPECT_EQ(reader.operations().ReadRfidData(reader, reader->btRecvArr), 44);
    EXPECT_EQ(reader->btRecvArr[0], 0x22);
}

TEST_F(SerialPort, read_error_counts_as_nothing_there)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    reader_->btRecvArr[0] = 0xA5;
    sys::calls.read = [](int, void*, std::size_t) { return fail_with<ssize_t>(EIO); };
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(reader_->btRecvArr[0], 0xA5);
}

TEST_F(SerialPort, read_goes_on_after_a_signal)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    terminal_.feed(hex("01 02 03"));
    Failures::arm(2);
    sys::calls.read = [](int fd, void* to, std::size_t count) {
        return Failures::next() ? fail_with<ssize_t>(EINTR) : sys::Direct::read(fd, to, count);
    };
    EXPECT_EQ(read(), 3);
}

TEST_F(SerialPort, read_without_a_port_returns_minus_1) { EXPECT_EQ(read(), -1); }

TEST_F(SerialPort, whose_device_is_gone_reads_nothing_and_sends_nothing)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    terminal_.hang_up();
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
}

// --- Closing ---

TEST_F(SerialPort, that_was_closed_is_not_touched_any_more)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    EXPECT_TRUE(close_port(reader_));
    // The number may be another file's by now.
    sys::calls.read = [](int, void*, std::size_t) {
        SystemSeam::record(1);
        return ssize_t{0};
    };
    sys::calls.write = [](int, const void*, std::size_t count) {
        SystemSeam::record(2);
        return static_cast<ssize_t>(count);
    };
    sys::calls.tcflush = [](int, int) {
        SystemSeam::record(3);
        return 0;
    };
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(send(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(send_stop(request_frame), TAGWIRE_NO_ANSWER);
    EXPECT_FALSE(close_port(reader_));
    EXPECT_TRUE(SystemSeam::recorded().empty());
}

// A second close, which finds the port shut, meanwhile completes the reset.
TEST_F(SerialPort, that_is_in_use_is_closed_by_the_number_it_had_before_the_wait)
{
    ASSERT_EQ(open(), TAGWIRE_OK);
    const int fd = reader_->hCommPort;
    sys::calls.close = [](int number) {
        SystemSeam::record(number);
        return sys::Direct::close(number);
    };
    bool closed = false;
    std::thread closer;
    {
        const LinkUse use(reader_);
        closer = std::thread([&] { closed = close_port(reader_); });
        while (!reader_->keeping.link.is_shut()) std::this_thread::yield();
        reader_->hCommPort = -1;
    }
    closer.join();
    EXPECT_TRUE(closed);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(testing::_, fd));  // its claim first
    EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
}

}  // namespace
}  // namespace tagwire::engine::test
