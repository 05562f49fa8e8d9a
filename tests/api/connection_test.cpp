// Opening and closing, step by step, on virtual time.
#include <gmock/gmock.h>

#include <cstring>
#include <fstream>
#include <optional>
#include <sys/resource.h>

#include "api/process.h"
#include "api/reader_device.h"
#include "link/descriptor.h"
#include "support/virtual_time.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsNull;

constexpr u8 baud = 6;

void ignore_tag(RFIDTagStruct /*record*/, int /*kind*/) {}

std::vector<std::string> steps;

// ---- operations of a Reader ----

enum class Kind { serial, tcp };

// A Reader outside the table whose link is a socket pair and whose steps are written down.
class Operated {
  public:
    explicit Operated(Kind kind) : kind_(kind), reader_(Create_Reader())
    {
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends_) != 0) std::abort();
        near_end = ends_[0];
        link_result = 0;
        handshake_result = 0;
        steps.clear();
        reader_->operations.Open_Com = [](Reader* sthis, char* port, u8 fbaud) {
            steps.push_back("Open_Com " + std::string(port) + " " + std::to_string(fbaud));
            if (link_result == 0) sthis->hCommPort = near_end;
            return link_result;
        };
        reader_->operations.Open_Net = [](Reader* sthis, int Port, char* IPaddr) {
            steps.push_back("Open_Net " + std::string(IPaddr) + " " + std::to_string(Port));
            if (link_result == 0) sthis->sServer = near_end;
            return link_result;
        };
        reader_->operations.GetReaderInformation = [](Reader* sthis, u8* ComAdr, u8*, u8*, u8*, u8*, u8*, u8*,
                                                      u8*, u8*, u8*, u8*, u8*) {
            steps.push_back("handshake " + std::to_string(*ComAdr) + " type " +
                            std::to_string(sthis->m_type) + (sthis->LogFileFlag ? " logged" : ""));
            *ComAdr = 0x33;
            return handshake_result;
        };
    }
    ~Operated()
    {
        Destroy_Reader(&reader_);
        if (is_open(ends_[0])) ::close(ends_[0]);
        ::close(ends_[1]);
    }
    Operated(const Operated&) = delete;
    Operated& operator=(const Operated&) = delete;

    int open(u8* address)
    {
        char port[] = "device";
        char ip[] = "10.0.0.1";
        return kind_ == Kind::serial ? reader_->operations.OpenCom(reader_, port, address, 7)
                                     : reader_->operations.OpenTCP(reader_, 6000, ip, address);
    }
    int close() { return close_as(kind_); }
    int close_as(Kind kind)
    {
        return kind == Kind::serial ? reader_->operations.CloseCom(reader_)
                                    : reader_->operations.CloseTCP(reader_);
    }
    Reader* operator->() const { return reader_; }
    Reader* get() const { return reader_; }
    int near() const { return ends_[0]; }
    int far() const { return ends_[1]; }

    static inline int link_result;
    static inline int handshake_result;

  private:
    static inline int near_end;
    Kind kind_;
    Reader* reader_;
    int ends_[2];
};

class Operation : public testing::Test {
  protected:
    u8 address_ = 0xFF;
    VirtualTime time_;
};

TEST_F(Operation, opening_what_is_open_gives_53_and_does_nothing)
{
    for (const Kind kind : {Kind::serial, Kind::tcp}) {
        Operated reader(kind);
        reader->m_type = 5;
        reader->DeviceIsOpen = true;
        EXPECT_EQ(reader.open(&address_), 53);
        EXPECT_THAT(steps, testing::IsEmpty());
        EXPECT_EQ(reader->m_type, 5);
        EXPECT_EQ(address_, 0xFF);
        reader->DeviceIsOpen = false;
    }
}

TEST_F(Operation, open_com_passes_port_and_baud_then_shakes_hands)
{
    Operated reader(Kind::serial);
    reader->m_type = 1;
    EXPECT_EQ(reader.open(&address_), 0);
    EXPECT_THAT(steps, ElementsAre("Open_Com device 7", "handshake 255 type 0"));
    EXPECT_EQ(address_, 0x33);
    EXPECT_TRUE(reader->DeviceIsOpen);
}

TEST_F(Operation, open_tcp_passes_address_and_port_then_shakes_hands)
{
    Operated reader(Kind::tcp);
    EXPECT_EQ(reader.open(&address_), 0);
    EXPECT_THAT(steps, ElementsAre("Open_Net 10.0.0.1 6000", "handshake 255 type 1"));
    EXPECT_EQ(address_, 0x33);
    EXPECT_TRUE(reader->DeviceIsOpen);
}

TEST_F(Operation, open_com_returns_the_failure_of_the_link_as_it_stands)
{
    for (const int failure : {57, 249}) {
        Operated reader(Kind::serial);
        Operated::link_result = failure;
        EXPECT_EQ(reader.open(&address_), failure);
        EXPECT_EQ(steps.size(), 1U);
        EXPECT_FALSE(reader->DeviceIsOpen);
    }
}

TEST_F(Operation, open_tcp_returns_48_for_any_failure_of_the_link)
{
    for (const int failure : {48, 57, -1}) {
        Operated reader(Kind::tcp);
        Operated::link_result = failure;
        EXPECT_EQ(reader.open(&address_), 48);
        EXPECT_EQ(steps.size(), 1U);
        EXPECT_FALSE(reader->DeviceIsOpen);
    }
}

TEST_F(Operation, open_com_returns_what_the_handshake_returned_and_keeps_the_number)
{
    for (const int failure : {48, 49, 238, 5}) {
        Operated reader(Kind::serial);
        Operated::handshake_result = failure;
        reader->MypCallBack = ignore_tag;
        EXPECT_EQ(reader.open(&address_), failure);
        EXPECT_EQ(address_, 0xFF);
        EXPECT_FALSE(reader->DeviceIsOpen);
        EXPECT_EQ(reader->MypCallBack, nullptr);
        EXPECT_EQ(reader->hCommPort, reader.near());
        EXPECT_FALSE(is_open(reader.near()));
    }
}

TEST_F(Operation, open_tcp_turns_every_failure_of_the_handshake_into_48)
{
    for (const int failure : {48, 49, 238, 5}) {
        Operated reader(Kind::tcp);
        Operated::handshake_result = failure;
        reader->MypCallBack = ignore_tag;
        EXPECT_EQ(reader.open(&address_), 48);
        EXPECT_EQ(address_, 0xFF);
        EXPECT_FALSE(reader->DeviceIsOpen);
        EXPECT_EQ(reader->MypCallBack, nullptr);
        EXPECT_EQ(reader->sServer, -1);
        EXPECT_FALSE(is_open(reader.near()));
    }
}

TEST_F(Operation, open_switches_the_log_on_by_a_marker_file_before_the_handshake)
{
    const InTemporaryDirectory directory;
    InTemporaryDirectory::create("writelog.txt");
    for (const Kind kind : {Kind::serial, Kind::tcp}) {
        Operated reader(kind);
        const long before = open_descriptors();
        EXPECT_EQ(reader.open(&address_), 0);
        EXPECT_THAT(steps.back(), testing::EndsWith(" logged"));
        EXPECT_TRUE(reader->LogFileFlag);
        EXPECT_EQ(open_descriptors(), before);
    }
}

