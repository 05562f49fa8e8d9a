// What a call does while something else runs on its handle, against what calls.h says.
#include <gmock/gmock.h>

#include <atomic>
#include <fstream>
#include <future>
#include <optional>
#include <regex>
#include <set>
#include <sstream>

#include "api/calls.h"
#include "link/turn.h"
#include "support/every_call.h"
#include "support/virtual_time.h"

namespace tagwire::engine::test {
namespace {

using testing::AnyOf;

// ---- what the header says ----

constexpr const char* situations[] = {"reading", "locked", "callback", "beside", "closing"};

// Words by call and situation.
using Table = std::map<std::string, std::map<std::string, std::string>>;

Table table_behind(const std::string& heading)
{
    std::ifstream in(TAGWIRE_CALLS_HEADER);
    std::ostringstream text;
    text << in.rdbuf();
    const std::string all = text.str();
    const std::size_t at = all.find(heading);
    EXPECT_NE(at, std::string::npos) << heading;
    std::istringstream lines(all.substr(std::min(at, all.size())));
    Table out;
    std::string line;
    while (std::getline(lines, line) && line.find("reading    locked ") == std::string::npos) {
    }
    static const std::regex cells(
        R"( \*   (\w+(?: \w+)?) +(\S.*?)  +(\S.*?)  +(\S.*?)  +(\S.*?)  +(\S.*?) *)");
    std::smatch cell;
    while (std::getline(lines, line) && std::regex_match(line, cell, cells))
        for (std::size_t i = 0; i < std::size(situations); ++i) out[cell[1]][situations[i]] = cell[2 + i];
    return out;
}

const Table& told_results()
{
    static const Table all = table_behind("What it returns then");
    return all;
}
const Table& told_waits()
{
    static const Table all = table_behind("The longest that it waits then");
    return all;
}

enum class Link { serial, tcp };

// The longest on a link, where it is told as a number.
std::optional<int> told_wait(const std::string& call, const std::string& situation, Link link)
{
    const std::string& both = told_waits().at(call).at(situation);
    const std::size_t slash = both.find('/');
    const std::string one = slash == std::string::npos ? both
                            : link == Link::serial     ? both.substr(0, slash)
                                                       : both.substr(slash + 1);
    return one.find_first_not_of("0123456789") == std::string::npos ? std::optional(std::stoi(one))
                                                                    : std::nullopt;
}

// One of the results told; "own" and "any" are told by the caller's set.
void expect_told(int result, const std::string& call, const std::string& situation, const std::set<int>& own)
{
    std::istringstream words(told_results().at(call).at(situation));
    std::set<int> allowed;
    bool any = false;
    for (std::string word; words >> word;) {
        if (word == "any") any = true;
        if (word == "own") allowed.insert(own.begin(), own.end());
        if (word != "any" && word != "own") allowed.insert(std::stoi(word));
    }
    EXPECT_TRUE(any || allowed.count(result) != 0) << call << ", " << situation << ": " << result;
}

// ---- the calls ----

// The device of a handle, of which one link is used.
struct Place {
    explicit Place(Link kind) : link(kind), handle(kind == Link::tcp ? open(net) : open(line))
    {
        device().behave([](const Bytes& request) {
            if (request[2] != module_command) return Device::usual_answer(request);
            return answer(device_address, module_command, 0, hex("01 02 03 04"));
        });
    }
    ~Place()
    {
        if (EthReader[handle] == nullptr) return;
        EthReader[handle]->isStopStocktaking = true;
        EXPECT_EQ(link == Link::tcp ? CloseNetPort(handle) : CloseSpecComPort(handle), 0);
    }
    Device& device() { return link == Link::tcp ? static_cast<Device&>(net) : line; }

