#include "xx/reader/scan.h"

#include <algorithm>

#include "tagwire/result.h"
#include "xx/reader/both_ways.h"
#include "xx/values/error_details.h"

namespace tagwire {
inline namespace v1 {
namespace {

constexpr u8 first_antenna = 0x80;

u8 antenna_of(const ReaderInside& inside, const Call& call, Port port)
{
    return static_cast<u8>(first_antenna + checked(inside, call, "an antenna", port.number(), 1, 128) - 1);
}

// Of a reader that does not tell its ports: the first one.
std::vector<Port> ports_in_use(ReaderInside& inside)
{
    try {
        const auto ports = ask_enabled_ports(inside);
        return ports.empty() ? std::vector{Port(1)} : ports;
    } catch (const Error& error) {
        if (error.code() == Errc::aborted || error.code() == Errc::lost) throw;
        return {Port(1)};
    }
}

// What came until then goes along.
Error told_with(const Error& error, TagCollection& tags)
{
    tags.end_inventory();
    auto details = std::make_shared<ErrorDetails>();
    details->tag_error = error.tag_error();
    details->reads = tags.take_result().reads;
    return {static_cast<Errc>(error.code().value()),
            error.operation(),
            error.reader(),
            error.text(),
            error.outcome(),
            error.result(),
            details};
}

}  // namespace

GivenMask given_mask(const ReaderInside& inside, const Call& call, u8 bank, unsigned bit, const Bytes& bytes,
                     unsigned bits)
{
    const auto there = static_cast<long long>(bytes.size()) * 8;
    const auto used = checked(inside, call, ranges::mask_bits, bits == 0 ? there : bits);
    if (used > there) refuse_value(inside, call, "the mask has fewer bits than are to be compared");
    checked(inside, call, ranges::mask_bit, bit);
    GivenMask out{bank, {static_cast<u8>(bit >> 8U), static_cast<u8>(bit)}, static_cast<u8>(used), {}};
    std::copy_n(bytes.begin(), (used + 7) / 8, out.bytes.begin());
    return out;
}

GivenMask given_mask(const ReaderInside& inside, const Call& call, const Mask& mask)
{
    const int bank = checked(inside, call, ranges::mask_bank, static_cast<int>(mask.bank));
    return given_mask(inside, call, static_cast<u8>(bank), mask.bit, mask.bytes, mask.bits);
}

ScanPlan scan_plan(const ReaderInside& inside, const Call& call, const std::vector<Port>& antennas,
                   std::optional<std::chrono::milliseconds> scan_time)
{
    constexpr int unit_ms = 100;
    ScanPlan out;
    for (const Port port : antennas) out.antennas.push_back(antenna_of(inside, call, port));
    if (!scan_time) return out;
    const int time = checked(inside, call, "the scan time in ms", scan_time->count(), 1, 255 * unit_ms);
    out.scan_time = static_cast<u8>((time + unit_ms - 1) / unit_ms);
    return out;
}

std::vector<Place> places_of(ReaderInside& inside, const ScanPlan& plan, bool must_be_given)
{
    if (plan.antennas.empty() && !plan.scan_time && !must_be_given) return {Place{}};
    std::vector<u8> antennas = plan.antennas;
    if (antennas.empty())
        for (const Port port : ports_in_use(inside))
            antennas.push_back(static_cast<u8>(first_antenna + port.number() - 1));
    std::vector<Place> out;
    out.reserve(antennas.size());
    for (const u8 antenna : antennas)
        out.push_back({true, antenna, plan.scan_time.value_or(inside.told().scan_time)});
    return out;
}

bool scan_place(ReaderInside& inside, const Call& call, const Place& place, TagCollection& tags,
                const std::function<int(const Place&)>& send)
try {
    return scan_place(inside, call, place, [&](const Place& at) {
        const int result = send(at);
        tags.end_inventory();
        return result;
    });
} catch (const Error& error) {
    throw told_with(error, tags);
}

bool scan_place(ReaderInside& inside, const Call& call, const Place& place,
                const std::function<int(const Place&)>& send)
{
    const unsigned units = place.scan_time != 0 ? place.scan_time : inside.told().scan_time;
    inside.set_longest_job(std::chrono::milliseconds(100) * units);
    const int result = send(place);
    switch (result) {
    case TAGWIRE_INVENTORY_DONE:
    case TAGWIRE_INVENTORY_NO_TAG: return true;
    case TAGWIRE_INVENTORY_TIME_OVER: return false;
    default: inside.fail(call, result);
    }
}

std::vector<Port> ask_enabled_ports(ReaderInside& inside)
{
    constexpr unsigned most_ports = 64;
    std::array<u8, most_ports / 8> bytes{};
    inside.ask({"ask for the antennas", Effect::none, bytes.size()}, &Operations::OptAntenna, u8{0}, u8{0},
               bytes.data());
    std::vector<Port> out;
    for (unsigned port = 0; port < most_ports; ++port)
        if ((bytes[bytes.size() - 1 - port / 8] >> (port % 8) & 1U) != 0)
            out.emplace_back(static_cast<int>(port + 1));
    return out;
}

}  // namespace v1
}  // namespace tagwire