TEST_F(Operation, open_switches_the_log_off_without_a_marker_file)
{
    const InTemporaryDirectory directory;
    for (const Kind kind : {Kind::serial, Kind::tcp}) {
        Operated reader(kind);
        reader->LogFileFlag = true;
        EXPECT_EQ(reader.open(&address_), 0);
        EXPECT_FALSE(reader->LogFileFlag);
    }
}

TEST_F(Operation, open_that_fails_on_its_link_leaves_the_log_switch_alone)
{
    const InTemporaryDirectory directory;
    InTemporaryDirectory::create("writelog.txt");
    for (const Kind kind : {Kind::serial, Kind::tcp}) {
        Operated reader(kind);
        Operated::link_result = 57;
        reader.open(&address_);
        EXPECT_FALSE(reader->LogFileFlag);
    }
}

TEST_F(Operation, close_tcp_resets_and_pauses_200_ms)
{
    Operated reader(Kind::tcp);
    reader.open(&address_);
    reader->LogFileFlag = true;
    reader->MypCallBack = ignore_tag;
    std::strcpy(reader->ipAddress, "10.0.0.1");
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(reader.close(), 0);
    EXPECT_EQ(VirtualTime::now_ms() - before, 200);
    EXPECT_FALSE(reader->LogFileFlag);
    EXPECT_EQ(reader->MypCallBack, nullptr);
    EXPECT_EQ(reader->sServer, -1);
    EXPECT_FALSE(reader->DeviceIsOpen);
    EXPECT_THAT(reader->ipAddress, Each('\0'));
    EXPECT_FALSE(is_open(reader.near()));
    EXPECT_EQ(reader->m_type, 1);
}

TEST_F(Operation, close_tcp_ends_the_sending_direction_and_closes_before_its_pause)
{
    const CallsRestored restored;
    Operated reader(Kind::tcp);
    reader.open(&address_);
    steps.clear();
    sys::calls.shutdown = [](int, int how) {
        steps.push_back("shutdown " + std::to_string(how));
        return 0;
    };
    sys::calls.close = [](int fd) {
        steps.push_back("close at " + std::to_string(VirtualTime::now_ms()));
        return ::close(fd);
    };
    const auto before = VirtualTime::now_ms();
    reader.close();
    EXPECT_THAT(steps, ElementsAre("shutdown 1", "close at " + std::to_string(before)));
}

TEST_F(Operation, close_tcp_refuses_with_48_what_is_not_an_open_tcp_link)
{
    Operated reader(Kind::tcp);
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(reader.close(), 48);  // never opened
    reader.open(&address_);
    reader->m_type = 0;
    EXPECT_EQ(reader.close(), 48);
    reader->m_type = 1;
    reader->DeviceIsOpen = false;
    EXPECT_EQ(reader.close(), 48);
    reader->DeviceIsOpen = true;
    reader->sServer = -1;
    EXPECT_EQ(reader.close(), 48);
    EXPECT_TRUE(is_open(reader.near()));
    EXPECT_EQ(VirtualTime::now_ms(), before);
    reader->DeviceIsOpen = false;
}

TEST_F(Operation, close_com_says_48_when_it_closed_and_0_when_it_found_it_closed)
{
    Operated reader(Kind::serial);
    reader.open(&address_);
    reader->LogFileFlag = true;
    reader->MypCallBack = ignore_tag;
    auto before = VirtualTime::now_ms();

    EXPECT_EQ(reader.close(), 48);
    EXPECT_EQ(VirtualTime::now_ms() - before, 200);
    EXPECT_FALSE(is_open(reader.near()));
    EXPECT_EQ(reader->hCommPort, reader.near());
    EXPECT_TRUE(reader->DeviceIsOpen);
    EXPECT_TRUE(reader->LogFileFlag);
    EXPECT_EQ(reader->MypCallBack, nullptr);

    before = VirtualTime::now_ms();
    EXPECT_EQ(reader.close(), 0);
    EXPECT_EQ(VirtualTime::now_ms() - before, 200);
    EXPECT_EQ(reader->hCommPort, -1);
    EXPECT_FALSE(reader->DeviceIsOpen);
    EXPECT_FALSE(reader->LogFileFlag);

    before = VirtualTime::now_ms();
    EXPECT_EQ(reader.close(), 0);
    EXPECT_EQ(VirtualTime::now_ms(), before);
}

TEST_F(Operation, close_com_resets_at_once_when_the_system_fails_to_close)
{
    const CallsRestored restored;
    Operated reader(Kind::serial);
    reader.open(&address_);
    reader->LogFileFlag = true;
    sys::calls.close = [](int) { return -1; };
    EXPECT_EQ(reader.close(), 0);
    EXPECT_EQ(reader->hCommPort, -1);
    EXPECT_FALSE(reader->DeviceIsOpen);
    EXPECT_FALSE(reader->LogFileFlag);
}

TEST_F(Operation, close_com_pauses_before_it_unlocks_and_closes)
{
    const CallsRestored restored;
    Operated reader(Kind::serial);
    reader.open(&address_);
    steps.clear();
    reader->operations.unlock_fd = [](Reader*, int fd) {
        steps.push_back("unlock " + std::to_string(fd) + " at " + std::to_string(VirtualTime::now_ms()));
        return 0;
    };
    sys::calls.close = [](int fd) {
        steps.push_back("close " + std::to_string(fd) + " at " + std::to_string(VirtualTime::now_ms()));
        return ::close(fd);
    };
    const std::string where =
        std::to_string(reader.near()) + " at " + std::to_string(VirtualTime::now_ms() + 200);
    reader.close();
    EXPECT_THAT(steps, ElementsAre("unlock " + where, "close " + where));
}

TEST_F(Operation, close_com_does_nothing_with_what_is_not_an_open_serial_link)
{
    Operated reader(Kind::serial);
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(reader.close(), 0);  // never opened
    reader.open(&address_);
    reader->m_type = 1;
    EXPECT_EQ(reader.close(), 0);
    reader->m_type = 0;
    reader->DeviceIsOpen = false;
    EXPECT_EQ(reader.close(), 0);
    EXPECT_TRUE(is_open(reader.near()));
    EXPECT_EQ(VirtualTime::now_ms(), before);
}

TEST_F(Operation, second_close_com_leaves_a_stranger_with_the_same_number_alone)
{
    const InTemporaryDirectory directory;
    InTemporaryDirectory::create("stranger");
    Operated reader(Kind::serial);
    reader.open(&address_);
    EXPECT_EQ(reader.close(), 48);

    const int stranger = ::open("stranger", O_RDWR | O_CLOEXEC);
    if (stranger != reader.near()) {
        ASSERT_EQ(::dup2(stranger, reader.near()), reader.near());
        ::close(stranger);
    }
    struct flock region {};
    region.l_type = F_WRLCK;
    ASSERT_EQ(::fcntl(reader.near(), F_SETLK, &region), 0);

    EXPECT_EQ(reader.close(), 0);
    EXPECT_TRUE(is_open(reader.near()));
    EXPECT_TRUE(is_locked("stranger"));
}

