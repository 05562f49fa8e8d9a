#include "commands/groups.h"
#include "errors.h"
#include "firmware_link.h"
#include "firmware_update.h"
#include "format.h"
#include "parse.h"
#include "progress.h"
#include "reader_information.h"
#include "table_view.h"
#include "tag_options.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

using std::chrono::milliseconds;

// Far more than any reader has room for.
constexpr std::size_t longest_image = std::size_t{64} * 1024 * 1024;

struct UpdateArguments {
    std::string file;
    std::string block = "250";
    std::string first_number = "0";
    std::string wrap_to = "0";
    std::string retries = "3";
    std::string boot_limit = "30";
    bool low_byte_first = false;
    bool dry_run = false;
    bool yes = false;
};

struct UpdateJob {
    std::string file;
    Bytes image;
    UpdatePlan plan;
    bool dry_run = false;
};

Bytes read_image(const std::string& path)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) throw UsageError(fmt::format("'{}' cannot be read: {}", path, std::strerror(errno)));
    Bytes image;
    Bytes chunk(std::size_t{64} * 1024);
    while (const auto count = std::fread(chunk.data(), 1, chunk.size(), file.get())) {
        image.insert(image.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(count));
        if (image.size() > longest_image)
            throw UsageError(fmt::format("'{}' is longer than 64 MiB: that is no program of a reader", path));
    }
    if (std::ferror(file.get()) != 0)
        throw UsageError(fmt::format("'{}' cannot be read: {}", path, std::strerror(errno)));
    if (image.empty()) throw UsageError(fmt::format("'{}' is empty: that is no program of a reader", path));
    return image;
}

UpdateJob job_from(const UpdateArguments& arguments)
{
    UpdateJob job;
    job.file = arguments.file;
    job.plan.block = parse_number(arguments.block, "--block-size", 1, longest_block);
    job.plan.first_number =
        static_cast<std::uint8_t>(parse_number(arguments.first_number, "--first-number", 0, 255));
    job.plan.wrap_to = static_cast<std::uint8_t>(parse_number(arguments.wrap_to, "--wrap-to", 0, 255));
    job.plan.retries = parse_number(arguments.retries, "--retries", 0, 100);
    job.plan.boot_limit = std::chrono::seconds(parse_number(arguments.boot_limit, "--wait", 1, 3600));
    job.plan.low_byte_first = arguments.low_byte_first;
    job.dry_run = arguments.dry_run;
    job.image = read_image(arguments.file);
    return job;
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

    void show_plan(const std::string& place, const FirmwareVersion& version)
    {
        const auto blocks = job_.plan.blocks(job_.image.size());
        const auto checksum = fmt::format("{:08X}", crc32(job_.image));
        if (!json_) {
            tell(fmt::format("{}: {} bytes, CRC-32 {}, {} blocks; the reader {} runs version {}", job_.file,
                             job_.image.size(), checksum, blocks, place, version_text(version)));
            return;
        }
        auto object = event("start");
        object["file"] = job_.file;
        object["bytes"] = job_.image.size();
        object["blocks"] = blocks;
        object["crc32"] = checksum;
        object["version"] = version_text(version);
        show(object);
    }

    void show_progress(const UpdateProgress& progress)
    {
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

    void show_lost(const LostAnswer& lost)
    {
        if (!json_) return;
        auto object = event("lost");
        object["block"] = lost.block;
        object["code"] = lost.code;
        object["arrived"] = lost.arrived;
        show(object);
    }

    void show_end(const UpdateReport& report, const std::string& place)
    {
        if (std::exchange(bar_shown_, false)) tell("");
        if (json_) show(end_json(report, place));
        if (!report.is_success()) {
            complain(problem_text(report, place));
            tell(advice_text(report));
        } else if (output_failed_) {
            tell(success_text(report, place));
        } else if (!json_) {
            session_.out.line(success_text(report, place));
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

    static std::string success_text(const UpdateReport& report, const std::string& place)
    {
        const auto version = report.version.value_or(report.old_version);
        if (version == report.old_version)
            return fmt::format("the reader {} runs its new program; its version is still {}", place,
                               version_text(version));
        return fmt::format("the reader {} runs version {} now; it was {}", place, version_text(version),
                           version_text(report.old_version));
    }

    static Json end_json(const UpdateReport& report, const std::string& place)
    {
        auto object = event("end");
        object["outcome"] = end_name(report.end);
        object["reader_state"] = state_name(report.state);
        object["blocks_done"] = report.blocks_done;
        object["lost_answers"] = report.lost_answers;
        object["old_version"] = version_text(report.old_version);
        if (report.version) object["version"] = version_text(*report.version);
        if (report.found_checksum) object["reader_crc32"] = fmt::format("{:08X}", *report.found_checksum);
        if (report.is_success()) return object;
        object["error"] = problem_text(report, place);
        object["advice"] = advice_text(report);
        if (report.code != 0) object["code"] = report.code;
        return object;
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

// A signal ends the wait.
void wait_for(const InterruptWatch& interrupts, milliseconds time)
{
    pollfd signal{interrupts.fd(), POLLIN, 0};
    poll(&signal, 1, static_cast<int>(time.count()));
}

UpdateWatcher watch_with(UpdateView& view, const InterruptWatch& interrupts)
{
    UpdateWatcher watcher;
    watcher.interrupted = [&interrupts] { return interrupts.interrupted(); };
    watcher.progress = [&view](const UpdateProgress& progress) { view.show_progress(progress); };
    watcher.lost = [&view](const LostAnswer& lost) { view.show_lost(lost); };
    return watcher;
}

int update(Session& session, const UpdateJob& job)
{
    auto reader = connect(session);
    const auto place = reader->url().place();
    UpdateView view(session, job);
    view.show_plan(place, read_information(*reader).version);
    if (job.dry_run) {
        reader->require_success(reader->close(), Operation::Close);
        tell("dry run: nothing was changed");
        return exit_success;
    }
    ConnectedUpdateLink link(std::move(reader),
                             [&session](milliseconds time) { wait_for(session.interrupts, time); });
    const auto report = update_firmware(link, job.image, job.plan, watch_with(view, session.interrupts));
    view.show_end(report, place);
    return report.is_success() && !view.output_failed() ? exit_success : exit_failure;
}

Work plan_update(const UpdateArguments& arguments)
{
    auto job = job_from(arguments);
    if (!job.dry_run) {
        confirm(
            fmt::format("replace the program of the reader with '{}' ({} bytes)", job.file, job.image.size()),
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

}  // namespace

void add_firmware_commands(Application& application)
{
    auto& group = application.add_group("firmware", "The reader's own program.");
    add_command_with<UpdateArguments>(application, &group, "update", "Replace the reader's program.",
                                      add_update_options, plan_update);
}

}  // namespace tagwire::tool
