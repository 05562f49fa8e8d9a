// Power, frequencies and antennas.
#include <algorithm>
#include <array>

#include "xx/reader/reader_inside.h"
#include "xx/reader/scan.h"
#include "xx/values/regions.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call power_call{"ask for the power", Effect::none, 1};
constexpr Call set_power_call{"set the power", Effect::change};
constexpr Call region_call{"ask for the region", Effect::none, 3};
constexpr Call custom_region_call{"ask for the region", Effect::none, 6};
constexpr Call set_region_call{"set the region", Effect::change};
constexpr Call return_loss_call{"measure the return loss", Effect::none, 1};
constexpr Call profile_call{"ask for the profile", Effect::none, 2};
constexpr Call set_profile_call{"set the profile", Effect::change};
constexpr Call q_call{"ask for Q and session", Effect::none, 2};
constexpr Call set_q_call{"set Q and session", Effect::change};
constexpr Call carrier_call{"switch the carrier", Effect::change};
constexpr Call set_antennas_call{"set the antennas", Effect::change};
constexpr Call set_check_call{"set the antenna check", Effect::change};

constexpr int highest_dbm = 40;
constexpr unsigned spacing_unit_khz = 10;
constexpr int automatic_session = 0xFF;

u8 checked_dbm(const ReaderInside& inside, Dbm power)
{
    return static_cast<u8>(
        checked(inside, set_power_call, "the power in dBm", power.value(), 0, highest_dbm));
}

std::vector<u8> powers_of(ReaderInside& inside)
{
    std::array<u8, 255> powers{};
    int count = 0;
    inside.ask(power_call, &O::GetAntennaPower, powers.data(), &count);
    count = std::min(count, inside.came());
    return {powers.begin(), powers.begin() + count};
}

// As many as a command may have; ports that are not there are set as the last one.
std::vector<u8> sendable(std::vector<u8> powers)
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

void send_region(ReaderInside& inside, const Band& band, unsigned lowest, unsigned highest, Lasting lasting)
{
    inside.ask(set_region_call, &O::ExtSetRegion, static_cast<u8>(lasting), static_cast<u8>(band.number),
               static_cast<u8>(highest), static_cast<u8>(lowest));
}

template <std::size_t Size> std::array<u8, Size> high_byte_first(std::uint32_t value)
{
    std::array<u8, Size> out{};
    for (std::size_t i = 0; i < Size; ++i) out[Size - 1 - i] = static_cast<u8>(value >> (8 * i));
    return out;
}

Region custom_region_of(ReaderInside& inside)
{
    u8 spacing = 0;
    u8 channels = 0;
    std::array<u8, 3> first{};
    inside.ask(custom_region_call, &O::GetCustomRegion, &spacing, &channels, first.data());
    const std::uint32_t khz = std::uint32_t{first[0]} << 16U | std::uint32_t{first[1]} << 8U | first[2];
    return make_custom_region({khz}, {spacing * spacing_unit_khz}, channels);
}

}  // namespace

// -- power

std::vector<Dbm> Radio::power()
{
    std::vector<Dbm> out;
    for (const u8 power : powers_of(*inside_)) out.emplace_back(power);
    return out;
}

void Radio::set_power(Dbm power)
{
    inside_->ask(set_power_call, &O::SetRfPower, checked_dbm(*inside_, power));
}

void Radio::set_power(Dbm power, Port port)
{
    const u8 dbm = checked_dbm(*inside_, power);
    checked(*inside_, set_power_call, "an antenna", port.number(), 1, 64);
    const ReaderInside::Turn turn(*inside_);
    std::vector<u8> powers = powers_of(*inside_);
    const int ports = static_cast<int>(powers.size());
    checked(*inside_, set_power_call, "an antenna of this reader", port.number(), 1, ports);
    powers[static_cast<std::size_t>(port.number() - 1)] = dbm;
    powers = sendable(std::move(powers));
    inside_->ask(set_power_call, &O::SetAntennaPower, powers.data(), static_cast<int>(powers.size()));
}

Dbm Radio::write_power()
{
    u8 dbm = 0;
    inside_->ask(power_call, &O::ReadRfPower, &dbm);
    return Dbm(dbm);
}