TEST_F(Operation, grace_close_is_false_and_does_nothing)
{
    Operated reader(Kind::tcp);
    reader.open(&address_);
    int value = 5;
    EXPECT_FALSE(reader->operations.GraceClose(reader.get(), &value));
    EXPECT_FALSE(reader->operations.GraceClose(reader.get(), nullptr));
    EXPECT_EQ(value, 5);
    EXPECT_TRUE(reader->DeviceIsOpen);
    EXPECT_TRUE(is_open(reader.near()));
    reader.close();
}

// ---- the exported functions ----

class Connection : public testing::Test {
  protected:
    Connection() : descriptors_(open_descriptors()) { steps.clear(); }
    void TearDown() override
    {
        EXPECT_THAT(EthReader, Each(IsNull()));
        EXPECT_FALSE(isOpening);
    }

    int open(PtyDevice& device) { return OpenComPort(device.path(), &address_, baud, &handle_); }
    int open(TcpDevice& device) { return OpenNetPort(device.port(), device.address(), &address_, &handle_); }
    int open_net(int port, const char* ip)
    {
        std::string text(ip);
        return OpenNetPort(port, text.data(), &address_, &handle_);
    }

    // A failure, all of it: the handle, the slot, the address, the descriptors.
    void expect_nothing_left(long far_ends = 0) const
    {
        EXPECT_EQ(handle_, -1);
        EXPECT_EQ(EthReader[1], nullptr);
        EXPECT_EQ(address_, 0xFF);
        EXPECT_EQ(open_descriptors(), descriptors_ + far_ends);
        EXPECT_FALSE(isOpening);
    }

    CallsRestored restored_;
    VirtualTime time_;
    u8 address_ = 0xFF;
    int handle_ = 77;
    long descriptors_;
};

class Serial : public Connection {
  protected:
    Serial() { descriptors_ = open_descriptors(); }

    PtyDevice device_;
};

class Tcp : public Connection {
  protected:
    Tcp() { descriptors_ = open_descriptors(); }

    TcpDevice device_;
};

TEST_F(Serial, open_gives_the_lowest_handle_and_an_idle_reader)
{
    ASSERT_EQ(open(device_), 0);
    EXPECT_EQ(handle_, 1);
    EXPECT_EQ(address_, device_address);
    const Reader* reader = EthReader[1];
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->FrmHandle, 1);
    EXPECT_EQ(reader->m_type, 0);
    EXPECT_EQ(reader->sServer, -1);
    EXPECT_EQ(reader->ReaderAddr, device_address);
    EXPECT_EQ(reader->inventoryScanTime, 0x0A);
    EXPECT_TRUE(reader->DeviceIsOpen);
    EXPECT_FALSE(reader->isStopCmd);
    EXPECT_FALSE(reader->isInventoryCmd);
    EXPECT_TRUE(reader->isStopStocktaking);
    EXPECT_FALSE(reader->LogFileFlag);
    EXPECT_EQ(reader->MypCallBack, nullptr);
    EXPECT_TRUE(is_locked(device_.path()));
    EXPECT_EQ(CloseSpecComPort(1), 0);
    EXPECT_FALSE(is_locked(device_.path()));
    EXPECT_EQ(open_descriptors(), descriptors_);
}

TEST_F(Serial, open_sets_the_speed_of_the_index)
{
    ASSERT_EQ(open(device_), 0);
    const termios line = device_.line();
    EXPECT_EQ(cfgetospeed(&line), speed_t{B115200});
    EXPECT_EQ(line.c_cflag & CSIZE, tcflag_t{CS8});
    EXPECT_EQ(line.c_lflag, 0U);
    CloseSpecComPort(1);
}

TEST_F(Serial, open_asks_once_with_the_callers_address)
{
    Bytes asked;
    device_.behave([&](const Bytes& request) {
        asked = asked + request;
        return information();
    });
    ASSERT_EQ(open(device_), 0);
    EXPECT_EQ(to_hex(asked), "04 FF 21 19 95");
    CloseSpecComPort(1);
}

TEST_F(Serial, open_of_a_device_that_does_not_exist_gives_57)
{
    char nowhere[] = "/dev/there-is-no-such-device";
    EXPECT_EQ(OpenComPort(nowhere, &address_, baud, &handle_), 57);
    expect_nothing_left();
}

TEST_F(Serial, open_of_a_device_that_cannot_be_opened_gives_57)
{
    sys::calls.open = [](const char*, int, mode_t) { return errno = EBUSY, -1; };
    EXPECT_EQ(open(device_), 57);
    expect_nothing_left();
}

TEST_F(Serial, open_of_a_device_that_is_locked_gives_57)
{
    sys::calls.lock = [](int, struct flock*) { return errno = EAGAIN, -1; };
    EXPECT_EQ(open(device_), 57);
    expect_nothing_left();
}

