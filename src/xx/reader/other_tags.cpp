// Inventories of 6B, GB and JB tags.
#include <algorithm>
#include <array>

#include "tagwire/result.h"
#include "xx/reader/scan.h"
#include "xx/values/ports.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call call_6b{.name = "inventory of 6B tags", .family = engine::ResultFamily::tag_6b};
constexpr Call call_gb{
    .name = "inventory of GB tags", .is_inventory = true, .family = engine::ResultFamily::inventory};
constexpr Call call_jb{
    .name = "inventory of JB tags", .is_inventory = true, .family = engine::ResultFamily::inventory};

// -- 6B

constexpr std::size_t id_size_6b = 8;
constexpr std::size_t record_size_6b = id_size_6b + 1;

struct Condition {
    u8 comparison = 0;
    u8 first = 0;
    u8 mask = 0;  // the highest bit selects the first byte
    std::array<u8, 8> content{};
};

Condition condition_of(const ReaderInside& inside, const Condition6b& given)
{
    Condition out;
    out.comparison =
        static_cast<u8>(checked(inside, call_6b, "the comparison", static_cast<int>(given.comparison), 0, 3));
    out.first = static_cast<u8>(checked(inside, call_6b, "the first byte", given.first, 0, 255));
    const int size = checked(inside, call_6b, "the count of bytes to compare with",
                             static_cast<long long>(given.content.size()), 1, 8);
    out.mask = given.compared.value_or(static_cast<u8>(0xFF00U >> static_cast<unsigned>(size)));
    std::copy(given.content.begin(), given.content.end(), out.content.begin());
    return out;
}

// What a 6B inventory brought: an antenna byte, a count, and the records that came.
struct Answer6b {
    u8 antenna = 0;
    int count = 0;
    std::array<u8, 256> records{};
};

int ask_for_one(ReaderInside& inside, Answer6b& answer)
{
    std::array<u8, 10> counted{};
    const int result = inside.run(call_6b, &O::InventorySingle_6B, &answer.antenna, counted.data());
    answer.count = counted[0];
    std::copy(counted.begin() + 1, counted.end(), answer.records.begin());
    return result;
}

int ask_for_many(ReaderInside& inside, Condition condition, Answer6b& answer)
{
    return inside.run(call_6b, &O::InventoryMultiple_6B, condition.comparison, condition.first,
                      condition.mask, condition.content.data(), &answer.antenna, answer.records.data(),
                      &answer.count);
}

Read read_of(std::span<const u8> record, u8 antenna, AntennaByte kind)
{
    Read out;
    out.id = TagId(record.first(id_size_6b));
    out.rssi = record[id_size_6b];
    out.antenna_byte = antenna;
    out.port = port_of(antenna, kind);
    out.received = {std::chrono::steady_clock::now(), std::chrono::system_clock::now()};
    return out;
}

InventoryResult result_of(const Answer6b& answer, int came, AntennaByte kind)
{
    constexpr int head = 2;  // antenna byte and count
    std::span<const u8> records(answer.records.data(),
                                static_cast<std::size_t>(std::clamp(came - head, 0, 255)));
    InventoryResult out;
    for (int i = 0; i < answer.count; ++i) {
        if (records.size() < record_size_6b) {
            out.bad_records = static_cast<unsigned>(answer.count - i);
            return out;
        }
        out.reads.push_back(read_of(records, answer.antenna, kind));
        records = records.subspan(record_size_6b);
    }
    return out;
}

// -- GB and JB: the same operations, of JB with one byte in front

struct Question {
    std::optional<GivenMask> mask;
    Password password;
    std::optional<OtherTagsPlan::Area> words;
};

Question question_of(const ReaderInside& inside, const Call& call, const OtherTagsPlan& plan)
{
    Question out;
    if (plan.mask)
        out.mask =
            given_mask(inside, call, plan.mask->area, plan.mask->bit, plan.mask->bytes, plan.mask->bits);
    if (!plan.password.is_zero() && !plan.words)
        refuse_value(inside, call, "a password is for words to be read: name them");
    out.password = plan.password;
    out.words = plan.words;
    if (!plan.words) return out;
    checked(inside, call, "the count of words", plan.words->count, 1, 31);
    checked(inside, call, "the first word", plan.words->first, 0, 0xFFFF);
    return out;
}

