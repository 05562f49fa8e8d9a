#include "xx/values/error_details.h"

#include <utility>

namespace tagwire {
inline namespace v1 {
namespace {

class Category final : public std::error_category {
  public:
    const char* name() const noexcept override { return "tagwire"; }
    std::string message(int value) const override
    {
        switch (static_cast<Errc>(value)) {
        case Errc::no_answer: return "no answer in time";
        case Errc::bad_answer: return "the answer was damaged or incomplete";
        case Errc::refused: return "the reader refused";
        case Errc::tag_refused: return "the tag refused";
        case Errc::cannot_open: return "the link could not be opened";
        case Errc::in_use: return "the device is in use";
        case Errc::lost: return "the link is lost";
        case Errc::aborted: return "aborted";
        case Errc::invalid_text: return "the text cannot be understood";
        case Errc::invalid_value: return "a value is out of range";
        case Errc::not_connected: return "not connected";
        case Errc::no_such_feature: return "the reader does not know this";
        case Errc::file: return "a file could not be used";
        case Errc::no_tag: return "no tag answers";
        case Errc::several_tags: return "several tags answer";
        case Errc::exists_already: return "it exists already";
        case Errc::differs: return "what was read back differs";
        }
        return "unknown error";
    }
};

std::string sentence(const std::string& operation, const std::string& reader, const std::string& text)
{
    std::string out = operation;
    if (!reader.empty()) out += (out.empty() ? "" : " (") + reader + (operation.empty() ? "" : ")");
    return out.empty() ? text : out + ": " + text;
}

std::shared_ptr<const ErrorDetails> or_none(const std::shared_ptr<const ErrorDetails>& details)
{
    static const auto none = std::make_shared<const ErrorDetails>();
    return details != nullptr ? details : none;
}

}  // namespace

const std::error_category& error_category() noexcept
{
    static const Category category;
    return category;
}

Error::Error(Errc code, std::string operation, std::string reader, std::string text, Outcome outcome,
             int result, const std::shared_ptr<const ErrorDetails>& details)
    : std::system_error(make_error_code(code)), operation_(std::move(operation)), reader_(std::move(reader)),
      text_(std::move(text)), what_(sentence(operation_, reader_, text_)), outcome_(outcome), result_(result),
      details_(or_none(details))
{}

Error::~Error() = default;

int Error::tag_error() const noexcept { return details_->tag_error; }

const std::vector<MemoryRange>& Error::written() const noexcept { return details_->written; }

const std::vector<MemoryRange>& Error::not_written() const noexcept { return details_->not_written; }

const std::vector<MemoryRange>& Error::unknown_words() const noexcept { return details_->unknown; }

const std::vector<SeenTag>& Error::answered() const noexcept { return details_->answered; }

const std::vector<Read>& Error::reads() const noexcept { return details_->reads; }

}  // namespace v1
}  // namespace tagwire