TEST_F(Serial, open_of_a_device_that_another_process_has_locked_gives_57)
{
    int ready[2];
    int done[2];
    ASSERT_EQ(::pipe(ready), 0);
    ASSERT_EQ(::pipe(done), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(done[1]);
        const int fd = ::open(device_.path(), O_RDWR | O_NOCTTY);
        struct flock region {};
        region.l_type = F_WRLCK;
        char byte = ::fcntl(fd, F_SETLK, &region) == 0 ? 'y' : 'n';
        if (::write(ready[1], &byte, 1) != 1 || ::read(done[0], &byte, 1) != 0) ::_exit(1);
        ::_exit(0);
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    ASSERT_EQ(byte, 'y');
    EXPECT_EQ(open(device_), 57);
    EXPECT_EQ(handle_, -1);
    ::close(done[1]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(open(device_), 0);
    CloseSpecComPort(1);
    for (const int fd : {ready[0], ready[1], done[0]}) ::close(fd);
}

TEST_F(Serial, open_of_a_device_that_refuses_the_settings_gives_249)
{
    sys::calls.tcsetattr = [](int, const termios*) { return errno = EIO, -1; };
    EXPECT_EQ(open(device_), 249);
    expect_nothing_left();
    EXPECT_FALSE(is_locked(device_.path()));
}

TEST_F(Serial, open_gives_up_on_a_silent_device_after_its_200_ms)
{
    device_.stay_silent();
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(open(device_), 48);
    EXPECT_GE(VirtualTime::now_ms() - before, 200);
    EXPECT_LE(VirtualTime::now_ms() - before, 220);
    expect_nothing_left();
    EXPECT_FALSE(is_locked(device_.path()));
}

TEST_F(Serial, open_returns_the_status_of_a_full_length_answer)
{
    device_.behave([](const Bytes&) { return information(0x05); });
    EXPECT_EQ(open(device_), 5);
    expect_nothing_left();
}

TEST_F(Serial, open_returns_49_and_238_of_the_handshake)
{
    static int failure;
    for (const int code : {49, 238}) {
        failure = code;
        sys::calls.stat = [](const char* path, struct stat* out) {
            EthReader[1]->operations.GetReaderInformation = [](Reader*, u8*, u8*, u8*, u8*, u8*, u8*, u8*,
                                                               u8*, u8*, u8*, u8*, u8*) { return failure; };
            return ::stat(path, out);
        };
        EXPECT_EQ(open(device_), code);
        expect_nothing_left();
    }
}

TEST_F(Serial, open_that_is_left_in_an_inventory_gives_51_and_keeps_the_reader)
{
    device_.stay_silent();
    sys::calls.close = [](int fd) {
        EthReader[1]->isInventoryCmd = true;
        return ::close(fd);
    };
    EXPECT_EQ(open(device_), 51);
    EXPECT_EQ(handle_, -1);
    ASSERT_NE(EthReader[1], nullptr);
    EXPECT_FALSE(EthReader[1]->DeviceIsOpen);
    Reader* left = EthReader[1];
    Destroy_Reader(&left);
    EthReader[1] = nullptr;
    EXPECT_EQ(open_descriptors(), descriptors_);
}

TEST_F(Serial, open_again_after_every_kind_of_failure_works)
{
    device_.stay_silent();
    EXPECT_EQ(open(device_), 48);
    sys::calls.tcsetattr = [](int, const termios*) { return -1; };
    EXPECT_EQ(open(device_), 249);
    sys::calls.tcsetattr = sys::Direct::tcsetattr;
    sys::calls.lock = [](int, struct flock*) { return -1; };
    EXPECT_EQ(open(device_), 57);
    sys::calls.lock = sys::Direct::lock;
    device_.behave(Device::usual_answer);
    EXPECT_EQ(open(device_), 0);
    EXPECT_EQ(handle_, 1);
    EXPECT_EQ(CloseSpecComPort(1), 0);
}

TEST_F(Serial, open_of_a_device_that_is_open_here_gives_57_and_keeps_its_record_lock)
{
    ASSERT_EQ(open(device_), 0);
    static int opened;
    opened = 0;
    sys::calls.open = [](const char* path, int flags, mode_t mode) {
        ++opened;
        return ::open(path, flags, mode);
    };
    EXPECT_EQ(open(device_), 57);
    EXPECT_EQ(handle_, -1);
    EXPECT_EQ(opened, 0);
    EXPECT_EQ(EthReader[2], nullptr);
    EXPECT_TRUE(is_locked(device_.path()));
    EXPECT_EQ(CloseSpecComPort(1), 0);
    EXPECT_EQ(open(device_), 0);
    EXPECT_EQ(CloseSpecComPort(1), 0);
}

TEST_F(Serial, open_knows_a_device_by_another_path)
{
    const InTemporaryDirectory directory;
    ASSERT_EQ(::symlink(device_.path(), "alias"), 0);
    char alias[] = "alias";
    ASSERT_EQ(open(device_), 0);
    EXPECT_EQ(OpenComPort(alias, &address_, baud, &handle_), 57);
    EXPECT_TRUE(is_locked(device_.path()));
    EXPECT_EQ(CloseSpecComPort(1), 0);
    EXPECT_EQ(OpenComPort(alias, &address_, baud, &handle_), 0);
    EXPECT_EQ(CloseSpecComPort(1), 0);
}

TEST_F(Serial, open_ignores_that_a_tcp_open_runs)
{
    isOpening = true;
    EXPECT_EQ(open(device_), 0);
    EXPECT_TRUE(isOpening);
    isOpening = false;
    CloseSpecComPort(1);
}

TEST_F(Serial, close_takes_600_ms)
{
    ASSERT_EQ(open(device_), 0);
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(CloseSpecComPort(1), 0);
    EXPECT_EQ(VirtualTime::now_ms() - before, 600);
    EXPECT_EQ(EthReader[1], nullptr);
}

TEST_F(Serial, close_locks_around_the_link_and_destroys_behind_it)
{
    ASSERT_EQ(open(device_), 0);
    Operations& operations = EthReader[1]->operations;
    operations.LOCK = [](Reader* sthis) {
        steps.emplace_back("LOCK");
        I_LOCK(sthis);
    };
    operations.UNLOCK = [](Reader* sthis) {
        steps.emplace_back("UNLOCK");
        I_UNLOCK(sthis);
    };
    operations.CloseCom = [](Reader* sthis) {
        const int result = I_CloseCom(sthis);
        steps.push_back("CloseCom " + std::to_string(result));
        return result;
    };
    operations.CloseTCP = [](Reader*) {
        steps.emplace_back("CloseTCP");
        return 0;
    };
    EXPECT_EQ(CloseSpecComPort(1), 0);
    EXPECT_THAT(steps, ElementsAre("LOCK", "CloseCom 48", "UNLOCK", "CloseCom 0"));
}

TEST_F(Serial, close_leaves_the_reader_in_its_stop_state)
{
    ASSERT_EQ(open(device_), 0);
    const Kept reader(1);
    InitRFIDCallBack(ignore_tag, true, 1);
    EXPECT_EQ(CloseSpecComPort(1), 0);
    EXPECT_TRUE(reader->isStopCmd);
    EXPECT_TRUE(reader->isStopStocktaking);
    EXPECT_FALSE(reader->DeviceIsOpen);
    EXPECT_FALSE(reader->InventoryBackUID);
    EXPECT_EQ(reader->MypCallBack, nullptr);
    EXPECT_EQ(reader->hCommPort, -1);
    EXPECT_TRUE(reader.alone());
}

TEST_F(Serial, close_with_an_inventory_in_progress_gives_51_and_leaves_the_stop_flag)
{
    ASSERT_EQ(open(device_), 0);
    Reader* reader = EthReader[1];
    reader->isInventoryCmd = true;
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(CloseSpecComPort(1), 51);
    EXPECT_EQ(VirtualTime::now_ms() - before, 200);
    EXPECT_EQ(EthReader[1], reader);
    EXPECT_TRUE(reader->isStopCmd);
    EXPECT_TRUE(reader->DeviceIsOpen);
    EXPECT_TRUE(is_open(reader->hCommPort));
    EXPECT_TRUE(is_locked(device_.path()));
    EXPECT_EQ(CloseSpecComPort(1), 51);
    reader->isInventoryCmd = false;
    EXPECT_EQ(CloseSpecComPort(1), 0);
}

TEST_F(Serial, close_looks_for_an_inventory_behind_its_first_pause)
{
    ASSERT_EQ(open(device_), 0);
    Reader* reader = EthReader[1];
    VirtualTime::in(199, [=] {
        EXPECT_TRUE(reader->isStopCmd);
        reader->isInventoryCmd = true;
    });
    EXPECT_EQ(CloseSpecComPort(1), 51);
    VirtualTime::in(199, [=] { reader->isInventoryCmd = false; });
    EXPECT_EQ(CloseSpecComPort(1), 0);
}

TEST_F(Serial, close_does_not_look_at_reading)
{
    ASSERT_EQ(open(device_), 0);
    EthReader[1]->Reading = true;
    EXPECT_EQ(CloseSpecComPort(1), 0);
}

TEST_F(Serial, close_leaves_a_stranger_with_the_same_number_alone)
{
    const InTemporaryDirectory directory;
    InTemporaryDirectory::create("stranger");
    ASSERT_EQ(open(device_), 0);
    const int number = EthReader[1]->hCommPort;
    VirtualTime::in(500, [=] {  // between the two closes of the link
        ASSERT_FALSE(is_open(number));
        const int stranger = ::open("stranger", O_RDWR | O_CLOEXEC);
        if (stranger != number) {
            ASSERT_EQ(::dup2(stranger, number), number);
            ::close(stranger);
        }
        struct flock region {};
        region.l_type = F_WRLCK;
        ASSERT_EQ(::fcntl(number, F_SETLK, &region), 0);
    });
    EXPECT_EQ(CloseSpecComPort(1), 0);
    EXPECT_TRUE(is_open(number));
    EXPECT_TRUE(is_locked("stranger"));
    ::close(number);
}

TEST_F(Serial, close_of_an_empty_slot_or_a_closed_link_gives_48_at_once)
{
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(CloseSpecComPort(1), 48);
    EXPECT_EQ(CloseSpecComPort(255), 48);
    const SlotReader closed(4);
    EXPECT_EQ(CloseSpecComPort(4), 48);
    EXPECT_FALSE(closed->isStopCmd);
    EXPECT_EQ(VirtualTime::now_ms(), before);
}

TEST_F(Serial, close_of_a_bad_handle_gives_55)
{
    for (const int bad : {-1, 0, 256, 999}) EXPECT_EQ(CloseSpecComPort(bad), 55);
}

TEST_F(Serial, close_as_tcp_gives_48_and_touches_nothing)
{
    ASSERT_EQ(open(device_), 0);
    EXPECT_EQ(CloseNetPort(1), 48);
    EXPECT_FALSE(EthReader[1]->isStopCmd);
    EXPECT_TRUE(EthReader[1]->DeviceIsOpen);
    EXPECT_EQ(CloseSpecComPort(1), 0);
    EXPECT_EQ(CloseNetPort(1), 55);
    EXPECT_EQ(CloseSpecComPort(1), 48);
}

TEST_F(Serial, close_all_without_any_connection_gives_0_at_once)
{
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(CloseComPort(), 0);
    EXPECT_EQ(VirtualTime::now_ms(), before);
}

TEST_F(Serial, close_all_goes_up_and_leaves_tcp_and_busy_connections)
{
    PtyDevice second;
    PtyDevice third;
    TcpDevice network;
    ASSERT_EQ(open(device_), 0);
    ASSERT_EQ(open(network), 0);
    ASSERT_EQ(open(second), 0);
    ASSERT_EQ(open(third), 0);
    ASSERT_EQ(handle_, 4);
    EthReader[3]->isInventoryCmd = true;
    static int first_number;
    static int last_number;
    first_number = EthReader[1]->hCommPort;
    last_number = EthReader[4]->hCommPort;
    sys::calls.close = [](int fd) {
        if (fd == first_number) steps.emplace_back("first");
        if (fd == last_number) steps.emplace_back("last");
        return ::close(fd);
    };
    EXPECT_EQ(CloseComPort(), 0);
    EXPECT_THAT(steps, ElementsAre("first", "last"));
    EXPECT_EQ(EthReader[1], nullptr);
    ASSERT_NE(EthReader[2], nullptr);
    EXPECT_TRUE(EthReader[2]->DeviceIsOpen);
    EXPECT_FALSE(EthReader[2]->isStopCmd);
    ASSERT_NE(EthReader[3], nullptr);
    EXPECT_EQ(EthReader[4], nullptr);
    EthReader[3]->isInventoryCmd = false;
    EXPECT_EQ(CloseComPort(), 0);
    EXPECT_EQ(EthReader[3], nullptr);
    EXPECT_EQ(CloseNetPort(2), 0);
}

TEST_F(Serial, auto_open_tries_thirty_devices_in_order)
{
    static int* handle;
    handle = &handle_;
    sys::calls.stat = [](const char* path, struct stat*) {
        steps.emplace_back(path);
        const int expected = steps.size() == 1 ? 77 : -1;
        EXPECT_EQ(*handle, expected) << path;
        *handle = 77;
        return errno = ENOENT, -1;
    };
    sys::calls.open = [](const char* path, int, mode_t) {
        if (steps.empty() || steps.back() != path) steps.emplace_back(path);
        return errno = ENOENT, -1;
    };
    std::vector<std::string> order;
    for (int n = 0; n <= 9; ++n)
        for (const char* prefix : {"/dev/tty", "/dev/ttyS", "/dev/ttyUSB"})
            order.push_back(prefix + std::to_string(n));
    char port[32];
    std::memset(port, 0x5A, sizeof port);
    EXPECT_EQ(AutoOpenComPort(port, &address_, baud, &handle_), 48);
    EXPECT_EQ(steps, order);
    EXPECT_THAT(port, Each(0x5A));
    expect_nothing_left();
}

TEST_F(Serial, auto_open_keeps_the_first_device_with_a_reader_and_writes_its_name)
{
    static const char* here;
    static const char* silent;
    PtyDevice other;
    other.stay_silent();
    here = device_.path();
    silent = other.path();
    static const auto real_path = [](const char* path) {
        if (std::strcmp(path, "/dev/ttyUSB0") == 0) return silent;
        if (std::strcmp(path, "/dev/ttyS1") == 0 || std::strcmp(path, "/dev/ttyUSB1") == 0) return here;
        return "/dev/there-is-no-such-device";
    };
    sys::calls.stat = [](const char* path, struct stat* out) { return ::stat(real_path(path), out); };
    sys::calls.open = [](const char* path, int flags, mode_t mode) {
        return ::open(real_path(path), flags, mode);
    };
    char port[32];
    std::memset(port, 0x5A, sizeof port);
    EXPECT_EQ(AutoOpenComPort(port, &address_, baud, &handle_), 0);
    EXPECT_STREQ(port, "/dev/ttyS1");
    EXPECT_EQ(port[11], 0x5A);
    EXPECT_EQ(handle_, 1);
    EXPECT_EQ(address_, device_address);
    EXPECT_EQ(other.requests(0x21), 1U);
    EXPECT_EQ(device_.requests(0x21), 1U);
    const termios line = device_.line();
    EXPECT_EQ(cfgetospeed(&line), speed_t{B115200});
    EXPECT_EQ(CloseSpecComPort(1), 0);
}

TEST_F(Tcp, open_gives_the_lowest_handle_and_an_idle_reader)
{
    ASSERT_EQ(open(device_), 0);
    EXPECT_EQ(handle_, 1);
    EXPECT_EQ(address_, device_address);
    const Reader* reader = EthReader[1];
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->FrmHandle, 1);
    EXPECT_EQ(reader->m_type, 1);
    EXPECT_EQ(reader->hCommPort, -1);
    EXPECT_STREQ(reader->ipAddress, device_.address());
    EXPECT_EQ(reader->ipPort, device_.port());
    EXPECT_EQ(reader->ReaderAddr, device_address);
    EXPECT_EQ(reader->inventoryScanTime, 0x0A);
    EXPECT_TRUE(reader->DeviceIsOpen);
    EXPECT_FALSE(reader->isStopCmd);
    EXPECT_TRUE(reader->isStopStocktaking);
    EXPECT_FALSE(isOpening);
    EXPECT_EQ(CloseNetPort(1), 0);
    EXPECT_TRUE(device_.was_left());
}

TEST_F(Tcp, open_and_close_leave_no_descriptor)
{
    sys::calls.open = [](const char*, int, mode_t) { return -1; };
    static std::vector<int> opened;
    static std::vector<int> closed;
    opened.clear();
    closed.clear();
    sys::calls.socket = [] {
        opened.push_back(sys::Direct::socket());
        return opened.back();
    };
    sys::calls.close = [](int fd) {
        closed.push_back(fd);
        return ::close(fd);
    };
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(open(device_), 0);
        ASSERT_EQ(CloseNetPort(handle_), 0);
    }
    EXPECT_EQ(opened.size(), 3U);
    EXPECT_EQ(closed, opened);
}

