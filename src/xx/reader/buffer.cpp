// Tags that the reader keeps.
#include <algorithm>
#include <array>

#include "tagwire/result.h"
#include "xx/reader/scan.h"
#include "xx/values/ports.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call call(const char* name, Effect effect, int least)
{
    return {.name = name, .effect = effect, .least = least, .family = engine::ResultFamily::buffer};
}
constexpr Call inventory_call = call("inventory into the buffer", Effect::change, 4);
constexpr Call read_call = call("read the buffer", Effect::none, 0);
constexpr Call count_call = call("count the tags of the buffer", Effect::none, 2);
constexpr Call clear_call = call("clear the buffer", Effect::change, 0);
constexpr Call id_length_call = call("ask how long the kept identifiers are", Effect::none, 1);
constexpr Call set_id_length_call = call("set how long the kept identifiers are", Effect::change, 0);
constexpr Call history_call = call("read the history", Effect::none, 0);
constexpr Call clear_history_call = call("clear the history", Effect::change, 0);

constexpr Call list_call = call("give the reader EPCs to look for", Effect::change, 0);
constexpr Call search_call{
    .name = "look for tags of a list", .is_inventory = true, .family = engine::ResultFamily::inventory};

constexpr std::size_t most_bytes = 65536;

[[noreturn]] void refuse_records(const ReaderInside& inside, const Call& call)
{
    throw Error(Errc::bad_answer, call.name, inside.name(),
                "the records that came do not fit together: try again");
}

struct Question {
    u8 q;
    u8 session;
    u8 target;
    bool is_target_given;
    std::optional<GivenMask> mask;
    Words words;
};

Question question_of(const ReaderInside& inside, const InventoryPlan& plan)
{
    Question out{};
    out.q = static_cast<u8>(checked(inside, inventory_call, "q", plan.q, 0, 15));
    out.session =
        static_cast<u8>(checked(inside, inventory_call, "the session", static_cast<int>(plan.session), 0, 3));
    out.is_target_given = plan.target.has_value();
    out.target = static_cast<u8>(plan.target.value_or(Target::a));
    if (plan.mask) out.mask = given_mask(inside, inventory_call, *plan.mask);
    if (!plan.words) return out;
    out.words = *plan.words;
    if (out.words.bank != Bank::tid)
        refuse_value(inside, inventory_call, "the buffer keeps EPCs or words of the TID bank");
    checked(inside, inventory_call, "the count of words", out.words.count, 1, 31);
    checked(inside, inventory_call, "the first word", out.words.first, 0, 255);
    return out;
}

// An inventory whose time was over tells no counts.
BufferCounts take_inventory(ReaderInside& inside, const Question& question, const Place& place)
{
    GivenMask mask = question.mask.value_or(GivenMask{});
    int stored = 0;
    int read = 0;
    const int result = inside.run(
        inventory_call, &O::InventoryBuffer_G2, question.q, question.session, mask.bank, mask.bit.data(),
        mask.bits, mask.bytes.data(), u8{question.mask.has_value()}, static_cast<u8>(question.words.first),
        static_cast<u8>(question.words.count), u8{question.words.count != 0}, question.target, place.antenna,
        place.scan_time, u8{place.is_given}, &stored, &read);
    if (result == TAGWIRE_INVENTORY_TIME_OVER) return {.complete = false};
    if (result != TAGWIRE_OK) inside.fail(inventory_call, result);
    inside.require(inventory_call, inside.came());
    return {true, static_cast<unsigned>(read)};
}

// Antenna byte, length, EPC, RSSI, count of readings.
std::vector<BufferedTag> tags_in(const ReaderInside& inside, std::span<const u8> records, AntennaByte kind)
{
    constexpr std::size_t fixed_size = 4;
    std::vector<BufferedTag> out;
    while (!records.empty()) {
        const std::size_t size = records.size() < 2 ? 0 : records[1];
        if (records.size() < fixed_size + size || size > Epc::longest) refuse_records(inside, read_call);
        out.push_back({Epc(records.subspan(2, size)), port_of(records[0], kind), records[0],
                       records[2 + size], records[3 + size]});
        records = records.subspan(fixed_size + size);
    }
    return out;
}

// -- search

// EPCs as one command takes them, each behind its length.
struct ListPart {
    u8 count = 0;
    Bytes ids = {};
};

std::vector<ListPart> parts_of(const ReaderInside& inside, const std::vector<Epc>& epcs)
{
    constexpr u8 most_ids = 30;
    constexpr std::size_t most_id_bytes = 246;
    std::vector<ListPart> out;
    for (const Epc& epc : epcs) {
        const auto id = epc.bytes();
        if (id.empty() || id.size() % 2 != 0)
            refuse_value(inside, list_call, "an EPC to look for has whole words, one at least");
        if (out.empty() || out.back().count == most_ids ||
            out.back().ids.size() + id.size() + 1 > most_id_bytes)
            out.emplace_back();
        ListPart& part = out.back();
        ++part.count;
        part.ids.push_back(static_cast<u8>(id.size()));
        part.ids.insert(part.ids.end(), id.begin(), id.end());
    }
    return out;
}

int antenna_bits(const ReaderInside& inside, const std::vector<Port>& antennas)
{
    int out = 0;
    for (const Port port : antennas)
        out |= 1 << (checked(inside, search_call, "an antenna", port.number(), 1, 16) - 1);
    return out;
}

