// Power, frequencies and antennas.
#include <algorithm>
#include <array>

#include "xx/reader/both_ways.h"
#include "xx/reader/scan.h"
#include "xx/values/regions.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call power_call{"ask for the power"};
constexpr Call set_power_call{"set the power"};
constexpr Call region_call{"ask for the region"};
constexpr Call set_region_call{"set the region", Effect::change};
constexpr Call return_loss_call{"measure the return loss", Effect::none, 1};
constexpr Call profile_call{"ask for the profile", Effect::none, 2};
constexpr Call set_profile_call{"set the profile"};
constexpr Call q_call{"ask for Q and session", Effect::none, 2};
constexpr Call set_q_call{"set Q and session"};
constexpr Call carrier_call{"switch the carrier", Effect::change};
constexpr Call set_antennas_call{"set the antennas", Effect::change};

u8 checked_dbm(const ReaderInside& inside, Dbm power)
{
    return static_cast<u8>(checked(inside, set_power_call, ranges::dbm, power.value()));
}

// As many as a command may have; ports that are not there are set as the last one.
Bytes sendable(Bytes powers)
{
    constexpr std::array<std::size_t, 8> counts{1, 2, 4, 8, 9, 12, 16, 64};
    const auto* const count = std::lower_bound(counts.begin(), counts.end(), powers.size());
    if (count != counts.end()) powers.resize(*count, powers.back());
    return powers;
}

const Band& band_named(const ReaderInside& inside, std::string_view name)
{
    const Band* const band = find_band(name);
    if (band == nullptr)
        refuse_value(inside, set_region_call,
                     "'" + std::string(name) + "' is no band: there are us, eu, cn, kr and wide");
    return *band;
}

u8 channel_at(const ReaderInside& inside, const Band& band, Kilohertz frequency)
{
    const std::uint32_t above = frequency.value - band.first.value;
    const std::uint32_t channel = above / band.spacing.value;
    if (frequency.value < band.first.value || above % band.spacing.value != 0 || channel >= band.channels)
        refuse_value(inside, set_region_call,
                     std::to_string(frequency.value) + " kHz is no channel of " + std::string(band.name) +
                         ": they begin at " + std::to_string(band.first.value) + " kHz and lie " +
                         std::to_string(band.spacing.value) + " kHz apart");
    return static_cast<u8>(channel);
}

template <std::size_t Size> std::array<u8, Size> high_byte_first(std::uint64_t value)
{
    std::array<u8, Size> out{};
    for (std::size_t i = 0; i < Size; ++i) out[Size - 1 - i] = static_cast<u8>(value >> (8 * i));
    return out;
}

void set_channels(ReaderInside& inside, int band, unsigned lowest, unsigned highest, Lasting lasting)
{
    refuse_problem(inside, set_region_call, problem_of_band(band, lowest, highest));
    set_values(inside,
               {{"region", {static_cast<u8>(band), static_cast<u8>(highest), static_cast<u8>(lowest)}}},
               lasting);
}

}  // namespace

// -- as settings by name do it too

Bytes ask_powers(ReaderInside& inside, const Call& call)
{
    Bytes powers(255);
    int count = 0;
    inside.ask({call.name, Effect::none, 1}, &O::GetAntennaPower, powers.data(), &count);
    powers.resize(static_cast<std::size_t>(std::min(count, inside.came())));
    return powers;
}

void send_powers(ReaderInside& inside, const Call& call, const Bytes& powers)
{
    for (const u8 power : powers) checked(inside, call, ranges::dbm, power);
    const ReaderInside::Turn turn(inside);
    if (powers.size() == 1) return inside.ask(call, &O::SetRfPower, powers[0]);
    const std::size_t ports = ask_powers(inside, call).size();
    if (powers.size() != ports)
        refuse_value(inside, call,
                     "this reader has " + std::to_string(ports) +
                         " ports: give a power for each of them, or one "
                         "for all, not " +
                         std::to_string(powers.size()));
    Bytes sent = sendable(powers);
    inside.ask(call, &O::SetAntennaPower, sent.data(), static_cast<int>(sent.size()));
}

