// Tag and reader identified to each other.
#include "tagwire/result.h"
#include "xx/tag/tag_inside.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call identify_call{
    .name = "identify a tag", .least = 17, .family = engine::ResultFamily::sensor};  // with no byte of EPC
constexpr Call begin_identification_call{
    .name = "begin an identification", .least = 4, .family = engine::ResultFamily::sensor};
constexpr Call finish_identification_call{
    .name = "finish an identification", .least = 10, .family = engine::ResultFamily::sensor};
constexpr unsigned longest_identified_epc = 15;

// Whatever the status, the operations of the two steps return 0.
void require_success(ReaderInside& inside, const Call& call)
{
    if (inside.status() != TAGWIRE_OK) inside.fail(call, inside.status());
    inside.require(call, inside.came());
}

}  // namespace

IdentifiedTag Identification::tag(const std::optional<Epc>& epc)
{
    if (epc && epc->empty()) refuse_value(*inside_, identify_call, "the EPC is empty");
    NameOnWire name = name_by(*inside_, identify_call, epc.value_or(Epc()), longest_identified_epc);
    u8 size = 0;
    u8 rssi = 0;
    std::array<u8, 256> found{};
    std::array<u8, 12> tid{};
    IdentifiedTag out;
    const ReaderInside::Turn turn(*inside_);
    const int result = inside_->run(identify_call, &O::QueryAndIdentify, name.id.data(), name.words, &size,
                                    found.data(), &rssi, out.key.data(), tid.data());
    if (result != TAGWIRE_OK) fail_at_tag(*inside_, identify_call, result, -1);
    Call whole = identify_call;
    whole.least += size;
    inside_->require(whole, inside_->came());
    if (size % 2 != 0 || size > Epc::longest)
        throw Error(Errc::bad_answer, identify_call.name, inside_->name(),
                    std::to_string(size) + " bytes are no EPC");
    out.epc = Epc(std::span<const std::uint8_t>(found.data(), size));
    out.rssi = rssi;
    out.tid = Tid(std::span<const std::uint8_t>(tid));
    return out;
}

std::array<std::uint8_t, 4> Identification::begin()
{
    std::array<u8, 4> random{};
    const ReaderInside::Turn turn(*inside_);
    const int result = inside_->run(begin_identification_call, &O::FirstIdentify, random.data());
    if (result != TAGWIRE_OK) inside_->fail(begin_identification_call, result);
    require_success(*inside_, begin_identification_call);
    return random;
}

IdentificationToken Identification::finish(const std::array<std::uint8_t, 8>& token)
{
    auto given = token;
    IdentificationToken out;
    const ReaderInside::Turn turn(*inside_);
    const int result = inside_->run(finish_identification_call, &O::SecondIdentify, given.data(),
                                    out.token.data(), out.handle.data());
    if (result != TAGWIRE_OK) inside_->fail(finish_identification_call, result);
    require_success(*inside_, finish_identification_call);
    return out;
}

}  // namespace v1
}  // namespace tagwire