// Length, EPC, RSSI.
std::vector<FoundTag> found_in(const ReaderInside& inside, std::span<const u8> records)
{
    std::vector<FoundTag> out;
    while (!records.empty()) {
        const std::size_t size = records[0];
        if (records.size() < size + 2 || size > Epc::longest) refuse_records(inside, search_call);
        const FoundTag tag{Epc(records.subspan(1, size)), records[size + 1]};
        const auto known =
            std::find_if(out.begin(), out.end(), [&](const FoundTag& other) { return other.epc == tag.epc; });
        if (known == out.end())
            out.push_back(tag);
        else
            known->rssi = std::max(known->rssi, tag.rssi);
        records = records.subspan(size + 2);
    }
    return out;
}

}  // namespace

BufferCounts Buffer::inventory(const InventoryPlan& plan)
{
    const Question question = question_of(*inside_, plan);
    const ScanPlan scan = scan_plan(*inside_, inventory_call, plan.antennas, plan.scan_time);
    const ReaderInside::Turn turn(*inside_);
    BufferCounts out{true, 0};
    for (const Place& place : places_of(*inside_, scan, question.is_target_given)) {
        const BufferCounts counts = take_inventory(*inside_, question, place);
        out.complete &= counts.complete;
        out.read = out.read && counts.read ? std::optional(*out.read + *counts.read) : std::nullopt;
    }
    out.stored = count();
    return out;
}

std::vector<BufferedTag> Buffer::read()
{
    const ReaderInside::Turn turn(*inside_);
    const AntennaByte kind = inside_->antenna_byte();
    std::vector<u8> records(most_bytes);
    int size = 0;
    int count = 0;
    const int result = inside_->run(read_call, &O::ReadBuffer_G2, &size, &count, records.data());
    if (result == TAGWIRE_INVENTORY_UNKNOWN) return {};
    if (result != TAGWIRE_INVENTORY_DONE) inside_->fail(read_call, result);
    auto out = tags_in(*inside_, {records.data(), static_cast<std::size_t>(std::max(size, 0))}, kind);
    if (out.size() != static_cast<std::size_t>(count)) refuse_records(*inside_, read_call);
    return out;
}

unsigned Buffer::count()
{
    int count = 0;
    inside_->ask(count_call, &O::GetBufferCnt_G2, &count);
    return static_cast<unsigned>(count);
}

void Buffer::clear() { inside_->ask(clear_call, &O::ClearBuffer_G2); }

bool Buffer::keeps_long_ids()
{
    u8 length = 0;
    inside_->ask(id_length_call, &O::GetSaveLen, &length);
    return length != 0;
}

void Buffer::keep_long_ids(bool on) { inside_->ask(set_id_length_call, &O::SetSaveLen, u8{on}); }

// 11 bytes, a length, and so many bytes of EPC.
std::vector<HistoryRecord> Buffer::history()
{
    constexpr std::size_t details_size = std::tuple_size_v<decltype(HistoryRecord::details)>;
    std::vector<u8> bytes(most_bytes);
    int size = 0;
    inside_->ask(history_call, &O::GetTagBufferInfo, bytes.data(), &size);
    std::span<const u8> records(bytes.data(), static_cast<std::size_t>(std::max(size, 0)));
    std::vector<HistoryRecord> out;
    while (!records.empty()) {
        const std::size_t length = records.size() <= details_size ? 0 : records[details_size];
        if (records.size() < details_size + 1 + length || length > Epc::longest)
            refuse_records(*inside_, history_call);
        HistoryRecord record;
        record.epc = Epc(records.subspan(details_size + 1, length));
        std::copy_n(records.begin(), details_size, record.details.begin());
        out.push_back(record);
        records = records.subspan(details_size + 1 + length);
    }
    return out;
}

SearchResult Buffer::find(const SearchPlan& plan)
{
    const auto parts = parts_of(*inside_, plan.epcs);
    if (parts.empty() && !plan.keep_list) refuse_value(*inside_, list_call, "there is no EPC to look for");
    const auto q = static_cast<u8>(checked(*inside_, search_call, "q", plan.q, 0, 15));
    const int antennas = antenna_bits(*inside_, plan.antennas);
    const ReaderInside::Turn turn(*inside_);
    bool keeps_list = plan.keep_list;
    for (ListPart part : parts) {
        inside_->ask(list_call, &O::Find_epc_list_cfg, u8{keeps_list}, part.count, part.ids.data(),
                     static_cast<int>(part.ids.size()));
        keeps_list = true;
    }
    Bytes records(most_bytes);
    int size = 0;
    int count = 0;
    SearchResult out;
    out.complete = scan_place(*inside_, search_call, {}, [&](const Place&) {
        return inside_->run(search_call, &O::Find_epc_by_list, q, antennas, &count, records.data(), &size);
    });
    out.found = found_in(*inside_, {records.data(), static_cast<std::size_t>(std::max(size, 0))});
    for (const Epc& epc : plan.epcs)
        if (std::none_of(out.found.begin(), out.found.end(),
                         [&](const FoundTag& tag) { return tag.epc == epc; }))
            out.missing.push_back(epc);
    return out;
}

void Buffer::clear_history() { inside_->ask(clear_history_call, &O::ClearTagBuffer); }

}  // namespace v1
}  // namespace tagwire