    Link link;
    TcpDevice net;
    PtyDevice line;
    int handle;
};

struct RowCall {
    const char* row;
    std::set<Link> links;
    std::function<int(Place&)> run;
    std::set<int> own;  // what it may return here at other times
};

std::vector<RowCall> row_calls()
{
    const std::set<Link> both = {Link::serial, Link::tcp};
    const auto by_name = [](const char* name) {
        return [name](Place& place) { return every_exported_call().at(name).run(place.handle); };
    };
    return {
        {"command", both, [](Place& place) { return ask_module(place.handle); }, {0, 48}},
        {"locked inventory", both, [](Place& place) { return locked_inventory(place.handle); }, {1, 48}},
        {"StartRead", both, [](Place& place) { return start_reading(place.handle); }, {0, 48}},
        {"StopRead", both, [](Place& place) { return stop_reading(place.handle); }, {0, 48}},
        {"StopImmediately", both, by_name("StopImmediately"), {0, 48}},
        {"ReadActiveModeData", both, by_name("ReadActiveModeData"), {0, 251}},
        {"CloseNetPort", {Link::tcp}, [](Place& place) { return CloseNetPort(place.handle); }, {}},
        {"CloseSpecComPort", {Link::serial}, [](Place& place) { return CloseSpecComPort(place.handle); }, {}},
        {"OpenNetPort",
         {Link::tcp},
         [](Place& place) {
             u8 address = 0xFF;
             int handle = -1;
             const int result = OpenNetPort(place.net.port(), place.net.address(), &address, &handle);
             if (result == 0) place.handle = handle;
             return result;
         },
         {}},
    };
}

const char* name_of(Link link) { return link == Link::tcp ? "tcp" : "serial"; }

// Runs the call on virtual time: its result and its wait are those told.
void expect_as_told(const RowCall& call, Place& place, const char* situation)
{
    const std::int64_t before = VirtualTime::now_ms();
    expect_told(call.run(place), call.row, situation, call.own);
    const auto limit = told_wait(call.row, situation, place.link);
    ASSERT_TRUE(limit.has_value()) << call.row << ", " << situation;
    EXPECT_LE(VirtualTime::now_ms() - before, *limit) << call.row << ", " << situation;
}

template <class Check> void for_all_calls(Check check)
{
    for (const RowCall& call : row_calls()) {
        for (const Link link : call.links) {
            SCOPED_TRACE(std::string(call.row) + ", " + name_of(link));
            check(call, link);
        }
    }
}

// ---- the situations ----

TEST(Beside, has_a_row_for_every_call_and_no_other)
{
    std::set<std::string> known;
    for (const RowCall& call : row_calls()) known.insert(call.row);
    for (const Table* table : {&told_results(), &told_waits()}) {
        std::set<std::string> told;
        for (const auto& [call, cells] : *table) told.insert(call);
        EXPECT_EQ(told, known);
    }
    for (const auto& [name, call] : every_exported_call()) {
        const bool of_its_own = call.how == Exported::aside || call.how == Exported::unbusy;
        EXPECT_TRUE(!of_its_own || known.count(name) != 0) << name;
    }
}

TEST(Beside, reading_is_as_told)
{
    for_all_calls([](const RowCall& call, Link link) {
        const VirtualTime time;
        Place place(link);
        EthReader[place.handle]->isStopStocktaking = false;
        expect_as_told(call, place, "reading");
    });
}

TEST(Beside, reading_and_its_silent_reader_are_as_told)
{
    const VirtualTime time;
    for (const Link link : {Link::serial, Link::tcp}) {
        Place place(link);
        place.device().stay_silent();
        EthReader[place.handle]->isStopStocktaking = false;
        expect_as_told(row_calls()[3], place, "reading");
    }
}

// Every call by the one list, from a callback of a locked and of another inventory.
TEST(Beside, reading_and_callbacks_refuse_every_command)
{
    const VirtualTime time;
    Place place(Link::tcp);
    const auto expect_refusals = [&](const char* situation) {
        for (const auto& [name, call] : every_exported_call()) {
            if (call.how == Exported::aside || call.how == Exported::unbusy) continue;
            const char* row = call.how == Exported::locked ? "locked inventory" : "command";
            const std::int64_t before = VirtualTime::now_ms();
            expect_told(call.run(place.handle), row, situation, {});
            EXPECT_EQ(VirtualTime::now_ms(), before) << name;
        }
    };
    EthReader[place.handle]->isStopStocktaking = false;
    expect_refusals("reading");
    EthReader[place.handle]->isStopStocktaking = true;
    const Turn inventory(EthReader[place.handle], Purpose::command);
    expect_refusals("locked");
    expect_refusals("callback");
}

void expect_callback_as_told(const char* situation, std::uint8_t command, int (*inventory)(int))
{
    for_all_calls([&](const RowCall& call, Link link) {
        const VirtualTime time;
        Place place(link);
        const int handle = place.handle;
        answer_with_tags(place.device(), command, 1);
        Callback callback;
        callback.first_does([&] { expect_as_told(call, place, situation); });
        InitRFIDCallBack(Callback::call, true, handle);
        inventory(handle);
        EXPECT_TRUE(callback.first_is_over());
    });
}

TEST(Beside, a_callback_of_a_locked_inventory_is_as_told)
{
    expect_callback_as_told("locked", locked_command, locked_inventory);
    expect_callback_as_told("locked", inventory_command, inventory);
}

TEST(Beside, a_callback_of_another_inventory_is_as_told)
{
    expect_callback_as_told("callback", unlocked_command, unlocked_inventory);
}

// Beside a callback of another thread's inventory, which is held until the call has been made.
void expect_beside_as_told(std::uint8_t command, int (*other)(int))
{
    const ShortPauses short_pauses;
    for_all_calls([&](const RowCall& call, Link link) {
        const std::string& told = told_results().at(call.row).at("beside");
        const bool takes_turns =
            other != unlocked_inventory && std::string_view(call.row) == "locked inventory";
        if (told.find("any") != std::string::npos && !takes_turns) return;
        Place place(link);
        Callback callback;
        callback.hold_first();
        answer_with_tags(place.device(), command, 1);
        InitRFIDCallBack(Callback::call, false, place.handle);
        const Kept reader(place.handle);
        auto running = std::async(std::launch::async, other, place.handle);
        ASSERT_TRUE(callback.await_first());
        auto result = std::async(std::launch::async, call.run, std::ref(place));
        const bool may_wait = told_waits().at(call.row).at("beside").find("end") != std::string::npos;
        if (!may_wait) result.wait();  // for ever, if it waited for the callback
        request_stop(reader.get());
        callback.let_go();
        expect_told(result.get(), call.row, "beside", call.own);
        running.get();
        calm(reader.get());
    });
}

TEST(Beside, another_threads_inventory_is_as_told)
{
    expect_beside_as_told(inventory_command, inventory);
    expect_beside_as_told(locked_command, locked_inventory);
    expect_beside_as_told(unlocked_command, unlocked_inventory);
}

// Holds the thread that closes in its first pause. The call stays replaced behind it: workers may be inside.
class HeldClose {
  public:
    explicit HeldClose(Place& place)
    {
        in_pause_ = false;
        go_on_ = false;
        if (sys::calls.sleep_until != pause) sys::calls.sleep_until = pause;
        result_ = std::async(std::launch::async, [link = place.link, handle = place.handle] {
            is_closer_ = true;
            return link == Link::tcp ? CloseNetPort(handle) : CloseSpecComPort(handle);
        });
        EXPECT_TRUE(eventually([] { return in_pause_.load(); }));
    }
    int finish()
    {
        go_on_ = true;
        return result_.get();
    }

  private:
    static int pause(const timespec* end)
    {
        if (!is_closer_) return sys::Direct::sleep_until(end);
        in_pause_ = true;
        EXPECT_TRUE(eventually([] { return go_on_.load(); }));
        return 0;
    }

    static inline thread_local bool is_closer_ = false;
    static inline std::atomic<bool> in_pause_;
    static inline std::atomic<bool> go_on_;
    std::future<int> result_;
};

TEST(Beside, a_close_of_another_thread_is_as_told)
{
    for_all_calls([](const RowCall& call, Link link) {
        Place place(link);
        HeldClose closing(place);
        auto result = std::async(std::launch::async, call.run, std::ref(place));
        const bool may_wait = told_waits().at(call.row).at("closing") == "end";
        if (!may_wait) result.wait();                 // for ever, if it waited for the close
        EXPECT_THAT(closing.finish(), AnyOf(0, 51));  // 51: an inventory that began in its pause
        expect_told(result.get(), call.row, "closing", call.own);
    });
}

}  // namespace
}  // namespace tagwire::engine::test
