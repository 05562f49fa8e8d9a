// The temperatures of all tags.
#include <algorithm>
#include <map>
#include <new>
#include <utility>

#include "xx/reader/tag_collection.h"
#include "xx/sensors/measure.h"
#include "xx/values/ports.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call temperatures_call{
    .name = "read temperatures", .is_inventory = true, .family = engine::ResultFamily::inventory};
constexpr unsigned epc_bit = 32;  // where the EPC begins in its bank

// -- what an inventory brings

class TemperatureSink final : public RecordSink {
  public:
    TemperatureSink(const ChipRule& rule, AntennaByte antenna_byte, const std::optional<Epc>& wanted)
        : rule_(rule), antenna_byte_(antenna_byte), wanted_(wanted)
    {}

    void take(const engine::TagRecord& record) noexcept override
    try {
        add(temperature_of(record));
    } catch (const std::bad_alloc&) {
        out_of_memory_ = true;
    }
    std::vector<Temperature> take_readings()
    {
        if (out_of_memory_) throw std::bad_alloc();
        return std::move(readings_);
    }

  private:
    // The EPC, what the sensor tells, and the calibration where there is one.
    Temperature temperature_of(const engine::TagRecord& record) const
    {
        const std::span<const u8> id(record.id, record.id_size);
        const std::size_t raw = rule_.raw_size();
        const std::size_t tail = raw + (rule_.has_sense_word ? calibration_size : 0);
        Temperature out;
        out.port = port_of(record.antenna, antenna_byte_);
        out.rssi = record.rssi;
        out.antenna_byte = record.antenna;
        out.received = {std::chrono::steady_clock::now(), std::chrono::system_clock::now()};
        if (!record.whole || id.size() < tail || id.size() - tail > Epc::longest) {
            out.problem = record.whole ? "the record has no room for an EPC and a temperature"
                                       : "the record was cut off";
            if (record.whole) out.raw.assign(id.begin(), id.end());
            return out;
        }
        const auto sensor = id.last(tail);
        out.epc = Epc(id.first(id.size() - tail));
        out.raw.assign(sensor.begin(), sensor.begin() + static_cast<std::ptrdiff_t>(raw));
        out.calibration.assign(sensor.begin() + static_cast<std::ptrdiff_t>(raw), sensor.end());
        convert(rule_, out);
        return out;
    }

    // What is good counts more than what is not, and then what is strong.
    void add(Temperature measured)
    {
        if (wanted_ && !measured.epc.empty() && measured.epc != *wanted_) return;
        const auto [place, is_new] = places_.try_emplace(measured.epc, readings_.size());
        if (is_new || measured.epc.empty()) return readings_.push_back(std::move(measured));
        Temperature& known = readings_[place->second];
        const auto rank = [](const Temperature& of) { return std::pair(of.celsius.has_value(), of.rssi); };
        if (rank(measured) > rank(known)) known = std::move(measured);
    }

    const ChipRule& rule_;
    AntennaByte antenna_byte_;
    const std::optional<Epc>& wanted_;
    std::map<Epc, std::size_t> places_;
    std::vector<Temperature> readings_;
    bool out_of_memory_ = false;
};

std::optional<Mask> mask_of(const TemperaturePlan& plan)
{
    if (!plan.epc) return plan.mask;
    return epc_mask(*plan.epc);
}

void check_plan(ReaderInside& inside, const TemperaturePlan& plan)
{
    const ChipRule& rule = chip_rule(inside, temperatures_call, plan.chip);
    const bool has_select = rule.comes_in_inventory && rule.has_sense_word;
    check_question(inside, temperatures_call, plan.chip,
                   rule.comes_in_inventory ? Asked::in_inventory : Asked::one_by_one, plan.question);
    checked(inside, temperatures_call, "q", plan.q, 0, 15);
    checked(inside, temperatures_call, "the session", static_cast<int>(plan.session), 0, 3);
    checked(inside, temperatures_call, "the target", static_cast<int>(plan.target), 0, 1);
    if (plan.epc && plan.mask) refuse_value(inside, temperatures_call, "give an EPC or a mask");
    if (plan.epc && plan.epc->empty()) refuse_value(inside, temperatures_call, "the EPC is empty");
    NamedTag(inside, temperatures_call, plan.epc.value_or(Epc()), rule.longest_epc);  // refuses one too long
    if (plan.mask && has_select)
        refuse_value(inside, temperatures_call,
                     std::string("tags of the chip ") + rule.name +
                         " can be named by EPC only, not by a mask");
    if ((plan.select_target || plan.select_action) && !has_select)
        refuse_value(inside, temperatures_call,
                     std::string("the chip ") + rule.name + " has no Select of its own");
    checked(inside, temperatures_call, "the target of the Select", plan.select_target.value_or(0), 0, 7);
    checked(inside, temperatures_call, "the action of the Select", plan.select_action.value_or(0), 0, 7);
}

// -- chips that come in an inventory