TEST_F(Tcp, open_while_an_open_runs_gives_51_and_touches_nothing)
{
    isOpening = true;
    EXPECT_EQ(open(device_), 51);
    EXPECT_TRUE(isOpening);
    EXPECT_EQ(handle_, 77);
    EXPECT_EQ(address_, 0xFF);
    EXPECT_EQ(open_descriptors(), descriptors_);
    EXPECT_EQ(device_.requests(0x21), 0U);
    isOpening = false;
}

TEST_F(Tcp, open_is_marked_while_it_runs)
{
    static int inner;
    inner = 0;
    sys::calls.socket = [] {
        char address[] = "127.0.0.2";
        u8 bus = 0xFF;
        int handle = 5;
        if (isOpening) inner = OpenNetPort(1, address, &bus, &handle);
        return sys::Direct::socket();
    };
    EXPECT_EQ(open(device_), 0);
    EXPECT_EQ(inner, 51);
    EXPECT_FALSE(isOpening);
    CloseNetPort(1);
}

TEST_F(Tcp, open_with_an_address_that_is_none_gives_48)
{
    for (const char* text : {"", "999.1.1.1", "localhost", "127.0.0.1 ", "127.0.1", "::1"}) {
        SCOPED_TRACE(text);
        handle_ = 77;
        EXPECT_EQ(open_net(device_.port(), text), 48);
        expect_nothing_left();
    }
    handle_ = 77;
    EXPECT_EQ(OpenNetPort(device_.port(), nullptr, &address_, &handle_), 48);
    expect_nothing_left();
}

