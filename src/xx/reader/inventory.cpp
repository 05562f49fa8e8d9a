// Inventories of Gen2 tags.
#include <algorithm>
#include <array>
#include <utility>

#include "tagwire/result.h"
#include "xx/reader/scan.h"
#include "xx/reader/tag_collection.h"

namespace tagwire {
inline namespace v1 {
namespace {

constexpr Call inventory_call{
    .name = "inventory", .is_inventory = true, .family = engine::ResultFamily::inventory};
constexpr unsigned most_plain_words = 31;

// What an inventory sends besides where and how long.
struct Question {
    u8 q;
    u8 session;
    std::optional<Target> target;
    std::optional<GivenMask> mask;
    std::optional<Words> words;
};

Question question_of(const ReaderInside& inside, const InventoryPlan& plan)
{
    Question out{};
    out.q = static_cast<u8>(checked(inside, inventory_call, "q", plan.q, 0, 15));
    out.session =
        static_cast<u8>(checked(inside, inventory_call, "the session", static_cast<int>(plan.session), 0, 3));
    out.target = plan.target;
    if (plan.mask) out.mask = given_mask(inside, inventory_call, *plan.mask);
    out.words = plan.words;
    if (!plan.words) return out;
    checked(inside, inventory_call, "the count of words", plan.words->count, 1, 119);
    checked(inside, inventory_call, "the first word", plan.words->first, 0, 0xFFFF);
    return out;
}

int send(ReaderInside& inside, Question question, const Place& place)
{
    std::array<u8, 4> password{};
    GivenMask mask = question.mask.value_or(GivenMask{});
    const u8 has_mask = question.mask ? 1 : 0;
    const u8 is_fast = place.is_given || question.target ? 1 : 0;
    const auto target = static_cast<u8>(question.target.value_or(Target::a));
    const Words words = question.words.value_or(Words{});
    const auto count = static_cast<u8>(words.count);
    std::array<u8, 4> where{static_cast<u8>(words.bank), static_cast<u8>(words.first >> 8U),
                            static_cast<u8>(words.first), count};
    if (!question.words)
        return inside.run(inventory_call, &Operations::Inventory_G2, question.q, question.session, mask.bank,
                          mask.bit.data(), mask.bits, mask.bytes.data(), has_mask, u8{0}, u8{0}, u8{0},
                          target, place.antenna, place.scan_time, is_fast, nullptr, nullptr, nullptr,
                          nullptr);
    if (words.count <= most_plain_words)
        return inside.run(inventory_call, &Operations::InventoryMix_G2, question.q, question.session,
                          mask.bank, mask.bit.data(), mask.bits, mask.bytes.data(), has_mask, where[0],
                          where.data() + 1, count, password.data(), target, place.antenna, place.scan_time,
                          is_fast, nullptr, nullptr, nullptr, nullptr);
    return inside.run(inventory_call, &Operations::InventoryExtMix_G2, question.q, question.session, u8{1},
                      where.data(), mask.bank, mask.bit.data(), mask.bits, mask.bytes.data(), has_mask,
                      password.data(), target, place.antenna, place.scan_time, is_fast, nullptr, nullptr,
                      nullptr, nullptr);
}

// Inventories at each place; whether all were complete.
bool take_inventories(ReaderInside& inside, const InventoryPlan& plan, TagCollection& tags)
{
    const Question question = question_of(inside, plan);
    const ScanPlan scan = scan_plan(inside, inventory_call, plan.antennas, plan.scan_time);
    const ReaderInside::Listening listening(inside, tags);
    bool complete = true;
    for (const Place& place : places_of(inside, scan, question.target.has_value()))
        complete &= scan_place(inside, inventory_call, place, tags,
                               [&](const Place& at) { return send(inside, question, at); });
    return complete;
}

TagCollection collection_for(ReaderInside& inside, const std::optional<Words>& words)
{
    return {inside.antenna_byte(), TagCollection::Named::by_epc, words};
}

InventoryPlan round_of(const StocktakePlan& plan, Session session, Target target)
{
    InventoryPlan out{.q = plan.q, .session = session, .target = target};
    out.antennas = plan.antennas;
    out.scan_time = plan.scan_time;
    out.mask = plan.mask;
    out.words = plan.words;
    return out;
}

// Whether it brought nothing new.
bool is_quiet_round(ReaderInside& inside, const StocktakePlan& plan, TagCollection& tags)
{
    const std::size_t before = tags.size();
    for (const Session session : plan.sessions)
        for (const Target target : {Target::a, Target::b})
            take_inventories(inside, round_of(plan, session, target), tags);
    return tags.size() == before;
}

}  // namespace

InventoryResult inventory(ReaderInside& inside, const InventoryPlan& plan)
{
    const auto start = std::chrono::steady_clock::now();
    const ReaderInside::Turn turn(inside);
    question_of(inside, plan);
    TagCollection tags = collection_for(inside, plan.words);
    const bool complete = take_inventories(inside, plan, tags);
    InventoryResult out = tags.take_result();
    out.complete = complete;
    out.duration = time_since(start);
    return out;
}

InventoryResult Reader::inventory(const InventoryPlan& plan) { return tagwire::inventory(*inside_, plan); }

StocktakeResult Reader::stocktake(const StocktakePlan& plan)
{
    const auto start = std::chrono::steady_clock::now();
    const Inside::Turn turn(*inside_);
    checked(*inside_, inventory_call, "the count of sessions", static_cast<long long>(plan.sessions.size()),
            1, 4);
    TagCollection tags = collection_for(*inside_, plan.words);
    StocktakeResult out;
    unsigned quiet = 0;
    while (quiet < plan.quiet_rounds && out.rounds < plan.most_rounds) {
        quiet = is_quiet_round(*inside_, plan, tags) ? quiet + 1 : 0;
        ++out.rounds;
    }
    out.found = tags.take_result();
    out.found.complete = quiet >= plan.quiet_rounds;
    out.found.duration = time_since(start);
    return out;
}

}  // namespace v1
}  // namespace tagwire
