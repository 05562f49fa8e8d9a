// How long the calls take at most: measured on virtual time, and compared with what calls.h says.
#include <gmock/gmock.h>

#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "link/system_seam.h"
#include "support/every_call.h"
#include "support/exchanges.h"
#include "support/virtual_time.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine::test {
namespace {

// ---- what the header says ----

std::string header()
{
    std::ifstream in(TAGWIRE_CALLS_HEADER);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

enum class Case { silent, late };

// The row of a kind: milliseconds by link and case.
using Row = std::map<std::pair<Link, Case>, int>;

std::map<std::string, Row> limits_by_kind()
{
    static const std::regex line(R"(\n \*   ([A-Z]+) +(\d+) +(\d+) +(\d+) +(\d+)(?=\n))");
    const std::string text = header();
    std::map<std::string, Row> out;
    for (std::sregex_iterator at(text.begin(), text.end(), line), end; at != end; ++at) {
        const auto number = [&](std::size_t group) { return std::stoi((*at)[group]); };
        out[(*at)[1]] = {{{Link::serial, Case::silent}, number(2)},
                         {{Link::serial, Case::late}, number(3)},
                         {{Link::tcp, Case::silent}, number(4)},
                         {{Link::tcp, Case::late}, number(5)}};
    }
    return out;
}

// The calls that are named under a kind; all others are of the kind ANSWER.
std::map<std::string, std::string> kind_by_call()
{
    const std::string text = header();
    const std::string head = "Which call is of which kind:";
    const std::size_t from = text.find(head);
    const std::size_t to = text.find("ANSWER ", from);
    if (from == std::string::npos || to == std::string::npos) return {};
    static const std::regex word(R"(\w+)");
    const auto kinds = limits_by_kind();
    std::map<std::string, std::string> out;
    std::string kind;
    for (std::sregex_iterator at(text.begin() + static_cast<std::ptrdiff_t>(from + head.size()),
                                 text.begin() + static_cast<std::ptrdiff_t>(to), word),
         end;
         at != end; ++at) {
        if (kinds.count(at->str()) != 0)
            kind = at->str();
        else
            out[at->str()] = kind;
    }
    return out;
}

using Call = std::function<void()>;

std::map<std::string, Call> calls()
{
    std::map<std::string, Call> out;
    for (const auto& [name, call] : every_exported_call())
        out[name] = [run = call.run] { run(OpenHandle::number); };
    return out;
}

// ---- measuring ----

// When, from the beginning of the call on, a byte comes that no answer will follow.
using Times = std::vector<int>;

const Bytes stray = {0x05};

template <class Feed> void feed_at(const Times& times, Feed feed)
{
    for (const int at : times) VirtualTime::in(at, feed);
}

int measure(const Call& call)
{
    const auto before = VirtualTime::now_ms();
    call();
    return static_cast<int>(VirtualTime::now_ms() - before);
}

enum class Room { there, none };

int time_of(const Call& call, Link link, const Times& times, Room room_to_send = Room::there)
{
    const VirtualTime time;
    const TestReader reader(link);
    const OpenHandle handle(reader);
    reader->inventoryScanTime = 255;  // the shortest limit of an antenna switch depends on it
    const Bytes filling(4096);
    while (room_to_send == Room::none && ::write(reader.near(), filling.data(), filling.size()) > 0) {
    }
    feed_at(times, [&] { reader.feed(stray); });
    return measure(call);
}

// The near end of a connection that has yet to be opened, in the place of a device or a socket. Over TCP it is
// connected as late as possible.
class Unopened {
  public:
    explicit Unopened(Link link) : link_(link)
    {
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends_) != 0) std::abort();
        near_end = ends_[0];
        sys::calls.open = [](const char* path, int, mode_t) {
            return std::string_view(path) == "writelog.txt" ? fail_with(ENOENT) : near_end;
        };
        sys::calls.stat = sys_stat;
        sys::calls.fstat = [](int, struct stat* out) { return sys_stat(nullptr, out); };
        sys::calls.lock = [](int, struct flock*) { return 0; };
        sys::calls.tcflush = [](int, int) { return 0; };
        sys::calls.tcsetattr = [](int, const termios*) { return 0; };
        sys::calls.socket = [] { return near_end; };
        sys::calls.connect = [](int, const sockaddr*, socklen_t) { return fail_with(EINPROGRESS); };
    }
    ~Unopened() { ::close(ends_[1]); }
    Unopened(const Unopened&) = delete;
    Unopened& operator=(const Unopened&) = delete;