TEST_F(Tcp, open_where_nobody_listens_gives_48)
{
    int free_port = 0;
    {
        const TcpDevice gone("127.0.0.3");
        free_port = gone.port();
    }
    EXPECT_EQ(open_net(free_port, "127.0.0.3"), 48);
    expect_nothing_left();
}

TEST_F(Tcp, open_gives_up_on_a_connection_that_is_not_made_within_1_s)
{
    sys::calls.connect = [](int, const sockaddr*, socklen_t) { return errno = EINPROGRESS, -1; };
    sys::calls.ppoll = [](pollfd*, nfds_t, const timespec* limit) {
        VirtualTime::advance_ms(limit->tv_sec * 1000 + limit->tv_nsec / 1'000'000);
        return 0;
    };
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(open(device_), 48);
    EXPECT_EQ(VirtualTime::now_ms() - before, 1000);
    expect_nothing_left();
}

TEST_F(Tcp, open_without_a_socket_gives_48)
{
    sys::calls.socket = [] { return errno = EMFILE, -1; };
    EXPECT_EQ(open(device_), 48);
    expect_nothing_left();
}

TEST_F(Tcp, open_with_socket_number_0_gives_48_and_leaves_no_descriptor)
{
    const int standard_input = ::fcntl(0, F_DUPFD_CLOEXEC, 10);
    ASSERT_GE(standard_input, 10);
    sys::calls.socket = [] {
        ::close(0);
        return sys::Direct::socket();
    };
    EXPECT_EQ(open(device_), 48);
    EXPECT_FALSE(is_open(0));
    ::dup2(standard_input, 0);
    ::close(standard_input);
    expect_nothing_left();
}

TEST_F(Tcp, open_gives_up_on_a_silent_device)
{
    device_.stay_silent();
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(open(device_), 48);
    EXPECT_GE(VirtualTime::now_ms() - before, 200);
    expect_nothing_left(1);
    EXPECT_TRUE(device_.was_left());
}

TEST_F(Tcp, open_turns_a_status_of_the_device_into_48)
{
    device_.behave([](const Bytes&) { return information(0x05); });
    EXPECT_EQ(open(device_), 48);
    expect_nothing_left(1);
    EXPECT_TRUE(device_.was_left());
}

TEST_F(Tcp, open_that_a_device_hangs_up_on_gives_48)
{
    device_.hang_up_on(0x21);
    EXPECT_EQ(open(device_), 48);
    expect_nothing_left(1);
}

// Nothing else happens under the limit: sanitizers need descriptors, too.
template <class Open> int without_descriptors(Open open)
{
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = before;
    none.rlim_cur = 0;
    ::setrlimit(RLIMIT_NOFILE, &none);
    const int result = open();
    ::setrlimit(RLIMIT_NOFILE, &before);
    return result;
}

TEST_F(Tcp, open_without_descriptors_gives_48)
{
    const int port = device_.port();
    char* ip = device_.address();
    char nowhere[] = "/dev/null";
    u8 address = 0xFF;
    int handle = 77;
    EXPECT_EQ(without_descriptors([&] { return OpenNetPort(port, ip, &address, &handle); }), 48);
    EXPECT_EQ(handle, -1);
    handle = 77;
    EXPECT_EQ(without_descriptors([&] { return OpenComPort(nowhere, &address, baud, &handle); }), 48);
    EXPECT_EQ(handle, -1);
    handle_ = handle;
    expect_nothing_left();
}

TEST_F(Tcp, open_to_a_connected_address_replaces_the_connection_whatever_its_port)
{
    TcpDevice elsewhere("127.0.0.1");
    ASSERT_NE(elsewhere.port(), device_.port());
    ASSERT_EQ(open(device_), 0);
    const Kept old(1);
    EXPECT_EQ(open(elsewhere), 0);
    EXPECT_EQ(handle_, 1);
    EXPECT_NE(EthReader[1], old.get());
    EXPECT_EQ(EthReader[1]->ipPort, elsewhere.port());
    EXPECT_EQ(EthReader[2], nullptr);
    EXPECT_TRUE(device_.was_left());
    EXPECT_FALSE(old->DeviceIsOpen);
    EXPECT_TRUE(old->isStopCmd);
    EXPECT_TRUE(old.alone());
    CloseNetPort(1);
}

TEST_F(Tcp, open_that_replaces_and_then_fails_leaves_no_connection)
{
    ASSERT_EQ(open(device_), 0);
    EXPECT_EQ(open_net(device_.port(), "127.0.0.1x"), 48);
    EXPECT_NE(EthReader[1], nullptr);  // another text
    device_.stay_silent();
    EXPECT_EQ(open(device_), 48);
    EXPECT_EQ(handle_, -1);
    EXPECT_EQ(EthReader[1], nullptr);
}

