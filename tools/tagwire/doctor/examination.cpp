#include "doctor/examination.h"

#include <algorithm>
#include <chrono>
#include <iterator>

#include <strings.h>

#include <fmt/format.h>
#include <fmt/ostream.h>

#include <tagwirexx/error.hpp>

template <> struct fmt::formatter<tagwire::Version> : ostream_formatter {};
template <> struct fmt::formatter<tagwire::Port> : ostream_formatter {};

namespace tagwire::tool {

namespace {

using AirSession = tagwire::Session;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds longest_inventory{2000};
// In dB: what comes back of the power that goes out. Without an antenna nearly all of it does.
constexpr int no_antenna_below = 3;
constexpr int good_antenna_from = 10;
constexpr Kilohertz usual_frequency{915'000};
constexpr unsigned questions = 20;

std::string ports_text(const std::vector<Port>& ports)
{
    std::string text;
    for (const auto port : ports) text += fmt::format("{}{}", text.empty() ? "" : ",", port.number());
    return text;
}

std::string tags_text(std::size_t count) { return fmt::format("{} tag{}", count, count == 1 ? "" : "s"); }

const char* name_of_session(AirSession session)
{
    constexpr std::array names{"S0", "S1", "S2", "S3"};
    return names[static_cast<std::size_t>(session)];
}

std::string region_text(const Region& region)
{
    std::string name(region.name.empty() ? fmt::format("band {}", region.band) : std::string(region.name));
    if (!region.from || !region.to) return name;
    return fmt::format("{}, {:.2f} to {:.2f} MHz", name, region.from->value / 1000.0,
                       region.to->value / 1000.0);
}

Kilohertz middle_of(const Region& region)
{
    if (!region.from || !region.to) return usual_frequency;
    return {(region.from->value + region.to->value) / 2};
}

bool is_same_name(const std::string& a, std::string_view b)
{
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), b.size()) == 0;
}

bool ends_all(const Error& error) { return error.code() == Errc::lost || error.code() == Errc::aborted; }

bool is_disturbance(const Error& error)
{
    return error.code() == Errc::no_answer || error.code() == Errc::bad_answer;
}

}  // namespace

void Examination::run()
{
    look("reader", &Examination::look_at_information);
    look("mode", &Examination::look_at_mode);
    look("region", &Examination::look_at_region);
    look("power", &Examination::look_at_power);
    look("antennas", &Examination::look_at_antennas);
    look("report filter", &Examination::look_at_filter);
    if (expected_.profile) look("settings", &Examination::look_at_settings);
    // What it reports by itself would be taken for what answers here.
    if (expected_.inventories && !is_active_) {
        look("ports", &Examination::look_at_ports);
        look("flags", &Examination::look_at_flags);
    }
    look("link", &Examination::look_at_link);
}

// An answer that a disturbance took is asked for once more.
void Examination::look(const char* check, Check examine)
{
    check_ = check;
    for (bool is_over = false, is_last = false; !is_over; is_last = true) {
        saw_.clear();
        try {
            (this->*examine)();
            is_over = true;
        } catch (const Error& error) {
            if (ends_all(error)) throw;
            if (is_disturbance(error)) ++missed_;
            is_over = is_last || !is_disturbance(error);
            if (is_over) miss("cannot be looked at: " + error.text());
        }
    }
    for (const auto& finding : saw_) tell_(finding);
}

void Examination::look_at_information()
{
    const auto info = reader_.info();
    good(fmt::format("type 0x{:02X}, firmware {}, address {}", info.type, info.firmware, info.address));
}

void Examination::look_at_mode()
{
    const auto mode = reader_.modes().parameters().mode;
    is_active_ = mode == WorkMode::active;
    if (is_active_)
        return found("the reader reads and reports by itself, and is hard to ask anything meanwhile",
                     command("mode set answering"));
    if (mode == WorkMode::triggered)
        return found("the reader reads only while its trigger input asks for it",
                     command("mode set answering"));
    if (reader_.was_reading())
        return found("reports were still coming, for a program that ended without stopping them",
                     "it was told to stop now; find out which program left it so");
    good("waits for commands");
}

