#include "xx/tag/find_tag.h"

#include <algorithm>
#include <sstream>

#include "xx/reader/scan.h"
#include "xx/values/error_details.h"

namespace tagwire {
inline namespace v1 {
namespace {

constexpr const char* find_name = "find the tag";

std::vector<SeenTag> take_inventory(ReaderInside& reader, const std::optional<Mask>& mask, unsigned tid_words)
{
    InventoryPlan plan;
    plan.mask = mask;
    if (tid_words != 0) plan.words = Words{Bank::tid, 0, tid_words};
    const InventoryResult found = inventory(reader, plan);
    if (!found.complete)
        throw Error(Errc::refused, find_name, reader.name(),
                    "the scan time was over before it was sure that no other tag answers: give the reader a "
                    "longer one");
    if (found.bad_records != 0)
        throw Error(Errc::bad_answer, find_name, reader.name(),
                    "a tag's record was damaged, so that it is not sure which tags answer: try again");
    return found.tags();
}

bool has_tid(const SeenTag& tag) { return tag.tid.has_value(); }

bool has_one_epc(const std::vector<SeenTag>& tags)
{
    return std::all_of(tags.begin(), tags.end(), [&](const SeenTag& t) { return t.epc == tags[0].epc; });
}

bool has_one_tid(const std::vector<SeenTag>& tags)
{
    return std::all_of(tags.begin(), tags.end(),
                       [&](const SeenTag& t) { return t.tid && t.tid == tags[0].tid; });
}

std::string list_of(const std::vector<SeenTag>& tags)
{
    constexpr std::size_t most = 10;
    std::ostringstream out;
    for (std::size_t i = 0; i < std::min(tags.size(), most); ++i) {
        const SeenTag& tag = tags[i];
        out << (i == 0 ? "" : ", ");
        tag.id ? out << *tag.id : out << tag.epc;
        if (tag.tid) out << " (TID " << *tag.tid << ')';
    }
    if (tags.size() > most) out << " and " << tags.size() - most << " more";
    return out.str();
}

// Not every reader reads words in an inventory. TIDs have 6 words as a rule, 4 or more where they have a serial
// number; they are cut to 4 only where none has 6, as cut ones may be alike. A reading may come without one: of
// a tag that has none, or of one that is far away. Where the readings of an EPC are not alike it is looked again.
template <class Fits>
std::vector<SeenTag> find_tags(ReaderInside& reader, const std::optional<Mask>& mask, Fits fits)
{
    constexpr int most_looks = 4;
    const ReaderInside::Turn turn(reader);
    std::vector<SeenTag> tags;
    unsigned words = 6;
    for (int i = 0; i < most_looks; ++i) {
        try {
            tags = take_inventory(reader, mask, words);
        } catch (const Error& error) {
            if (error.code() != Errc::no_such_feature) throw;
            tags = take_inventory(reader, mask, 0);
            i = most_looks;
        }
        std::erase_if(tags, [&](const SeenTag& tag) { return !fits(tag); });
        const auto with_tid = std::count_if(tags.begin(), tags.end(), has_tid);
        if (static_cast<std::size_t>(with_tid) == tags.size() || !has_one_epc(tags)) break;
        if (with_tid == 0 && words == 4) break;
        if (with_tid == 0 && i == 0) words = 4;
    }
    return tags;
}

}  // namespace

bool begin_alike(const Tid& a, const Tid& b)
{
    const std::size_t bytes = std::min(a.size(), b.size());
    return std::equal(a.bytes().begin(), a.bytes().begin() + static_cast<std::ptrdiff_t>(bytes),
                      b.bytes().begin());
}

Mask mask_of(const Epc& epc)
{
    constexpr unsigned epc_begins_at = 32;
    constexpr std::size_t most_bytes = 30;  // of 255 bits, in whole words
    const auto bytes = epc.bytes().first(std::min(epc.size(), most_bytes));
    return {Bank::epc, epc_begins_at, Bytes(bytes.begin(), bytes.end())};
}

Mask mask_of(const Tid& tid) { return {Bank::tid, 0, Bytes(tid.bytes().begin(), tid.bytes().end())}; }

std::vector<SeenTag> find_tags(ReaderInside& reader, const std::optional<Mask>& mask)
{
    return find_tags(reader, mask, [](const SeenTag&) { return true; });
}

std::vector<SeenTag> find_tags(ReaderInside& reader, const Epc& epc)
{
    return find_tags(reader, mask_of(epc), [&](const SeenTag& tag) { return tag.epc == epc; });
}

SeenTag only_one(const ReaderInside& reader, const std::vector<SeenTag>& tags, const std::string& name)
{
    if (tags.size() == 1) return tags[0];
    if (tags.empty())
        throw Error(Errc::no_tag, find_name, reader.name(),
                    "no tag answers to " + name +
                        ": is it close to an antenna that is enabled, its name right, and no filter left in "
                        "the reader?");
    auto details = std::make_shared<ErrorDetails>();
    details->answered = tags;
    const bool may_be_one = has_one_epc(tags) && !std::all_of(tags.begin(), tags.end(), has_tid);
    const char* const advice =
        may_be_one          ? "or it is one, too far away for its TID to be read each time: bring it closer"
        : has_one_tid(tags) ? "they have one TID: leave only one in the field, or name it by its EPC"
                            : "name one of them, or leave only one in the field";
    throw Error(Errc::several_tags, find_name, reader.name(),
                std::to_string(tags.size()) + " tags answer to " + name + ": " + list_of(tags) + ": " +
                    advice,
                Outcome::nothing, 0, details);
}

}  // namespace v1
}  // namespace tagwire