TEST_F(Tcp, open_locks_around_the_replaced_link)
{
    ASSERT_EQ(open(device_), 0);
    Operations& operations = EthReader[1]->operations;
    operations.LOCK = [](Reader* sthis) {
        steps.emplace_back(sthis->isStopCmd ? "LOCK stopped" : "LOCK");
        I_LOCK(sthis);
    };
    operations.UNLOCK = [](Reader* sthis) {
        steps.emplace_back("UNLOCK");
        I_UNLOCK(sthis);
    };
    operations.CloseTCP = [](Reader* sthis) {
        steps.emplace_back("CloseTCP");
        return I_CloseTCP(sthis);
    };
    EXPECT_EQ(open(device_), 0);
    EXPECT_THAT(steps, ElementsAre("LOCK stopped", "CloseTCP", "UNLOCK"));
    CloseNetPort(1);
}

TEST_F(Tcp, open_gives_the_lowest_free_handle_behind_others)
{
    TcpDevice second("127.0.0.2");
    TcpDevice third("127.0.0.3");
    ASSERT_EQ(open(device_), 0);
    ASSERT_EQ(open(second), 0);
    EXPECT_EQ(handle_, 2);
    CloseNetPort(1);
    ASSERT_EQ(open(third), 0);
    EXPECT_EQ(handle_, 1);
    EXPECT_EQ(EthReader[2]->ipPort, second.port());
    CloseNetPort(1);
    CloseNetPort(2);
}

TEST_F(Tcp, open_replaces_only_the_first_connection_that_matches)
{
    TcpDevice second("127.0.0.2");
    ASSERT_EQ(open(device_), 0);
    ASSERT_EQ(open(second), 0);
    std::strcpy(EthReader[2]->ipAddress, device_.address());
    const Kept kept(2);
    handle_ = -1;
    EXPECT_EQ(open(device_), 0);
    EXPECT_EQ(handle_, 1);
    EXPECT_EQ(EthReader[2], kept.get());
    EXPECT_TRUE(kept->DeviceIsOpen);
    CloseNetPort(1);
    CloseNetPort(2);
}

TEST_F(Tcp, open_compares_63_characters)
{
    const std::string long_text(80, '7');
    const std::string kept_text(63, '7');
    {
        const SlotReader other(1);
        kept_text.copy(other->ipAddress, 62);
        EXPECT_EQ(open_net(1, long_text.c_str()), 48);
        EXPECT_NE(EthReader[1], nullptr);
    }
    Reader* match = Create_Reader();
    EthReader[1] = match;
    kept_text.copy(match->ipAddress, 63);
    match->m_type = 1;
    EXPECT_EQ(open_net(1, long_text.c_str()), 48);
    EXPECT_EQ(EthReader[1], nullptr);
}

TEST_F(Tcp, open_with_an_empty_or_null_address_matches_no_connection)
{
    PtyDevice serial;
    ASSERT_EQ(open(serial), 0);
    ASSERT_EQ(open(device_), 0);
    EthReader[2]->ipAddress[0] = '\0';
    const Kept first(1);
    const Kept second(2);
    EXPECT_EQ(open_net(device_.port(), ""), 48);
    EXPECT_EQ(OpenNetPort(device_.port(), nullptr, &address_, &handle_), 48);
    EXPECT_EQ(EthReader[1], first.get());
    EXPECT_EQ(EthReader[2], second.get());
    EXPECT_TRUE(first->DeviceIsOpen);
    EXPECT_TRUE(second->DeviceIsOpen);
    EXPECT_FALSE(first->isStopCmd);
    EXPECT_FALSE(second->isStopCmd);
    CloseSpecComPort(1);
    CloseNetPort(2);
}

TEST_F(Tcp, open_is_busy_when_the_callers_old_handle_is_in_an_inventory)
{
    TcpDevice second("127.0.0.2");
    ASSERT_EQ(open(device_), 0);
    ASSERT_EQ(open(second), 0);
    ASSERT_EQ(handle_, 2);
    EthReader[2]->isInventoryCmd = true;
    Reader* matched = EthReader[1];

    EXPECT_EQ(open(device_), 51);
    EXPECT_EQ(handle_, 2);
    EXPECT_FALSE(isOpening);
    ASSERT_EQ(EthReader[1], matched);
    EXPECT_FALSE(matched->DeviceIsOpen);
    EXPECT_TRUE(matched->isStopCmd);
    EXPECT_EQ(matched->sServer, -1);
    EXPECT_EQ(matched->ipPort, 0);
    EXPECT_THAT(matched->ipAddress, Each('\0'));
    EXPECT_TRUE(device_.was_left());
    EXPECT_TRUE(EthReader[2]->DeviceIsOpen);
    EXPECT_FALSE(EthReader[2]->isStopCmd);

    // The closed one is matched no more, and is no connection to close either.
    EXPECT_EQ(CloseNetPort(1), 48);
    EXPECT_EQ(open(device_), 0);
    EXPECT_EQ(handle_, 3);
    EthReader[2]->isInventoryCmd = false;
    EXPECT_EQ(CloseNetPort(2), 0);
    EXPECT_EQ(CloseNetPort(3), 0);
    EthReader[1] = nullptr;
    Destroy_Reader(&matched);
}

TEST_F(Tcp, open_does_not_look_at_the_callers_old_handle_without_a_match)
{
    TcpDevice second("127.0.0.2");
    ASSERT_EQ(open(device_), 0);
    EthReader[1]->isInventoryCmd = true;
    EXPECT_EQ(open(second), 0);
    EXPECT_EQ(handle_, 2);
    EthReader[1]->isInventoryCmd = false;
    CloseNetPort(1);
    CloseNetPort(2);
}

TEST_F(Tcp, open_looks_at_the_callers_handle_not_at_the_matched_one)
{
    ASSERT_EQ(open(device_), 0);
    EthReader[1]->isInventoryCmd = true;
    handle_ = -1;
    EXPECT_EQ(open(device_), 0);
    EXPECT_EQ(handle_, 1);
    CloseNetPort(1);
}

TEST_F(Tcp, open_ignores_an_old_handle_that_names_nobody)
{
    ASSERT_EQ(open(device_), 0);
    for (const int old : {-1, 0, 2, 255, 256, 1'000'000, -1'000'000}) {
        SCOPED_TRACE(old);
        handle_ = old;
        EXPECT_EQ(open(device_), 0);
        EXPECT_EQ(handle_, 1);
    }
    CloseNetPort(1);
}

TEST_F(Tcp, close_takes_200_ms)
{
    ASSERT_EQ(open(device_), 0);
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(CloseNetPort(1), 0);
    EXPECT_EQ(VirtualTime::now_ms() - before, 200);
}

