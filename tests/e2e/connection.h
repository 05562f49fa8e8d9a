// The library against the virtual reader, over both kinds of link.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "simulator.h"
#include "tagwire/tagwire.h"

namespace tagwire::test {

enum class Link { tcp, pty };

inline std::string link_name(const testing::TestParamInfo<Link>& info)
{
    return info.param == Link::tcp ? "tcp" : "pty";
}

// Opens a virtual reader; closes on leaving unless that was done.
class Connection {
  public:
    Connection(sim::Reader& reader, Link link, std::string ip_address = "127.0.0.1")
        : link_(link), ip_address_(std::move(ip_address))
    {
        if (link_ == Link::tcp)
            port_ = reader.listen(ip_address_, 0);
        else
            path_ = reader.open_pty();
    }
    ~Connection() { close(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Again when another thread is opening (51) or when a busy machine kept the reader's answer for longer
    // than the library waits (48).
    int open()
    {
        int result = open_once();
        for (int attempt = 1; attempt < 20 && (result == 48 || result == 51); ++attempt) result = open_once();
        return result;
    }
    int open_once()
    {
        address_ = 0xFF;
        if (link_ == Link::tcp) return OpenNetPort(port_, ip_address_.data(), &address_, &handle_);
        return OpenComPort(path_.data(), &address_, 6, &handle_);
    }
    int close()
    {
        if (handle_ < 0) return 0;
        const int result = link_ == Link::tcp ? CloseNetPort(handle_) : CloseSpecComPort(handle_);
        if (result == 0) handle_ = -1;
        return result;
    }
    int stop_reading()
    {
        int result = StopRead(&address_, handle_);
        for (int attempt = 1; attempt < 20 && result == 48; ++attempt) result = StopRead(&address_, handle_);
        return result;
    }
    int handle() const { return handle_; }
    unsigned char* address() { return &address_; }
    Link link() const { return link_; }

  private:
    Link link_;
    std::string ip_address_;
    std::string path_;
    int port_ = 0;
    int handle_ = -1;
    unsigned char address_ = 0xFF;
};

// Counts reports by handle; the callback of all streaming tests.
class Reports {
  public:
    static void callback(RFIDTagStruct tag, int /*kind*/)
    {
        Reports& self = instance();
        {
            const std::lock_guard lock(self.mutex_);
            ++self.counts_[tag->FrmHandle];
            self.uids_.insert(tag->UID);
        }
        self.changed_.notify_all();
    }
    static void clear()
    {
        const std::lock_guard lock(instance().mutex_);
        instance().counts_.clear();
        instance().uids_.clear();
    }
    static std::uint64_t count(int handle)
    {
        const std::lock_guard lock(instance().mutex_);
        return instance().counts_[handle];
    }
    static std::set<std::string> uids()
    {
        const std::lock_guard lock(instance().mutex_);
        return instance().uids_;
    }
    // False when they do not come in time.
    static bool wait_for(int handle, std::uint64_t reports,
                         std::chrono::seconds limit = std::chrono::seconds(60))
    {
        Reports& self = instance();
        std::unique_lock lock(self.mutex_);
        return self.changed_.wait_for(lock, limit, [&] { return self.counts_[handle] >= reports; });
    }

  private:
    static Reports& instance()
    {
        static Reports reports;
        return reports;
    }
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<int, std::uint64_t> counts_;
    std::set<std::string> uids_;
};

inline sim::TagSettings make_tag(unsigned serial, std::size_t words = 6)
{
    sim::TagSettings tag;
    tag.epc.assign(2 * words, 0);
    tag.epc[0] = 0xE2;
    for (int i = 0; i < 4; ++i)
        tag.epc[2 * words - 1 - static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(serial >> (8 * i));
    return tag;
}

// Pushes no report until it is told a rate: a report that came together with the answer to StartRead would
// fail it, and how soon a busy machine fetches that answer is not known.
inline sim::Scenario make_scenario(unsigned tags)
{
    sim::Scenario scenario;
    scenario.reader.report_rate = 0;
    scenario.reader.air_time = 0;
    for (unsigned i = 1; i <= tags; ++i) scenario.tags.push_back(make_tag(i));
    return scenario;
}

inline std::string text_of(const sim::Bytes& bytes)
{
    std::string out;
    for (const auto byte : bytes) {
        constexpr const char* digits = "0123456789ABCDEF";
        out += digits[byte >> 4U];
        out += digits[byte & 15U];
    }
    return out;
}

inline std::set<std::string> epcs_of(const sim::Scenario& scenario)
{
    std::set<std::string> out;
    for (const auto& tag : scenario.tags) out.insert(text_of(tag.epc));
    return out;
}

// One Gen2 inventory with nothing but Q and session.
struct InventoryResult {
    int status = -1;
    int count = -1;
    std::vector<std::string> epcs;
};

inline InventoryResult run_inventory(Connection& connection, unsigned char q = 4, unsigned char session = 1)
{
    std::vector<unsigned char> list(70000);
    unsigned char antenna = 0;
    int length = 0;
    InventoryResult out;
    out.status = Inventory_G2(connection.address(), q, session, 0, nullptr, 0, nullptr, 0, 0, 0, 0, 0, 0, 0,
                              0, list.data(), &antenna, &length, &out.count, connection.handle());
    for (int at = 0; out.status >= 0 && out.status <= 2 && at < length;) {
        const int id = list[static_cast<std::size_t>(at)] & 0x3F;
        const bool phase = (list[static_cast<std::size_t>(at)] & 0x40) != 0;
        const auto begin = list.begin() + at + 1;
        out.epcs.push_back(text_of({begin, begin + id}));
        at += id + 2 + (phase ? 7 : 0);
    }
    return out;
}

}  // namespace tagwire::test
