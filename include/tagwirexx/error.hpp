// What goes wrong with a reader, a tag or a text from outside. Misuse by the program itself, a name that a
// Stream does not know, say, is a std::logic_error instead.
#pragma once

#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

struct Read;
struct SeenTag;
struct ErrorDetails;

enum class Errc {
    no_answer = 1,    // nothing, or nothing whole, came in time
    bad_answer,       // what came was damaged, for another command, or shorter than it must be
    refused,          // by a status of the reader, or because of what was found: see Error::text()
    tag_refused,      // the tag answered with an error of its own
    cannot_open,      // the link could not be opened: name, address, device, permission, descriptors
    in_use,           // the serial device is another connection's
    lost,             // the link was there and is gone
    aborted,          // by Reader::abort(), or by who was told how far a reading came
    invalid_text,     // a URL, hexadecimal, setting or file that cannot be understood
    invalid_value,    // outside its range; nothing was sent
    not_connected,    // the source of a stream is not connected now
    no_such_feature,  // the reader does not know the command
    file,             // a file could not be opened, read or written
    no_tag,           // the tag that is meant does not answer
    several_tags,     // more than one tag answers, see Error::answered()
    exists_already,   // another tag has this EPC already
    differs,          // what was read back is not what was written
};

TAGWIREXX_API const std::error_category& error_category() noexcept;
inline std::error_code make_error_code(Errc value) noexcept
{
    return {static_cast<int>(value), error_category()};
}

// What became of the operation.
enum class Outcome {
    nothing,  // nothing was changed
    partial,  // a part was done, and the error knows which
    unknown,  // the request went out and no answer came: it may have been done
};

class TAGWIREXX_API Error : public std::system_error {
  public:
    // `text` says what happened and what to do next.
    Error(Errc code, std::string operation, std::string reader, std::string text,
          Outcome outcome = Outcome::nothing, int result = 0,
          const std::shared_ptr<const ErrorDetails>& details = {});
    Error(const Error&) = default;
    Error& operator=(const Error&) = default;
    ~Error() override;

    const char* what() const noexcept override { return what_.c_str(); }
    // The same without operation and reader.
    const std::string& text() const noexcept { return text_; }
    const std::string& operation() const noexcept { return operation_; }
    // The reader's URL or name; empty where none is concerned.
    const std::string& reader() const noexcept { return reader_; }
    Outcome outcome() const noexcept { return outcome_; }
    // The result or status byte behind it; 0 where there is none.
    int result() const noexcept { return result_; }
    // The tag's own code behind Errc::tag_refused, 0 to 255; otherwise -1.
    int tag_error() const noexcept;

    // What became of the words of a write, ascending. Each is in one of the three: those that hold the new data
    // count as written. All are empty where nothing was to be written.
    const std::vector<MemoryRange>& written() const noexcept;
    const std::vector<MemoryRange>& not_written() const noexcept;
    const std::vector<MemoryRange>& unknown_words() const noexcept;
    // The tags that answered where one should have, see tagwirexx/inventory.hpp.
    const std::vector<SeenTag>& answered() const noexcept;
    // What an inventory had brought before it ended so, see InventoryResult::reads.
    const std::vector<Read>& reads() const noexcept;

  private:
    std::string operation_;
    std::string reader_;
    std::string text_;
    std::string what_;
    Outcome outcome_;
    int result_;
    std::shared_ptr<const ErrorDetails> details_;  // shared by copies; never null
};

}  // namespace v1
}  // namespace tagwire

template <> struct std::is_error_code_enum<tagwire::Errc> : std::true_type {};
