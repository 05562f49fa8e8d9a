#include "commands/groups.h"
#include "errors.h"
#include "format.h"
#include "open_reader.h"
#include "parse.h"
#include "progress.h"
#include "live_screen.h"
#include "tag_options.h"

#include <cstdio>
#include <stop_token>
#include <utility>

#include <unistd.h>

#include <fmt/format.h>

#include <tagwirexx/error.hpp>
#include <tagwirexx/firmware.hpp>

namespace tagwire::tool {

namespace {

using std::chrono::milliseconds;

struct UpdateArguments {
    std::string file;
    std::string block = "250";
    std::string first_number = "0";
    std::string wrap_to = "0";
    std::string retries = "3";
    std::string boot_limit = "30";
    bool low_byte_first = false;
    bool without_checksum = false;
    bool dry_run = false;
    bool yes = false;
};

struct UpdateJob {
    std::string file;
    Bytes image;
    FirmwareImage facts;
    UpdateOptions options;
    bool dry_run = false;
};

Bytes read_image(const std::string& path)
{
    try {
        Bytes image = load_file(path);
        if (!image.empty()) return image;
    } catch (const Error& error) {
        throw UsageError(error.text());
    }
    throw UsageError(fmt::format("'{}' is empty: that is no program of a reader", path));
}

UpdateJob job_from(const UpdateArguments& arguments)
{
    UpdateJob job;
    job.file = arguments.file;
    UpdateOptions& options = job.options;
    options.block = parse_number(arguments.block, "--block-size", 1, 250);
    options.first_number = parse_number(arguments.first_number, "--first-number", 0, 255);
    options.wrap_to = parse_number(arguments.wrap_to, "--wrap-to", 0, 255);
    options.retries = parse_number(arguments.retries, "--retries", 0, 100);
    options.boot_limit = std::chrono::seconds(parse_number(arguments.boot_limit, "--wait", 1, 3600));
    options.low_byte_first = arguments.low_byte_first;
    options.without_checksum = arguments.without_checksum;
    options.with_doubts = true;  // which are told before it is asked for
    job.dry_run = arguments.dry_run;
    job.image = read_image(arguments.file);
    job.facts = examine_firmware(job.image);
    return job;
}

// How to go on: where options of this command have to do with it, with their names.
std::string hint(const UpdateReport& report)
{
    switch (report.end) {
    case UpdateEnd::not_back:
        return "wait, or switch the reader off and on, then see tagwire info for its version";
    case UpdateEnd::mark_unanswered:
        return "see tagwire info for its version; to run the same command again is safe either way";
    case UpdateEnd::mark_lost:
    case UpdateEnd::block_lost:
    case UpdateEnd::link_lost:
        return "check power and cable, then run the same command again: it starts over";
    case UpdateEnd::checksum_differs:
        return "run the same command again: it starts over. If the numbers always differ in the same way, "
               "see the reader's manual for --block-size, --first-number and --low-byte-first";
    case UpdateEnd::block_refused:
        return "see the reader's manual for --block-size, --first-number and --wrap-to, then run the command "
               "again: it starts over";
    case UpdateEnd::left_update_mode:
        return "check its power supply, then run the same command again: it starts over";
    case UpdateEnd::stopped: return "to update it after all, run the same command again: it starts over";
    case UpdateEnd::no_checksum:
        return "to update it without a comparison use --without-checksum, to go back tagwire firmware cancel";
    default: return report.hint();
    }
}

std::string version_text(const std::optional<Version>& version)
{
    return version ? fmt::format("{}.{}", version->major, version->minor) : "unknown";
}

Json event(const char* name)
{
    Json object;
    object["type"] = "firmware-update";
    object["event"] = name;
    return object;
}

// Shows an update as it goes on: a bar on a terminal, lines elsewhere, objects for programs.
class UpdateView {
  public:
    UpdateView(Session& session, const UpdateJob& job)
        : session_(session), job_(job), json_(session.options.json),
          live_(!json_ && isatty(STDERR_FILENO) != 0), pace_(make_pace(live_))
    {}

