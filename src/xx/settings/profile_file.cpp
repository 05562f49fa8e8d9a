// Profiles in files.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <toml++/toml.h>

#include "xx/link/descriptors.h"
#include "xx/settings/profile_inside.h"
#include "xx/settings/wipe.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

using rows::Row;

// -- what is read

struct Section {
    std::string_view name;
    std::optional<SettingKind> kind;  // none: of all kinds, as the sections of older files
};
constexpr Section known_sections[] = {{"settings", SettingKind::ordinary},
                                      {"identity", SettingKind::identity},
                                      {"secrets", SettingKind::secret},
                                      {"calibration", SettingKind::calibration},
                                      {"reader", {}},
                                      {"inventory", {}},
                                      {"radio", {}},
                                      {"reports", {}},
                                      {"outputs", {}},
                                      {"parameters", {}},
                                      {"connection", {}}};

class Loading {
  public:
    explicit Loading(std::string name) : name_(std::move(name)) {}

    Profile profile_of(std::string_view text)
    {
        try {
            toml::table table = toml::parse(text, name_);
            for (const auto& [key, node] : table) take_section(key.str(), node);
            wipe_texts(table);
        } catch (const toml::parse_error& error) {
            refuse(error.source().begin.line, std::string(error.description()));
        }
        ProfileInside::set_reader(profile_, type_, firmware_);
        return std::move(profile_);
    }

  private:
    [[noreturn]] void refuse(toml::source_index line, const std::string& problem) const
    {
        throw Error(Errc::invalid_text, name_ + ':' + std::to_string(line), {}, problem);
    }
    [[noreturn]] void refuse(const toml::node& node, const std::string& problem) const
    {
        refuse(node.source().begin.line, problem);
    }

    static void wipe_texts(toml::node& node)
    {
        if (toml::table* const table = node.as_table())
            for (auto&& [key, inner] : *table) wipe_texts(inner);
        if (auto* const text = node.as_string()) rows::wipe(text->get());
    }

    void take_section(std::string_view key, const toml::node& node)
    {
        const bool is_of_older_file = key == "family" || key == "two-way";  // told by options now
        if (is_of_older_file && !node.is_table()) return;
        const auto* const section = std::find_if(std::begin(known_sections), std::end(known_sections),
                                                 [=](const Section& known) { return known.name == key; });
        const toml::table* const table = node.as_table();
        if (section == std::end(known_sections) || table == nullptr)
            refuse(node, "'" + std::string(key) +
                             "' is no section: there are [reader], [settings], [identity], "
                             "[secrets] and [calibration]");
        for (const auto& [name, value] : *table) take_line(*section, name.str(), value);
    }

    void take_line(const Section& section, std::string_view name, const toml::node& node)
    {
        if (section.name == "reader" && (name == "type" || name == "firmware"))
            return take_reader(name, node);
        if (section.name == "reader" && name == "no-answer") return take_silent(node);
        const Row* row = nullptr;
        try {
            row = &rows::require_row(name);
            std::string text = text_of(name, node);
            const rows::WipedAtEnd wiping(text);
            if (node.is_integer() && row->format.shape == rows::Format::Shape::hex)
                refuse(node,
                       "'" + std::string(name) + "' is bytes as hexadecimal digits: put them in quotes");
            if (profile_.find(name) != nullptr) refuse(node, "'" + std::string(name) + "' stands twice");
            if (section.kind && *section.kind != row->kind)
                refuse(node, "'" + std::string(name) + "' belongs to another section");
            profile_.set(name, text);
        } catch (const Error& error) {
            if (error.operation().starts_with(name_)) throw;
            refuse(node, error.what());
        }
    }

    void take_reader(std::string_view name, const toml::node& node)
    {
        const std::string text = text_of(name, node);
        const auto number = rows::number_in(text);
        if (name == "type") {
            if (!number || *number > 0xFF) refuse(node, "the type is a number from 0 to 255");
            type_ = static_cast<int>(*number);
            return;
        }
        const auto point = text.find('.');
        const auto major = rows::number_in(text.substr(0, point));
        const auto minor = rows::number_in(point == std::string::npos ? "" : text.substr(point + 1));
        if (!major || !minor || *major > 0xFF || *minor > 0xFF)
            refuse(node, "the firmware is two numbers like \"1.24\"");
        firmware_ = Version{static_cast<u8>(*major), static_cast<u8>(*minor)};
    }