// How long the answer is says whether it is a plan of one's own.
Bytes ask_region(ReaderInside& inside, const Call& call)
{
    Bytes region(size_of_plan);
    const ReaderInside::Turn turn(inside);
    inside.ask({call.name, Effect::none, size_of_band}, &O::ExtGetRegion, &region[0], &region[1], &region[2]);
    const bool is_plan = region[0] == Region::custom || inside.came() == static_cast<int>(size_of_plan);
    if (is_plan) {
        region[0] = Region::custom;
        inside.ask({call.name, Effect::none, size_of_plan}, &O::GetCustomRegion, &region[1], &region[2],
                   &region[3]);
    }
    region.resize(is_plan ? size_of_plan : size_of_band);
    return region;
}

void send_region(ReaderInside& inside, const Call& call, Bytes region, Lasting lasting)
{
    const u8 flag = static_cast<u8>(lasting);
    if (region.size() == size_of_band)
        inside.ask(call, &O::ExtSetRegion, flag, region[0], region[1], region[2]);
    else
        inside.ask(call, &O::SetCustomRegion, flag, region[1], region[2], &region[3]);
}

// -- power

std::vector<Dbm> Radio::power()
{
    std::vector<Dbm> out;
    for (const u8 power : ask_powers(*inside_, power_call)) out.emplace_back(power);
    return out;
}

void Radio::set_power(Dbm power) { set_values(*inside_, {{"power", {checked_dbm(*inside_, power)}}}); }

void Radio::set_power(Dbm power, Port port)
{
    const u8 dbm = checked_dbm(*inside_, power);
    checked(*inside_, set_power_call, ranges::port, port.number());
    const ReaderInside::Turn turn(*inside_);
    Bytes powers = ask_powers(*inside_, power_call);
    const int ports = static_cast<int>(powers.size());
    checked(*inside_, set_power_call, {"an antenna of this reader", 1, ports}, port.number());
    powers[static_cast<std::size_t>(port.number() - 1)] = dbm;
    set_values(*inside_, {{"power", powers}});
}

void Radio::set_power(const std::vector<Dbm>& powers)
{
    if (powers.empty()) refuse_value(*inside_, set_power_call, "a power for each port is needed");
    Bytes sent;
    for (const Dbm power : powers) sent.push_back(checked_dbm(*inside_, power));
    set_values(*inside_, {{"power", sent}});
}

Dbm Radio::write_power()
{
    u8 dbm = 0;
    inside_->ask({power_call.name, Effect::none, 1}, &O::ReadRfPower, &dbm);
    return Dbm(dbm);
}

void Radio::set_write_power(Dbm power)
{
    set_values(*inside_, {{"write-power", {checked_dbm(*inside_, power)}}});
}

// -- region

Region Radio::region()
{
    const Bytes region = ask_region(*inside_, region_call);
    if (region.size() == size_of_band) return make_region(region[0], region[2], region[1]);
    const std::uint32_t khz = std::uint32_t{region[3]} << 16U | std::uint32_t{region[4]} << 8U | region[5];
    return make_custom_region({khz}, {region[1] * ranges::spacing_unit_khz}, region[2]);
}

void Radio::set_region(std::string_view band, Lasting lasting)
{
    const Band& known = band_named(*inside_, band);
    set_channels(*inside_, known.number, 0, known.channels - 1, lasting);
}

void Radio::set_region(std::string_view band, Kilohertz from, Kilohertz to, Lasting lasting)
{
    const Band& known = band_named(*inside_, band);
    set_channels(*inside_, known.number, channel_at(*inside_, known, from), channel_at(*inside_, known, to),
                 lasting);
}

void Radio::set_region(int band, unsigned lowest, unsigned highest, Lasting lasting)
{
    set_channels(*inside_, band, lowest, highest, lasting);
}

void Radio::set_custom_region(Kilohertz first, Kilohertz spacing, unsigned channels, Lasting lasting)
{
    refuse_problem(*inside_, set_region_call, problem_of_plan(first, spacing, channels));
    const auto start = high_byte_first<3>(first.value);
    set_values(*inside_,
               {{"region",
                 {Region::custom, static_cast<u8>(spacing.value / ranges::spacing_unit_khz),
                  static_cast<u8>(channels), start[0], start[1], start[2]}}},
               lasting);
}

