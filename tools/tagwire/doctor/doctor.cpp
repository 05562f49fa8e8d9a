#include "commands/groups.h"

#include <array>
#include <chrono>

#include <fmt/format.h>

#include <tagwirexx/error.hpp>

#include "deed.h"
#include "doctor/examination.h"
#include "option.h"
#include "style.h"
#include "tag_options.h"

namespace tagwire::tool {

namespace {

struct Options {
    std::optional<Profile> expected;
    std::string region;
    bool no_inventories = false;
};

// A reader that pushes reports does so often.
constexpr std::chrono::milliseconds listening{300};

std::string without_query(const std::string& url) { return url.substr(0, url.find('?')); }

// The value of a key of a URL.
std::string key_of(const std::string& url, const std::string& key)
{
    const auto at = url.find(key + '=');
    if (at == std::string::npos) return {};
    const auto begin = at + key.size() + 1;
    return url.substr(begin, url.find('&', begin) - begin);
}

class Doctor {
  public:
    Doctor(Session& session, const Options& options)
        : session_(session), options_(options), colours_(has_colours(session.out)),
          url_(session.options.reader.url), done_(deed("doctor"))
    {
        done_.is_silent = !session.options.json;
        done_.fields["findings"] = Json::array();
        done_.fields["looked_at"] = Json::array();
    }

    int run()
    {
        bool is_whole = false;
        try {
            auto reader = open();
            const InterruptWatch::Hook hook(session_.interrupts, [&reader] { reader.abort(); });
            Examination examination(reader, "tagwire --reader " + quoted(url_),
                                    {options_.expected, options_.region, !options_.no_inventories},
                                    [this](const Finding& finding) { tell_finding(finding); });
            examination.run();
            is_whole = examination.is_whole();
        } catch (const Error& error) {
            show_failure(session_, done_, error);
            return exit_failure;
        }
        const auto count = done_.fields["findings"].size();
        done_.verdict =
            count == 0 ? "nothing found" : fmt::format("{} finding{}", count, count == 1 ? "" : "s");
        if (!is_whole) done_.verdict += ", and not all could be looked at";
        done_.fields["complete"] = is_whole;
        if (!session_.options.json) session_.out.line(done_.verdict);
        session_.verdict = done_.verdict;
        show(session_, done_);
        return count != 0 ? exit_found : is_whole ? exit_success : exit_failure;
    }

  private:
    static std::string quoted(const std::string& url)
    {
        return url.find_first_of("?&") == std::string::npos ? url : '\'' + url + '\'';
    }

    // Where nobody answers, the reader may have another address or another speed.
    Reader open()
    {
        try {
            Reader reader(url_, listening);
            session_.interrupts.arm();
            return reader;
        } catch (const Error& error) {
            if (error.code() != Errc::no_answer) throw;
            auto found = look_elsewhere();
            if (!found) throw;
            session_.interrupts.arm();
            return std::move(*found);
        }
    }

    std::optional<Reader> look_elsewhere()
    {
        const auto place = without_query(url_);
        const bool is_serial = place.starts_with("serial:/");
        const auto speed = key_of(url_, "baud");
        const auto address = key_of(url_, "address");
        if (!address.empty()) {
            if (auto reader = attempt(place + (speed.empty() ? "" : "?baud=" + speed))) {
                tell_finding(
                    {Finding::Kind::found, "address",
                     fmt::format("nobody answers at address {}, a reader does at {}", address,
                                 reader->info().address),
                     fmt::format("--address {}, or none for whoever is there", reader->info().address)});
                return reader;
            }
        }
        if (!is_serial) return std::nullopt;
        for (const char* const other : {"9600", "19200", "38400", "57600", "115200", "921600"}) {
            if (other == (speed.empty() ? "57600" : speed)) continue;
            tell(fmt::format("nobody answers; trying {} baud", other));
            if (auto reader = attempt(place + "?baud=" + other)) {
                tell_finding({Finding::Kind::found, "speed",
                              fmt::format("nobody answers at {} baud, a reader does at {}",
                                          speed.empty() ? "57600" : speed, other),
                              fmt::format("--reader '{}'", url_)});
                return reader;
            }
        }
        return std::nullopt;
    }

    std::optional<Reader> attempt(const std::string& url)
    {
        if (session_.interrupts.interrupted()) return std::nullopt;
        try {
            Reader reader(url);
            url_ = url;
            return reader;
        } catch (const Error& error) {
            if (error.code() != Errc::no_answer) throw;
            return std::nullopt;
        }
    }

    void tell_finding(const Finding& finding)
    {
        const bool is_found = finding.kind == Finding::Kind::found;
        Json object{{"check", finding.check}, {"text", finding.text}};
        if (is_found) object["mend"] = finding.mend;
        done_.fields[is_found ? "findings" : "looked_at"].push_back(object);
        if (session_.options.json) return;
        constexpr std::array marks{"ok", "--", "FOUND"};
        constexpr std::array styles{Style::good, Style::plain, Style::bad};
        const auto kind = static_cast<std::size_t>(finding.kind);
        const auto mark = fmt::format("{:<5}", marks[kind]);
        session_.out.line(fmt::format("{}  {:<13}  {}", colours_ ? styled(mark, styles[kind]) : mark,
                                      finding.check, finding.text));
        if (is_found) session_.out.line(fmt::format("{:22}mend: {}", "", finding.mend));
        session_.out.flush();
    }

    Session& session_;
    const Options& options_;
    bool colours_;
    std::string url_;
    Deed done_;
};

void add_options(CLI::App& command, Options& options)
{
    option(
        command, "--expect", options.expected,
        [](const std::string& path, const std::string&) { return Profile::load(path); },
        "settings that the reader should have, as 'tagwire config save' writes them", "FILE");
    option(
        command, "--region", options.region,
        [](const std::string& text, const std::string& name) {
            if (find_band(text) == nullptr)
                throw UsageError(fmt::format("{} '{}' is unknown: use us, eu, cn, kr or wide", name, text));
            return text;
        },
        "region that the reader should have: us, eu, cn, kr or wide", "NAME");
    command.add_flag("--no-inventories", options.no_inventories, "leave tags and their flags alone");
    command.footer(
        R"(Looks for what keeps tags from being read: the reader's mode, region, power, antennas (by their return
loss) and filters, the flags of the tags in front of it, and how good the link is. Where nobody answers, other
addresses and the other speeds of a serial line are tried. No setting is changed; test inventories leave the flags
of all tags that answer at A.

Exit codes: 0 nothing found, 1 the reader cannot be examined, 3 something was found.

Examples:
  tagwire doctor --reader tcp://192.0.2.10:6000
  tagwire doctor --region eu --json
  tagwire doctor --readers gates.toml --expect golden.toml)");
}

Work plan(const Options& options)
{
    return [options](Session& session) { return Doctor(session, options).run(); };
}

}  // namespace

void add_doctor_commands(Application& application)
{
    auto& command = add_command_with<Options>(application, nullptr, "doctor",
                                              "Find out why tags are not read.", add_options, plan);
    application.set_readers(command, Readers::each);
}

}  // namespace tagwire::tool