    // So that it is not taken for complete.
    void take_silent(const toml::node& node)
    {
        const toml::array* const names = node.as_array();
        if (names == nullptr) refuse(node, "'no-answer' must be names in brackets");
        for (const toml::node& name : *names) {
            const auto text = text_of("no-answer", name);
            if (rows::find_row(text) == nullptr) refuse(name, "there is no setting '" + text + "'");
            ProfileInside::add_silent(profile_,
                                      {text, "the reader did not answer when the profile was taken"});
        }
    }

    std::string text_of(std::string_view name, const toml::node& node) const
    {
        if (const auto* const number = node.as_integer()) return std::to_string(number->get());
        if (const auto* const text = node.as_string()) return text->get();
        refuse(node, "'" + std::string(name) + "' must be a number or a text in quotes");
    }

    std::string name_;
    Profile profile_;
    std::optional<int> type_;
    std::optional<Version> firmware_;
};

[[noreturn]] void refuse_file(const std::string& path, const char* what, int error)
{
    throw Error(Errc::file, what, {}, "'" + path + "': " + std::strerror(error));
}

std::string text_of_file(const std::string& path)
{
    constexpr std::size_t most_bytes = 1U << 20U;
    constexpr const char* what = "load a profile";
    const Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (fd.get() < 0) refuse_file(path, what, errno);
    std::string text(most_bytes + 1, '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        const ssize_t count = ::read(fd.get(), text.data() + size, text.size() - size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) refuse_file(path, what, errno);
        if (count == 0) break;
        size += static_cast<std::size_t>(count);
    }
    if (size > most_bytes) refuse_file(path, what, EFBIG);
    text.resize(size);
    return text;
}

// -- what is written

constexpr const char* save_what = "save a profile";

// The file that a link leads to, if it is there.
std::string target_of(const std::string& path)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) refuse_file(path, save_what, errno);
        return path;
    }
    if (S_ISDIR(status.st_mode)) refuse_file(path, save_what, EISDIR);
    if (!S_ISREG(status.st_mode))
        throw Error(Errc::file, save_what, {}, "'" + path + "' is there and is no file");
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
    if (real == nullptr) refuse_file(path, save_what, errno);
    return real.get();
}

bool write_all(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = ::write(fd, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return ::fsync(fd) == 0;
}

// The file beside the target that becomes it, or is taken away again.
class Draft {
  public:
    explicit Draft(const std::string& path)
        : target_(target_of(path)), path_(target_ + ".XXXXXX"), fd_(::mkostemp(path_.data(), O_CLOEXEC))
    {
        if (fd_.get() < 0) refuse_file(path, save_what, errno);  // mode 0600
    }
    ~Draft()
    {
        if (!is_kept_) ::unlink(path_.c_str());
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    const std::string& target() const { return target_; }
    bool keep(std::string_view text)
    {
        is_kept_ = write_all(fd_.get(), text) && std::rename(path_.c_str(), target_.c_str()) == 0;
        return is_kept_;
    }

  private:
    std::string target_;
    std::string path_;
    Descriptor fd_;
    bool is_kept_ = false;
};

// So that the new name outlives a loss of power.
void sync_folder(const std::string& path)
{
    const auto slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const Descriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() >= 0) ::fsync(fd.get());
}

}  // namespace

Profile Profile::load(const std::string& path)
{
    std::string text = text_of_file(path);
    const rows::WipedAtEnd wiping(text);
    return parse(text, path);
}

Profile Profile::parse(std::string_view text, const std::string& name)
{
    return Loading(name).profile_of(text);
}

void Profile::save(const std::string& path) const
{
    Draft draft(path);
    std::string text = to_string();
    const rows::WipedAtEnd wiping(text);
    if (!draft.keep(text)) refuse_file(path, save_what, errno);
    sync_folder(draft.target());
}

void Profile::require_writable(const std::string& path) { const Draft draft(path); }

}  // namespace v1
}  // namespace tagwire