    void show_plan(const std::string& place, const std::optional<Version>& version)
    {
        const auto blocks = (job_.image.size() + job_.options.block - 1) / job_.options.block;
        const auto checksum = fmt::format("{:08X}", job_.facts.crc32);
        if (!json_) {
            for (const auto& doubt : job_.facts.doubts) tell(fmt::format("{}: {}", job_.file, doubt));
            tell(fmt::format("{}: {} bytes, CRC-32 {}, {} blocks; the reader {} {}", job_.file,
                             job_.image.size(), checksum, blocks, place,
                             version ? fmt::format("runs version {}", version_text(version))
                                     : "is in its update mode"));
            return;
        }
        auto object = event("start");
        object["file"] = job_.file;
        object["bytes"] = job_.image.size();
        object["blocks"] = blocks;
        object["crc32"] = checksum;
        if (version) object["version"] = version_text(version);
        show(object);
    }

    void show_progress(const Progress& progress)
    {
        if (progress.lost) return show_lost(*progress.lost);
        if (progress.bytes == 0) return;
        const auto now = ProgressPace::Clock::now();
        const TransferStatus status{progress.bytes, progress.total, now - start_};
        if (!pace_.is_due(status, now)) return;
        if (json_) {
            auto object = event("progress");
            object["bytes"] = status.done;
            object["total"] = status.total;
            object["bytes_per_second"] = static_cast<std::uint64_t>(status.bytes_per_second());
            show(object);
        } else if (live_) {
            bar_shown_ = true;
            const auto columns = terminal_size(STDERR_FILENO).columns;
            const auto bar = progress_bar(status, columns > 0 ? columns - 1 : 0);
            std::fprintf(stderr, "\r%s\x1b[K", bar.c_str());
        } else {
            tell(progress_text(status));
        }
    }

    void show_end(const UpdateReport& report)
    {
        if (std::exchange(bar_shown_, false)) tell("");
        if (json_) show(end_json(report));
        if (!report.success()) {
            complain(report.what());
            tell(advice(report));
        } else if (output_failed_) {
            tell(report.what());
        } else if (!json_) {
            session_.out.line(report.what());
            session_.out.flush();
            if (report.lost_answers != 0) tell(fmt::format("answers lost: {}", report.lost_answers));
        }
    }

    bool output_failed() const { return output_failed_; }