void Radio::set_packed_region(int band, unsigned lowest, unsigned highest)
{
    constexpr unsigned shift = 6;
    refuse_problem(*inside_, set_region_call, problem_of_band(band, lowest, highest));
    checked(*inside_, set_region_call, {"the number of a band", 0, 15}, band);
    checked(*inside_, set_region_call, {"a channel", 0, 63}, highest);
    const auto packed = [](unsigned bits, unsigned channel) {
        return static_cast<u8>((bits & 3U) << shift | channel);
    };
    const auto number = static_cast<unsigned>(band);
    const u8 first = packed(number, lowest);
    const u8 last = packed(number >> 2U, highest);
    const ReaderInside::Turn turn(*inside_);
    inside_->ask(set_region_call, &O::SetRegion, last, first);
    require_values(*inside_, {{"max-frequency", {last}}, {"min-frequency", {first}}});
}

// -- the rest

int Radio::return_loss(Port port, Kilohertz frequency)
{
    const int number = checked(*inside_, return_loss_call, "an antenna", port.number(), 1, 256);
    checked(*inside_, return_loss_call, ranges::plan_khz, frequency.value);
    auto khz = high_byte_first<4>(frequency.value);
    u8 decibels = 0;
    inside_->ask(return_loss_call, &O::MeasureReturnLoss, khz.data(), static_cast<u8>(number - 1), &decibels);
    return decibels;
}

int Radio::profile()
{
    int profile = 0;
    inside_->ask(profile_call, &O::SetExtProfile, u8{0}, &profile);
    return profile;
}

void Radio::set_profile(int profile)
{
    checked(*inside_, set_profile_call, "the profile", profile, 0, 0xFFFF);
    set_values(*inside_, {{"long-profile", {static_cast<u8>(profile >> 8), static_cast<u8>(profile)}}});
}

QAndSession Radio::q_and_session()
{
    u8 q = 0;
    u8 session = 0;
    inside_->ask(q_call, &O::GetQS, &q, &session);
    QAndSession out{.q = q};
    if (session == ranges::automatic_session)
        out.session.reset();
    else
        out.session = static_cast<Session>(session);
    return out;
}

void Radio::set_q_and_session(const QAndSession& value)
{
    const int q = checked(*inside_, set_q_call, ranges::q, value.q);
    const int session = value.session
                            ? checked(*inside_, set_q_call, ranges::session, static_cast<int>(*value.session))
                            : ranges::automatic_session;
    set_values(*inside_, {{"q", {static_cast<u8>(q)}}, {"session", {static_cast<u8>(session)}}});
}

void Radio::set_carrier(bool on) { inside_->ask(carrier_call, &O::RfOutput, u8{on}); }

// -- antennas

std::vector<Port> Antennas::enabled() { return ask_enabled_ports(*inside_); }

void Antennas::enable(const std::vector<Port>& ports, Lasting lasting, PortsCommand command)
{
    const Range range{ranges::port.what, ranges::port.lowest, static_cast<int>(command)};
    if (ports.empty()) refuse_value(*inside_, set_antennas_call, "one antenna at least must be enabled");
    std::uint64_t bits = 0;
    for (const Port port : ports)
        bits |= std::uint64_t{1} << (checked(*inside_, set_antennas_call, range, port.number()) - 1);
    if (command == PortsCommand::eight && lasting != Lasting::stored)
        refuse_value(*inside_, set_antennas_call, "the command for eight ports always stores");
    const u8 flag = static_cast<u8>(lasting);
    const auto bytes = high_byte_first<8>(bits);
    const SettingValue wanted{"antennas", {bytes.begin(), bytes.end()}};
    const ReaderInside::Turn turn(*inside_);
    switch (command) {
    case PortsCommand::eight: inside_->ask(set_antennas_call, &O::SetAntennaMultiplexing, bytes[7]); break;
    case PortsCommand::twelve:
        inside_->ask(set_antennas_call, &O::SetAntennaA12, flag, bytes[6], bytes[7]);
        break;
    case PortsCommand::sixteen:
        inside_->ask(set_antennas_call, &O::SetAntenna, flag, bytes[6], bytes[7]);
        break;
    case PortsCommand::widest: return set_values(*inside_, {wanted}, lasting);
    }
    require_values(*inside_, {wanted});
}

bool Antennas::are_checked() { return inside_->ask_information().antenna_check != 0; }

void Antennas::set_check(bool on) { set_values(*inside_, {{"antenna-check", {u8{on}}}}); }

}  // namespace v1
}  // namespace tagwire