    void feed(const Bytes& bytes) const
    {
        if (::send(ends_[1], bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) std::abort();
    }
    // No room to send is what a socket looks like that is not connected yet.
    void connect_at(int at) const
    {
        const Bytes filling(4096);
        while (::send(near_end, filling.data(), filling.size(), MSG_NOSIGNAL) > 0) {
        }
        VirtualTime::in(at, [far = ends_[1]] {
            std::uint8_t chunk[4096];
            while (::recv(far, chunk, sizeof chunk, 0) > 0) {
            }
        });
    }
    int open()
    {
        static char device[] = "/dev/reader";
        static char address[] = "192.0.2.10";
        u8 bus_address = 0xFF;
        return link_ == Link::serial ? OpenComPort(device, &bus_address, 6, &handle_)
                                     : OpenNetPort(6000, address, &bus_address, &handle_);
    }
    int close() const { return link_ == Link::serial ? CloseSpecComPort(handle_) : CloseNetPort(handle_); }

  private:
    static int sys_stat(const char* /*path*/, struct stat* out)
    {
        *out = {};
        out->st_mode = S_IFCHR;
        return 0;
    }

    static inline int near_end = -1;
    SystemSeam seam_;
    Link link_;
    int ends_[2] = {-1, -1};
    int handle_ = -1;
};

constexpr int connected_at = 1000;

int time_of_open(Link link, const Times& times)
{
    Unopened reader(link);
    const VirtualTime time;
    int start = 0;
    if (link == Link::tcp) {
        reader.connect_at(connected_at);
        start = connected_at;
    }
    for (const int at : times) VirtualTime::in(start + at, [&] { reader.feed(stray); });
    int result = 0;
    const int taken = measure([&] { result = reader.open(); });
    EXPECT_EQ(result, TAGWIRE_NO_ANSWER);
    return taken;
}

int time_of_close(Link link)
{
    Unopened reader(link);
    const VirtualTime time;
    reader.feed(answer(0x07, 0x21, 0, hex("03 01 0E 02 31 80 1E 0A 01 01 00 01")));
    EXPECT_EQ(reader.open(), TAGWIRE_OK);
    int result = -1;
    const int taken = measure([&] { result = reader.close(); });
    EXPECT_EQ(result, TAGWIRE_OK);
    return taken;
}

int in_tens(int milliseconds) { return (milliseconds + 9) / 10 * 10; }

// A kind: a call of it, and the limits of its receiver, around which late bytes are worst.
struct Kind {
    const char* name;
    std::function<int(Link, const Times&)> time;
    std::vector<int> limits;
};

Kind kind_of(const char* name, const char* call_of_it, std::vector<int> limits)
{
    return {
        name,
        [call_of_it](Link link, const Times& times) { return time_of(calls().at(call_of_it), link, times); },
        std::move(limits)};
}

const std::vector<Kind>& kinds()
{
    static const std::vector<Kind> all = {
        kind_of("ANSWER", "GetModuleDetails", {1500, 2000}),
        kind_of("PICKED", "GetReaderInformation", {200}),
        kind_of("INVENTORY", "Inventory_G2", {5000}),
        kind_of("SWITCHING", "Fast_switch_ant_inventory", {5000}),
        kind_of("TEMPERATURE", "Inventory_Temperature", {5000}),
        kind_of("COUNT", "InventoryBuffer_G2", {60'000}),
        kind_of("BUFFER", "ReadBuffer_G2", {1000, 10'000}),
        kind_of("RECORDS", "GetTagBufferInfo", {2000, 6000}),
        kind_of("MEMORY", "Fd_ExtReadMemory", {15'000}),
        kind_of("SCAN", "SearchWIFI", {20'000}),
        kind_of("TABLE", "ReadParameterTable", {300}),
        kind_of("MODULE", "TransparentCMD", {7000, 10'000}),
        kind_of("RAW", "ReadActiveModeData", {20, 1020}),
        kind_of("SEND", "StopImmediately", {0}),
        {"OPEN", time_of_open, {200}},
        {"CLOSE", [](Link link, const Times&) { return time_of_close(link); }, {0}},
    };
    return all;
}

// The longest with bytes at any moment around a limit, with and without bytes before.
int longest_with_late_bytes(const Kind& kind, Link link)
{
    constexpr int around = 13;  // longer than any pause between two reads
    int longest = 0;
    for (const int limit : kind.limits) {
        for (int at = std::max(0, limit - around); at <= limit + 1; ++at) {
            longest = std::max(longest, kind.time(link, {at}));
            longest = std::max(longest, kind.time(link, {1, at}));
        }
    }
    return longest;
}

// The longest with bytes anywhere.
int longest_with_bytes_anywhere(const Kind& kind, Link link)
{
    int longest = 0;
    const int step = std::max(7, kind.limits.back() / 40);
    for (int at = 0; at <= kind.limits.back() + 1100; at += step)
        longest = std::max(longest, kind.time(link, {at, at + step / 2}));
    return longest;
}

const char* name_of(Link link) { return link == Link::serial ? "serial line" : "TCP"; }

TEST(Waits, are_told_for_every_kind_there_is)
{
    std::set<std::string> told;
    for (const auto& [name, row] : limits_by_kind()) told.insert(name);
    std::set<std::string> known;
    for (const Kind& kind : kinds()) known.insert(kind.name);
    EXPECT_EQ(told, known);
}

TEST(Waits, are_as_long_as_told_when_nothing_comes)
{
    auto told = limits_by_kind();
    for (const Kind& kind : kinds())
        for (const Link link : {Link::serial, Link::tcp})
            EXPECT_EQ(in_tens(kind.time(link, {})), (told[kind.name][{link, Case::silent}]))
                << kind.name << ", " << name_of(link);
}

TEST(Waits, are_as_long_as_told_when_bytes_come_late)
{
    auto told = limits_by_kind();
    for (const Kind& kind : kinds())
        for (const Link link : {Link::serial, Link::tcp})
            EXPECT_EQ(in_tens(longest_with_late_bytes(kind, link)), (told[kind.name][{link, Case::late}]))
                << kind.name << ", " << name_of(link);
}

TEST(Waits, are_not_longer_whenever_bytes_come)
{
    auto told = limits_by_kind();
    for (const Kind& kind : kinds())
        for (const Link link : {Link::serial, Link::tcp})
            EXPECT_LE(longest_with_bytes_anywhere(kind, link), (told[kind.name][{link, Case::late}]))
                << kind.name << ", " << name_of(link);
}

TEST(Waits, of_every_call_are_those_of_its_kind)
{
    auto told = limits_by_kind();
    const auto kind_told = kind_by_call();
    for (const auto& [name, call] : calls()) {
        const auto found = kind_told.find(name);
        const std::string kind = found == kind_told.end() ? "ANSWER" : found->second;
        for (const Link link : {Link::serial, Link::tcp})
            EXPECT_EQ(in_tens(time_of(call, link, {})), (told[kind][{link, Case::silent}]))
                << name << ", " << name_of(link);
    }
}

TEST(Waits, have_no_calls_but_those_that_exist)
{
    std::set<std::string> known = {"OpenComPort", "OpenNetPort", "CloseSpecComPort", "CloseNetPort"};
    for (const auto& [name, call] : calls()) known.insert(name);
    for (const auto& [name, kind] : kind_by_call()) EXPECT_TRUE(known.count(name) != 0) << name;
}

TEST(Waits, begin_with_the_wait_for_room_to_send)
{
    std::smatch told;
    const std::string text = header();
    ASSERT_TRUE(std::regex_search(text, told, std::regex(R"(room to send[^.]* (\d+) ms)")));
    const int limit = std::stoi(told[1]);
    const auto time_without_room = [&](const char* name) {
        return time_of(calls().at(name), Link::tcp, {}, Room::none);
    };
    auto limits = limits_by_kind();
    EXPECT_EQ(time_without_room("StopImmediately"), limit);
    EXPECT_EQ(in_tens(time_without_room("SetBeepNotification")),
              (limit + limits["ANSWER"][{Link::tcp, Case::silent}]));
    EXPECT_EQ(in_tens(time_without_room("SearchWIFI")), (limit + limits["SCAN"][{Link::tcp, Case::silent}]));
    EXPECT_EQ(time_without_room("WriteParameterTable"), limit);
}

}  // namespace
}  // namespace tagwire::engine::test
