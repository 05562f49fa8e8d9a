// The temperatures of all tags.
#include <algorithm>
#include <iterator>
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

// -- what an inventory brings

class TemperatureSink final : public RecordSink {
  public:
    TemperatureSink(const ChipRule& rule, AntennaByte antenna_byte, const std::optional<Epc>& wanted)
        : rule_(rule), antenna_byte_(antenna_byte), wanted_(wanted)
    {}

    void take(const engine::TagRecord& record) noexcept override
    try {
        if (out_of_memory_) return;
        // All of a frame that lies behind its end is cut off.
        const bool is_told = is_cut_off_ && !record.whole;
        is_cut_off_ = !record.whole;
        if (!is_told) add(temperature_of(record));
    } catch (const std::bad_alloc&) {
        out_of_memory_ = true;
    }
    std::vector<Temperature> take_readings()
    {
        if (out_of_memory_) throw std::bad_alloc();
        return std::move(readings_);
    }
    bool is_damaged() const { return is_damaged_; }

  private:
    // The EPC, what the sensor tells, and the calibration where there is one.
    Temperature temperature_of(const engine::TagRecord& record)
    {
        const std::span<const u8> id(record.id, record.id_size);
        const std::size_t raw = rule_.raw_size();
        const std::size_t tail = raw + (rule_.has_sense_word ? calibration_size : 0);
        Temperature out;
        out.port = port_of(record.antenna, antenna_byte_);
        out.rssi = record.rssi;
        out.antenna_byte = record.antenna;
        out.received = {std::chrono::steady_clock::now(), std::chrono::system_clock::now()};
        const bool is_good =
            id.size() >= tail && (id.size() - tail) % 2 == 0 && id.size() - tail <= Epc::longest;
        if (!record.whole || !is_good) {
            out.problem = record.whole ? "the record is not an EPC of whole words and a temperature"
                                       : "the record was cut off";
            if (record.whole) out.raw.assign(id.begin(), id.end());
            is_damaged_ = true;
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
    bool is_cut_off_ = false;
    bool is_damaged_ = false;
    bool out_of_memory_ = false;
};

std::optional<Mask> wanted_by(const TemperaturePlan& plan)
{
    return plan.epc ? mask_of(*plan.epc) : plan.mask;
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
    name_by(inside, temperatures_call, plan.epc.value_or(Epc()), rule.longest_epc);  // refuses one too long
    const bool has_password = !rule.comes_in_inventory && plan.chip != SensorChip::bx;
    if (!plan.password.is_zero() && !has_password)
        refuse_value(inside, temperatures_call,
                     std::string("a password is not for the chip ") + rule.name + " here");
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
    NameOnWire tag = name_by(plan.epc.value_or(Epc()).bytes());
    const auto session = static_cast<u8>(plan.session);
    return inside.run(
        temperatures_call,
        plan.chip == SensorChip::ltu32 ? &O::Inventory_Temperature_ltu32 : &O::Inventory_Temperature,
        tag.words, tag.id.data(), static_cast<u8>(plan.select_target.value_or(session)),
        static_cast<u8>(plan.select_action.value_or(0)), static_cast<u8>(plan.question.wait_time.value_or(0)),
        static_cast<u8>(plan.q), session, static_cast<u8>(plan.target), place.antenna, place.scan_time,
        nullptr, nullptr, nullptr, nullptr);
}

int send_masked_inventory(ReaderInside& inside, const TemperaturePlan& plan, const Place& place)
{
    const std::optional<Mask> wanted = wanted_by(plan);
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
    out.complete &= !sink.is_damaged();
    return out;
}

// -- chips that are asked one by one

bool ends_the_row(const Error& error)
{
    return error.code() == Errc::lost || error.code() == Errc::aborted ||
           error.code() == Errc::no_such_feature;
}

struct FoundTag {
    Read read;
    bool by_tid;  // others have its EPC, or may have it; or it has none
};

// Readings of one EPC are of one tag, unless their TIDs tell otherwise, and the strongest one counts. One without
// a TID may be of another tag.
void add(std::vector<FoundTag>& tags, Read read)
{
    bool is_shared = read.epc.empty();
    for (FoundTag& tag : tags) {
        Read& known = tag.read;
        if (known.epc != read.epc) continue;
        if (!known.tid || !read.tid || begin_alike(*known.tid, *read.tid)) {
            tag.by_tid |= known.tid.has_value() != read.tid.has_value();
            const std::optional<Tid> tid = known.tid ? known.tid : read.tid;
            if (read.rssi > known.rssi) known = std::move(read);
            known.tid = tid;
            return;
        }
        tag.by_tid = is_shared = true;
    }
    tags.push_back({std::move(read), is_shared});
}

// In some sessions a tag that was seen keeps silent for a while: then it stays as it was.
void see_again(InventoryResult& found, InventoryResult again)
{
    std::erase_if(found.reads, [&](const Read& read) {
        return std::any_of(again.reads.begin(), again.reads.end(),
                           [&](const Read& other) { return other.epc == read.epc; });
    });
    std::move(again.reads.begin(), again.reads.end(), std::back_inserter(found.reads));
    found.complete &= again.complete;
    found.bad_records += again.bad_records;
}

// With their TIDs, of a reader that reads these: 6 words, or 4 where none has so many.
InventoryResult look_around(ReaderInside& inside, const TemperaturePlan& plan)
{
    InventoryPlan look{.q = plan.q,
                       .session = plan.session,
                       .target = plan.target,
                       .antennas = plan.antennas,
                       .scan_time = plan.scan_time,
                       .mask = wanted_by(plan),
                       .words = Words{Bank::tid, 0, 6}};
    try {
        InventoryResult found = inventory(inside, look);
        const bool has_tids = std::any_of(found.reads.begin(), found.reads.end(),
                                          [](const Read& read) { return read.tid.has_value(); });
        if (has_tids || found.reads.empty()) return found;
        look.words->count = 4;
        see_again(found, inventory(inside, look));
        return found;
    } catch (const Error& error) {
        if (error.code() != Errc::no_such_feature) throw;
    }
    look.words.reset();
    return inventory(inside, look);
}

Temperature not_measured_yet(const Read& read)
{
    Temperature out{.epc = read.epc, .tid = read.tid, .port = read.port, .rssi = read.rssi};
    out.antenna_byte = read.antenna_byte;
    out.received = read.received;
    return out;
}

// Whether the reader was silent. It throws Error where it would be for the others, too.
bool measure_in(ReaderInside& inside, const TemperaturePlan& plan, bool by_tid, Temperature& measured,
                bool was_silent)
{
    if (measured.epc.empty() && !measured.tid) {  // whichever tag is there would answer
        measured.problem = "the tag has neither an EPC nor a TID to be asked by";
        return was_silent;
    }
    try {
        TagInside tag(inside, {.epc = measured.epc, .tid = measured.tid}, by_tid, plan.password);
        measure_one(tag, plan.chip, plan.question, measured);
        return false;
    } catch (const Error& error) {
        const bool is_silent = error.code() == Errc::no_answer;
        if (ends_the_row(error) || (is_silent && was_silent)) throw;
        measured.problem = error.text();
        return is_silent;
    }
}

Temperatures ask_each(ReaderInside& inside, const TemperaturePlan& plan, const TemperatureTold& told)
{
    InventoryResult found = look_around(inside, plan);
    std::vector<FoundTag> tags;
    for (Read& read : found.reads)
        if (!plan.epc || read.epc == *plan.epc) add(tags, std::move(read));
    Temperatures out;
    out.complete = found.complete && found.bad_records == 0;
    bool is_silent = false;
    for (const FoundTag& tag : tags) {
        Temperature& measured = out.readings.emplace_back(not_measured_yet(tag.read));
        is_silent = measure_in(inside, plan, tag.by_tid, measured, is_silent);
        if (!told || told(measured) || &tag == &tags.back()) continue;
        out.complete = false;
        break;
    }
    return out;
}

}  // namespace

Temperatures Reader::temperatures(const TemperaturePlan& plan, const TemperatureTold& told)
{
    check_plan(*inside_, plan);
    const Inside::Turn turn(*inside_);
    const bool comes_in_inventory = chip_rule(*inside_, temperatures_call, plan.chip).comes_in_inventory;
    return comes_in_inventory ? take_inventories(*inside_, plan) : ask_each(*inside_, plan, told);
}

Temperature Reader::temperature_of_any(const AnyTagQuestion& question)
{
    constexpr std::size_t time_size = 6;
    check_question(*inside_, temperature_call, SensorChip::g2, Asked::one_by_one, question.question);
    if (question.time && question.time->size() != time_size)
        refuse_value(*inside_, temperature_call, "the time for a tag has 6 bytes");
    TagInside any(*inside_, {}, false, {});
    Temperature out;
    measure_one(any, SensorChip::g2, question.question, out, question.time);
    return out;
}

}  // namespace v1
}  // namespace tagwire