TEST_F(Tcp, close_locks_around_the_link_and_destroys_behind_it)
{
    ASSERT_EQ(open(device_), 0);
    Operations& operations = EthReader[1]->operations;
    operations.LOCK = [](Reader* sthis) {
        steps.emplace_back(sthis->isStopCmd ? "LOCK stopped" : "LOCK");
        I_LOCK(sthis);
    };
    operations.UNLOCK = [](Reader* sthis) {
        steps.emplace_back("UNLOCK");
        I_UNLOCK(sthis);
    };
    operations.CloseCom = [](Reader* sthis) {
        steps.emplace_back("CloseCom");
        return I_CloseCom(sthis);
    };
    operations.CloseTCP = [](Reader* sthis) {
        const int result = I_CloseTCP(sthis);
        steps.push_back("CloseTCP " + std::to_string(result));
        return result;
    };
    EXPECT_EQ(CloseNetPort(1), 0);
    EXPECT_THAT(steps, ElementsAre("LOCK stopped", "CloseTCP 0", "UNLOCK", "CloseCom"));
}

TEST_F(Tcp, close_while_reading_is_set_gives_51_at_once_and_leaves_the_stop_flag)
{
    ASSERT_EQ(open(device_), 0);
    Reader* reader = EthReader[1];
    reader->Reading = true;
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(CloseNetPort(1), 51);
    EXPECT_EQ(VirtualTime::now_ms(), before);
    EXPECT_EQ(EthReader[1], reader);
    EXPECT_TRUE(reader->isStopCmd);
    EXPECT_TRUE(reader->DeviceIsOpen);
    EXPECT_STREQ(reader->ipAddress, device_.address());
    EXPECT_TRUE(is_open(reader->sServer));
    EXPECT_EQ(CloseNetPort(1), 51);
    reader->Reading = false;
    EXPECT_EQ(CloseNetPort(1), 0);
}

TEST_F(Tcp, close_does_not_look_for_an_inventory)
{
    ASSERT_EQ(open(device_), 0);
    EthReader[1]->isInventoryCmd = true;
    EXPECT_EQ(CloseNetPort(1), 0);
}

TEST_F(Tcp, close_does_not_care_that_reading_runs)
{
    ASSERT_EQ(open(device_), 0);
    EthReader[1]->isStopStocktaking = false;
    EXPECT_EQ(CloseNetPort(1), 0);
}

TEST_F(Tcp, close_of_a_bad_handle_or_an_empty_slot_gives_55)
{
    for (const int bad : {-1, 0, 1, 255, 256, 999}) EXPECT_EQ(CloseNetPort(bad), 55);
}

TEST_F(Tcp, close_of_a_closed_link_gives_48)
{
    const SlotReader closed(4);
    closed->m_type = 1;
    EXPECT_EQ(CloseNetPort(4), 48);
    EXPECT_FALSE(closed->isStopCmd);
}

TEST_F(Tcp, close_as_serial_gives_48_and_touches_nothing)
{
    ASSERT_EQ(open(device_), 0);
    const auto before = VirtualTime::now_ms();
    EXPECT_EQ(CloseSpecComPort(1), 48);
    EXPECT_EQ(CloseComPort(), 0);
    EXPECT_EQ(VirtualTime::now_ms(), before);
    EXPECT_TRUE(EthReader[1]->DeviceIsOpen);
    EXPECT_FALSE(EthReader[1]->isStopCmd);
    EXPECT_EQ(CloseNetPort(1), 0);
    EXPECT_EQ(CloseNetPort(1), 55);
    EXPECT_EQ(CloseSpecComPort(1), 48);
}

TEST_F(Tcp, open_connections_have_two_descriptors_and_a_serial_claim_closed_on_exec)
{
    const InTemporaryDirectory directory;
    InTemporaryDirectory::create("writelog.txt");
    static bool all_closed_on_exec;
    all_closed_on_exec = true;
    sys::calls.open = [](const char* path, int flags, mode_t mode) {
        all_closed_on_exec = all_closed_on_exec && (flags & O_CLOEXEC) != 0;
        return ::open(path, flags, mode);
    };
    PtyDevice serial;
    ASSERT_EQ(open(device_), 0);
    ASSERT_EQ(open(serial), 0);
    EXPECT_TRUE(all_closed_on_exec);
    EXPECT_TRUE(is_close_on_exec(EthReader[1]->sServer));
    EXPECT_TRUE(is_close_on_exec(EthReader[1]->keeping.wake_fd));
    EXPECT_TRUE(is_close_on_exec(EthReader[2]->hCommPort));
    EXPECT_TRUE(is_close_on_exec(EthReader[2]->keeping.wake_fd));
    const long with_both = open_descriptors();
    CloseSpecComPort(2);
    EXPECT_EQ(open_descriptors(), with_both - 3);
    CloseNetPort(1);
    EXPECT_EQ(open_descriptors(), with_both - 5);
}

TEST_F(Tcp, open_works_with_descriptors_beyond_1024)
{
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_max < 4096) GTEST_SKIP() << "the system allows too few descriptors";
    limit.rlim_cur = 4096;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    static const auto moved_up = [](int fd) {
        const int high = ::fcntl(fd, F_DUPFD_CLOEXEC, 1500);
        ::close(fd);
        return high;
    };
    sys::calls.socket = [] { return moved_up(sys::Direct::socket()); };
    PtyDevice serial;
    ASSERT_EQ(open(device_), 0);
    EXPECT_GE(EthReader[1]->sServer, 1500);
    sys::calls.open = [](const char* path, int flags, mode_t mode) {
        const int fd = ::open(path, flags, mode);
        return fd < 0 ? fd : moved_up(fd);
    };
    u8 address = 0xFF;
    u8 version[2];
    u8 out[10];
    EXPECT_EQ(GetReaderInformation(&address, version, out, out + 1, out + 2, out + 3, out + 4, out + 5,
                                   out + 6, out + 7, out + 8, out + 9, 1),
              0);
    ASSERT_EQ(open(serial), 0);
    EXPECT_GE(EthReader[2]->hCommPort, 1500);
    EXPECT_EQ(CloseNetPort(1), 0);
    EXPECT_EQ(CloseSpecComPort(2), 0);
}

TEST_F(Tcp, open_logs_its_handshake_when_the_marker_file_is_there)
{
    const InTemporaryDirectory directory;
    InTemporaryDirectory::create("writelog.txt");
    ASSERT_EQ(open(device_), 0);
    EXPECT_TRUE(EthReader[1]->LogFileFlag);
    CloseNetPort(1);
    std::string logged;
    for (const auto& file : std::filesystem::directory_iterator(".")) {
        if (file.path().extension() != ".log") continue;
        std::ifstream in(file.path());
        logged.append(std::istreambuf_iterator<char>(in), {});
    }
    EXPECT_THAT(logged, testing::HasSubstr("W:04FF211995"));
    EXPECT_THAT(logged, testing::HasSubstr("R:110721"));
}

TEST_F(Tcp, log_is_switched_at_the_moment_of_opening)
{
    const InTemporaryDirectory directory;
    ASSERT_EQ(open(device_), 0);
    InTemporaryDirectory::create("writelog.txt");
    EXPECT_FALSE(EthReader[1]->LogFileFlag);
    ASSERT_EQ(open(device_), 0);
    EXPECT_TRUE(EthReader[1]->LogFileFlag);
    std::filesystem::remove("writelog.txt");
    EXPECT_TRUE(EthReader[1]->LogFileFlag);
    CloseNetPort(1);
}

}  // namespace
}  // namespace tagwire::engine::test