void Examination::look_at_region()
{
    const auto region = reader_.radio().region();
    const auto text = region_text(region);
    if (!expected_.region.empty() && !is_same_name(expected_.region, region.name))
        return found(fmt::format("{}, and {} is expected", text, expected_.region),
                     command("region set " + expected_.region));
    good(text);
}

void Examination::look_at_power()
{
    const auto powers = reader_.radio().power();
    std::vector<Port> without;
    for (std::size_t i = 0; i < powers.size(); ++i) {
        if (powers[i].value() == 0) without.emplace_back(static_cast<int>(i + 1));
    }
    if (!without.empty())
        return found(fmt::format("port {}: 0 dBm, hardly a tag wakes up", ports_text(without)),
                     command("power set 26"));
    const auto [lowest, highest] = std::minmax_element(powers.begin(), powers.end());
    good(*lowest == *highest ? fmt::format("{} dBm", lowest->value())
                             : fmt::format("{} to {} dBm", lowest->value(), highest->value()));
}

// Nothing where the reader has no such port: some tell the power of more ports than they have.
std::optional<int> Examination::return_loss(Port port, Kilohertz frequency)
{
    try {
        return reader_.radio().return_loss(port, frequency);
    } catch (const Error& error) {
        if (error.code() != Errc::refused) throw;
        return std::nullopt;
    }
}

void Examination::look_at_antennas()
{
    enabled_ = reader_.antennas().enabled();
    const auto ports = static_cast<int>(reader_.radio().power().size());
    const auto frequency = middle_of(reader_.radio().region());
    std::vector<Port> missing;
    std::vector<Port> left_out;
    std::string losses;
    for (int number = 1; number <= ports; ++number) {
        const Port port(number);
        const auto measured = return_loss(port, frequency);
        if (!measured) continue;
        const int loss = *measured;
        const bool is_enabled = std::find(enabled_.begin(), enabled_.end(), port) != enabled_.end();
        losses += fmt::format("{}port {} {} dB{}", losses.empty() ? "" : ", ", number, loss,
                              is_enabled ? "" : " (not enabled)");
        if (is_enabled && loss < no_antenna_below) missing.push_back(port);
        if (!is_enabled && loss >= good_antenna_from) left_out.push_back(port);
    }
    std::vector<Port> present;
    std::set_difference(enabled_.begin(), enabled_.end(), missing.begin(), missing.end(),
                        std::back_inserter(present));
    present.insert(present.end(), left_out.begin(), left_out.end());
    std::sort(present.begin(), present.end());
    const auto mend = present.empty() ? "" : command("antenna enable " + ports_text(present));
    if (!missing.empty())
        found(fmt::format("port {} is enabled and nearly all power comes back: no antenna, or a broken cable",
                          ports_text(missing)),
              "connect the antenna" + (mend.empty() ? "" : "; or leave it out: " + mend));
    if (!left_out.empty())
        found(fmt::format("port {} has an antenna and is not enabled", ports_text(left_out)), mend);
    if (losses.empty()) return note("the reader measures no return loss");
    if (missing.empty() && left_out.empty()) good("return loss: " + losses);
}

void Examination::look_at_filter()
{
    const auto mask = reader_.modes().parameters().mask;
    if (mask)
        found("tags are reported only when they match the mask of the reader's own reading",
              command("config set mask none"));
    const auto window = reader_.filter().time();
    if (window > seconds(0))
        return found(fmt::format("a tag is reported once within {} s", window.count()),
                     command("config set filter-time 0"));
    if (!mask) good("none");
}