int send_sense_inventory(ReaderInside& inside, const TemperaturePlan& plan, const Place& place)
{
    NamedTag tag(inside, temperatures_call, plan.epc.value_or(Epc()),
                 chip_rule(inside, temperatures_call, plan.chip).longest_epc);
    const auto session = static_cast<u8>(plan.session);
    return inside.run(
        temperatures_call,
        plan.chip == SensorChip::ltu32 ? &O::Inventory_Temperature_ltu32 : &O::Inventory_Temperature,
        tag.words(), tag.epc(), static_cast<u8>(plan.select_target.value_or(session)),
        static_cast<u8>(plan.select_action.value_or(0)), static_cast<u8>(plan.question.wait_time.value_or(0)),
        static_cast<u8>(plan.q), session, static_cast<u8>(plan.target), place.antenna, place.scan_time,
        nullptr, nullptr, nullptr, nullptr);
}

int send_masked_inventory(ReaderInside& inside, const TemperaturePlan& plan, const Place& place)
{
    const std::optional<Mask> wanted = mask_of(plan);
    GivenMask mask = wanted ? given_mask(inside, temperatures_call, *wanted) : GivenMask{};
    return inside.run(temperatures_call, &O::Inventory_Temperature_Ast010, static_cast<u8>(plan.q),
                      static_cast<u8>(plan.session), mask.bank, mask.bit.data(), mask.bits, mask.bytes.data(),
                      u8{wanted.has_value()}, static_cast<u8>(plan.target), place.antenna, place.scan_time,
                      u8{1}, nullptr, nullptr, nullptr, nullptr);
}

Temperatures take_inventories(ReaderInside& inside, const TemperaturePlan& plan)
{
    const ScanPlan scan = scan_plan(inside, temperatures_call, plan.antennas, plan.scan_time);
    TemperatureSink sink(chip_rule(inside, temperatures_call, plan.chip), inside.antenna_byte(), plan.epc);
    Temperatures out;
    {
        const ReaderInside::Listening listening(inside, sink);
        for (const Place& place : places_of(inside, scan, true))
            out.complete &= scan_place(inside, temperatures_call, place, [&](const Place& at) {
                return plan.chip == SensorChip::ast010 ? send_masked_inventory(inside, plan, at)
                                                       : send_sense_inventory(inside, plan, at);
            });
    }
    out.readings = sink.take_readings();
    return out;
}

// -- chips that are asked one by one

bool ends_the_row(const Error& error)
{
    return error.code() == Errc::lost || error.code() == Errc::aborted ||
           error.code() == Errc::no_such_feature;
}

// One that falls silent for two tags in a row is not asked for the others.
void measure_each(ReaderInside& inside, const TemperaturePlan& plan, std::vector<Temperature>& readings)
{
    const PasswordBytes password = password_bytes(inside, temperatures_call, plan.question.password);
    bool was_silent = false;
    for (Temperature& measured : readings) {
        if (measured.epc.empty()) {  // whichever tag is there would answer
            measured.problem = "the tag has no EPC to be asked by";
            continue;
        }
        try {
            measure_one(inside, plan.chip, password, plan.question, measured);
            was_silent = false;
        } catch (const Error& error) {
            const bool is_silent = error.code() == Errc::no_answer;
            if (ends_the_row(error) || (is_silent && was_silent)) throw;
            measured.problem = error.text();
            was_silent = is_silent;
        }
    }
}

Temperature not_measured_yet(const Read& read)
{
    Temperature out{.epc = read.epc, .port = read.port, .rssi = read.rssi};
    out.antenna_byte = read.antenna_byte;
    out.received = read.received;
    return out;
}

}  // namespace

Mask epc_mask(const Epc& epc)
{
    constexpr std::size_t longest = 31;  // bytes that a mask has room for
    const auto bytes = epc.bytes().first(std::min(epc.size(), longest));
    return {Bank::epc, epc_bit, Bytes(bytes.begin(), bytes.end())};
}

std::vector<Read> strongest_of_each(std::vector<Read> reads, const std::optional<Epc>& wanted)
{
    std::vector<Read> out;
    std::map<Epc, std::size_t> places;
    for (Read& read : reads) {
        if (wanted && read.epc != *wanted) continue;
        const auto [place, is_new] = places.try_emplace(read.epc, out.size());
        if (is_new)
            out.push_back(std::move(read));
        else if (read.rssi > out[place->second].rssi)
            out[place->second] = std::move(read);
    }
    return out;
}

Temperatures Reader::temperatures(const TemperaturePlan& plan)
{
    check_plan(*inside_, plan);
    const Inside::Turn turn(*inside_);
    if (chip_rule(*inside_, temperatures_call, plan.chip).comes_in_inventory)
        return take_inventories(*inside_, plan);
    InventoryResult found = inventory({.q = plan.q,
                                       .session = plan.session,
                                       .target = plan.target,
                                       .antennas = plan.antennas,
                                       .scan_time = plan.scan_time,
                                       .mask = mask_of(plan)});
    Temperatures out;
    out.complete = found.complete;
    for (const Read& read : strongest_of_each(std::move(found.reads), plan.epc))
        out.readings.push_back(not_measured_yet(read));
    measure_each(*inside_, plan, out.readings);
    return out;
}

Temperature Reader::temperature_of_any(const AnyTagQuestion& question)
{
    constexpr std::size_t time_size = 6;
    check_question(*inside_, temperature_call, SensorChip::g2, Asked::one_by_one, question.question);
    if (question.time && question.time->size() != time_size)
        refuse_value(*inside_, temperature_call, "the time for a tag has 6 bytes");
    Temperature out;
    measure_one(*inside_, SensorChip::g2, {}, question.question, out, question.time);
    return out;
}

}  // namespace v1
}  // namespace tagwire
