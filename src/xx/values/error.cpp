#include <tagwirexx/error.hpp>

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

}  // namespace

const std::error_category& error_category() noexcept
{
    static const Category category;
    return category;
}

Error::Error(Errc code, std::string operation, std::string reader, const std::string& text, Outcome outcome,
             int result)
    : std::system_error(make_error_code(code)), operation_(std::move(operation)), reader_(std::move(reader)),
      what_(sentence(operation_, reader_, text)), outcome_(outcome), result_(result)
{}

Error::~Error() = default;

}  // namespace v1
}  // namespace tagwire