  private:
    static ProgressPace make_pace(bool live)
    {
        return live ? ProgressPace(100, milliseconds(200)) : ProgressPace(10, milliseconds(10'000));
    }

    static std::string advice(const UpdateReport& report)
    {
        return fmt::format("{}; {}", report.left_as(), hint(report));
    }

    static Json end_json(const UpdateReport& report)
    {
        auto object = event("end");
        object["outcome"] = report.end == UpdateEnd::stopped ? "interrupted" : to_string(report.end);
        object["reader_state"] = to_string(report.state);
        object["blocks_done"] = report.blocks_done;
        object["lost_answers"] = report.lost_answers;
        if (report.old_version) object["old_version"] = version_text(report.old_version);
        if (report.version) object["version"] = version_text(report.version);
        if (report.found_checksum) object["reader_crc32"] = fmt::format("{:08X}", *report.found_checksum);
        if (report.success()) return object;
        object["error"] = report.what();
        object["advice"] = advice(report);
        if (report.result != 0) object["code"] = report.result;
        return object;
    }

    void show_lost(const LostBlock& lost)
    {
        if (!json_) return;
        auto object = event("lost");
        object["block"] = lost.block;
        object["code"] = lost.result;
        object["arrived"] = lost.arrived;
        show(object);
    }

    // The update goes on when nobody can be told of it.
    void show(const Json& object)
    {
        if (output_failed_) return;
        try {
            session_.out.line(json_line(object));
            session_.out.flush();
        } catch (const Failure& failure) {
            output_failed_ = true;
            complain(failure.what());
        }
    }

    Session& session_;
    const UpdateJob& job_;
    bool json_;
    bool live_;
    bool bar_shown_ = false;
    bool output_failed_ = false;
    ProgressPace pace_;
    ProgressPace::Clock::time_point start_ = ProgressPace::Clock::now();
};

std::optional<Version> version_of(Reader& reader)
{
    try {
        return reader.info().firmware;
    } catch (const Error& error) {
        if (error.code() != Errc::no_answer || !reader.is_in_update_mode()) throw;
    }
    return std::nullopt;
}

int update(Session& session, const UpdateJob& job)
{
    auto reader = open_reader_in_any_mode(session);
    const auto place = place_of(reader);
    UpdateView view(session, job);
    view.show_plan(place, version_of(reader));
    if (job.dry_run) {
        tell("dry run: nothing was changed");
        return exit_success;
    }
    std::stop_source stop;
    const InterruptWatch::Hook hook(session.interrupts, [&stop] { stop.request_stop(); });
    auto report = reader.update_firmware(
        job.image, [&view](const Progress& progress) { view.show_progress(progress); }, stop.get_token(),
        job.options);
    report.reader = place;
    view.show_end(report);
    return report.success() && !view.output_failed() ? exit_success : exit_failure;
}

Work plan_update(const UpdateArguments& arguments)
{
    auto job = job_from(arguments);
    if (!job.dry_run) {
        std::string facts = fmt::format("{} bytes", job.image.size());
        for (const auto& doubt : job.facts.doubts) facts += ", " + doubt;
        confirm(fmt::format("replace the program of the reader with '{}' ({})", job.file, facts),
                arguments.yes);
    }
    return [job = std::move(job)](Session& session) { return update(session, job); };
}

void add_update_options(CLI::App& command, UpdateArguments& arguments)
{
    const auto add_number = [&command](const char* name, std::string& value, const char* description) {
        command.add_option(name, value, description)->type_name("N")->capture_default_str();
    };
    command.add_option("FILE", arguments.file, "the program, as its maker delivers it")->required();
    add_number("--block-size", arguments.block, "bytes of a block, 1 to 250");
    add_number("--first-number", arguments.first_number, "number of the first block, 0 to 255");
    add_number("--wrap-to", arguments.wrap_to, "number of the block behind number 255, 0 to 255");
    add_number("--retries", arguments.retries,
               "how often a block, or a question, is repeated when it is lost, 0 to 100");
    add_number("--wait", arguments.boot_limit,
               "seconds to wait for the reader once the new program is marked, 1 to 3600");
    command.add_flag("--low-byte-first", arguments.low_byte_first,
                     "the reader tells its CRC-32 with the low byte first");
    command.add_flag("--without-checksum", arguments.without_checksum,
                     "a reader that tells no CRC-32, too: nothing is compared before the mark");
    command.add_flag("--dry-run", arguments.dry_run, "show what would be sent, and change nothing");
    add_yes_option(command, arguments.yes);
    command.footer(
        R"(The reader runs its old program until all blocks have arrived, their CRC-32 is that of the file,
and the new program is marked. Before the mark, Ctrl-C, a lost link and a loss of power leave the old
program as it is; the same command starts over. Do not switch the reader off while it is being marked.

Examples:
  tagwire firmware update reader-2.4.bin
  tagwire firmware update reader-2.4.bin --block-size 128 --first-number 1 --yes
  tagwire firmware update reader-2.4.bin --yes --json)");
}

struct CancelArguments {};

Work plan_cancel(const CancelArguments&)
{
    return [](Session& session) {
        auto reader = open_reader_in_any_mode(session);
        const InterruptWatch::Hook hook(session.interrupts, [&reader] { reader.abort(); });
        reader.leave_update_mode();
        const auto text = fmt::format("the reader {} is not in its update mode", place_of(reader));
        if (session.options.json) {
            session.out.line(json_line(event("cancel")));
        } else {
            session.out.line(text);
        }
        return exit_success;
    };
}

}  // namespace

void add_firmware_commands(Application& application)
{
    auto& group = application.add_group("firmware", "The reader's own program.");
    add_command_with<UpdateArguments>(application, &group, "update", "Replace the reader's program.",
                                      add_update_options, plan_update);
    add_command_with<CancelArguments>(
        application, &group, "cancel", "Have a reader leave its update mode: its old program runs on.",
        [](CLI::App&, CancelArguments&) {}, plan_cancel);
}

}  // namespace tagwire::tool