template <class Plain, class Mixed, class... Algorithm>
int send(ReaderInside& inside, const Call& call, Plain plain, Mixed mixed, const Question& question,
         const Place& place, Algorithm... algorithm)
{
    GivenMask mask = question.mask.value_or(GivenMask{});
    const u8 has_mask{question.mask.has_value()};
    const u8 is_fast{place.is_given};
    if (!question.words)
        return inside.run(call, plain, algorithm..., mask.bank, mask.bit.data(), mask.bits, mask.bytes.data(),
                          has_mask, place.antenna, place.scan_time, is_fast, nullptr, nullptr, nullptr,
                          nullptr);
    const OtherTagsPlan::Area& words = *question.words;
    std::array<u8, 2> first{static_cast<u8>(words.first >> 8U), static_cast<u8>(words.first)};
    return inside.run(call, mixed, algorithm..., mask.bank, mask.bit.data(), mask.bits, mask.bytes.data(),
                      has_mask, words.number, first.data(), static_cast<u8>(words.count),
                      const_cast<u8*>(question.password.bytes().data()), place.antenna, place.scan_time,
                      is_fast, nullptr, nullptr, nullptr, nullptr);
}

template <class Plain, class Mixed, class... Algorithm>
InventoryResult take_inventory(ReaderInside& inside, const Call& call, Plain plain, Mixed mixed,
                               const OtherTagsPlan& plan, Algorithm... algorithm)
{
    const auto start = std::chrono::steady_clock::now();
    const Question question = question_of(inside, call, plan);
    const std::vector<Port> ports = plan.antenna ? std::vector{*plan.antenna} : std::vector<Port>();
    const ScanPlan scan = scan_plan(inside, call, ports, plan.scan_time);
    const ReaderInside::Turn turn(inside);
    TagCollection tags(inside.antenna_byte(), TagCollection::Named::by_id, {});
    const ReaderInside::Listening listening(inside, tags);
    bool complete = true;
    for (const Place& place : places_of(inside, scan, false))
        complete &= scan_place(inside, call, place, tags, [&](const Place& at) {
            return send(inside, call, plain, mixed, question, at, algorithm...);
        });
    InventoryResult out = tags.take_result();
    out.complete = complete;
    out.duration = time_since(start);
    return out;
}

}  // namespace

InventoryResult inventory_6b(ReaderInside& inside, const std::optional<Condition6b>& condition)
{
    const auto start = std::chrono::steady_clock::now();
    const std::optional<Condition> wanted =
        condition ? std::optional(condition_of(inside, *condition)) : std::nullopt;
    const ReaderInside::Turn turn(inside);
    const AntennaByte kind = inside.antenna_byte();
    Answer6b answer;
    const int result = wanted ? ask_for_many(inside, *wanted, answer) : ask_for_one(inside, answer);
    if (result != TAGWIRE_OK && result != TAGWIRE_INVENTORY_DONE && result != TAGWIRE_INVENTORY_NO_TAG)
        inside.fail(call_6b, result);
    InventoryResult out = result_of(answer, inside.came(), kind);
    out.duration = time_since(start);
    return out;
}

InventoryResult inventory_gb(ReaderInside& inside, const OtherTagsPlan& plan)
{
    return take_inventory(inside, call_gb, &O::Inventory_GB, &O::InventoryMix_GB, plan);
}

InventoryResult inventory_jb(ReaderInside& inside, const OtherTagsPlan& plan)
{
    return take_inventory(inside, call_jb, &O::Inventory_JB, &O::InventoryMix_JB, plan, plan.algorithm);
}

InventoryResult Reader::inventory_6b(const std::optional<Condition6b>& condition)
{
    return tagwire::inventory_6b(*inside_, condition);
}

InventoryResult Reader::inventory_gb(const OtherTagsPlan& plan)
{
    return tagwire::inventory_gb(*inside_, plan);
}

InventoryResult Reader::inventory_jb(const OtherTagsPlan& plan)
{
    return tagwire::inventory_jb(*inside_, plan);
}

}  // namespace v1
}  // namespace tagwire