void Examination::look_at_settings()
{
    const auto comparison = reader_.settings().compare(*expected_.profile);
    for (const auto& change : comparison)
        found(
            fmt::format("{} is {}, and {} is expected", change.name, change.before.value_or("not known"),
                        change.is_secret ? "another" : change.wanted),
            command(fmt::format("config set {} {}", change.name, change.is_secret ? "..." : change.wanted)));
    for (const auto& refused : comparison.refused) miss(fmt::format("{}: {}", refused.name, refused.text));
    for (const auto& silent : comparison.silent) miss(fmt::format("{}: {}", silent.name, silent.text));
    if (comparison.same()) good("as expected");
}

Examination::Tags Examination::read(AirSession session, Target target, const std::vector<Port>& antennas)
{
    InventoryPlan plan;
    plan.session = session;
    plan.target = target;
    plan.antennas = antennas;
    plan.scan_time = longest_inventory;
    Tags tags;
    const auto result = reader_.inventory(plan);
    for (const auto& read : result.reads) tags.insert(read.epc);
    if (!result.complete)
        note(fmt::format("{} answered when the scan time was over: there are more", tags_text(tags.size())));
    tags_.insert(tags.begin(), tags.end());
    return tags;
}

void Examination::look_at_ports()
{
    for (const auto port : enabled_) {
        try {
            const auto tags = read(AirSession::s0, Target::a, {port});
            good(fmt::format("port {}: {}", port, tags_text(tags.size())));
        } catch (const Error& error) {
            if (ends_all(error) || is_disturbance(error)) throw;
            found(fmt::format("port {}: {}", port, error.text()), "connect the antenna");
        }
    }
}

// Those that answer to B first: where their flags were left so, they answer to A from then on; where a filter of
// the reader's makes them so before each inventory, they never do. All end at A.
void Examination::compare_targets(AirSession session)
{
    const auto* const name = name_of_session(session);
    const auto with_b = read(session, Target::b, enabled_);
    const auto with_a = read(session, Target::a, enabled_);
    read(session, Target::b, enabled_);
    std::size_t turned = 0;
    for (const auto& epc : with_b) turned += with_a.contains(epc);
    if (turned < with_b.size())
        found(fmt::format("{} never answer to target A in session {}: a select filter was left in the reader",
                          tags_text(with_b.size() - turned), name),
              command("select --all"));
    if (turned != 0 && session >= AirSession::s2)
        found(
            fmt::format("{} had flags of session {} set by an inventory before, and stay silent until these "
                        "expire; now they are back at A",
                        tags_text(turned), name),
            command(fmt::format("inventory --session {} --target B", name)));
}

void Examination::look_at_flags()
{
    note("test inventories change the flags of tags: afterwards they are at A");
    for (const auto session : {AirSession::s0, AirSession::s1, AirSession::s2, AirSession::s3})
        compare_targets(session);
    if (tags_.empty())
        return found(
            "no tag answers in any session: is one in front of the antenna? or a select filter is left",
            command("select --all"));
    good(fmt::format("{} in all", tags_text(tags_.size())));
}

void Examination::look_at_link()
{
    if (is_active_) return note("cannot be looked at while the reader reports by itself");
    const auto start = std::chrono::steady_clock::now();
    for (unsigned i = 0; i < questions; ++i) {
        try {
            reader_.info();
        } catch (const Error& error) {
            if (!is_disturbance(error)) throw;
            ++missed_;
        }
    }
    const auto counted = reader_.link_counters();
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    if (missed_ != 0 || counted.bad_crc != 0 || counted.skipped_bytes != 0)
        return found(fmt::format("{} answers were lost, {} frames damaged, {} bytes of noise", missed_,
                                 counted.bad_crc, counted.skipped_bytes),
                     "look at cable, plugs, grounding and the length of the line, or take a lower speed");
    good(fmt::format("{} answers of {}, {:.1f} ms each", questions, questions, time.count() / questions));
}

}  // namespace tagwire::tool