void Radio::set_write_power(Dbm power)
{
    inside_->ask(set_power_call, &O::WriteRfPower, checked_dbm(*inside_, power));
}

// -- region

Region Radio::region()
{
    u8 band = 0;
    u8 highest = 0;
    u8 lowest = 0;
    const ReaderInside::Turn turn(*inside_);
    inside_->ask(region_call, &O::ExtGetRegion, &band, &highest, &lowest);
    return band == Region::custom ? custom_region_of(*inside_) : make_region(band, lowest, highest);
}

void Radio::set_region(std::string_view band, Lasting lasting)
{
    const Band& known = band_named(*inside_, band);
    send_region(*inside_, known, 0, known.channels - 1, lasting);
}

void Radio::set_region(std::string_view band, Kilohertz from, Kilohertz to, Lasting lasting)
{
    const Band& known = band_named(*inside_, band);
    const u8 lowest = channel_at(*inside_, known, from);
    const u8 highest = channel_at(*inside_, known, to);
    if (lowest > highest) refuse_value(*inside_, set_region_call, "the lower frequency comes first");
    send_region(*inside_, known, lowest, highest, lasting);
}

void Radio::set_custom_region(Kilohertz first, Kilohertz spacing, unsigned channels, Lasting lasting)
{
    checked(*inside_, set_region_call, "the first frequency in kHz", first.value, 1, 0xFFFFFF);
    checked(*inside_, set_region_call, "the spacing in kHz", spacing.value, 10, 2550);
    checked(*inside_, set_region_call, "the count of channels", channels, 1, 255);
    if (spacing.value % spacing_unit_khz != 0)
        refuse_value(*inside_, set_region_call, "channels lie a multiple of 10 kHz apart");
    auto start = high_byte_first<3>(first.value);
    inside_->ask(set_region_call, &O::SetCustomRegion, static_cast<u8>(lasting),
                 static_cast<u8>(spacing.value / spacing_unit_khz), static_cast<u8>(channels), start.data());
}

// -- the rest

int Radio::return_loss(Port port, Kilohertz frequency)
{
    const int number = checked(*inside_, return_loss_call, "an antenna", port.number(), 1, 256);
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
    inside_->ask(set_profile_call, &O::SetExtProfile, u8{1}, &profile);
}

QAndSession Radio::q_and_session()
{
    u8 q = 0;
    u8 session = 0;
    inside_->ask(q_call, &O::GetQS, &q, &session);
    QAndSession out{.q = q};
    if (session == automatic_session)
        out.session.reset();
    else
        out.session = static_cast<Session>(session);
    return out;
}

void Radio::set_q_and_session(const QAndSession& value)
{
    const int q = checked(*inside_, set_q_call, "q", value.q, 0, 15);
    const int session =
        value.session ? checked(*inside_, set_q_call, "the session", static_cast<int>(*value.session), 0, 3)
                      : automatic_session;
    inside_->ask(set_q_call, &O::SetQS, static_cast<u8>(q), static_cast<u8>(session));
}

void Radio::set_carrier(bool on) { inside_->ask(carrier_call, &O::RfOutput, u8{on}); }

// -- antennas

std::vector<Port> Antennas::enabled() { return ask_enabled_ports(*inside_); }

void Antennas::enable(const std::vector<Port>& ports, Lasting lasting)
{
    constexpr int most_ports = 64;
    if (ports.empty()) refuse_value(*inside_, set_antennas_call, "one antenna at least must be enabled");
    std::uint64_t bits = 0;
    for (const Port port : ports)
        bits |= std::uint64_t{1} << (checked(*inside_, set_antennas_call, "an antenna", port.number(), 1,
                                             most_ports) -
                                     1);
    std::array<u8, 8> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[bytes.size() - 1 - i] = static_cast<u8>(bits >> (8 * i));
    inside_->ask(set_antennas_call, &O::OptAntenna, u8{1}, static_cast<u8>(lasting), bytes.data());
}

bool Antennas::are_checked() { return inside_->ask_information().antenna_check != 0; }

void Antennas::set_check(bool on) { inside_->ask(set_check_call, &O::SetCheckAnt, u8{on}); }

}  // namespace v1
}  // namespace tagwire
