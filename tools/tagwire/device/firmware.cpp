#include <cstdio>
#include <stop_token>
#include <utility>

#include <unistd.h>

#include <fmt/format.h>

#include "commands/groups.h"
#include "data_file.h"
#include "device/progress.h"
#include "live_screen.h"
#include "open_reader.h"
#include "option.h"
#include "rows.h"
#include "tag_options.h"

namespace tagwire::tool {

namespace {

using std::chrono::milliseconds;

struct Update {
    std::string file;
    UpdateOptions options;
    bool with_doubts = false;
    bool dry_run = false;
    bool yes = false;
    Bytes image = {};
    FirmwareImage facts = {};
};

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
               "again: it starts over. To go back use tagwire firmware cancel";
    case UpdateEnd::left_update_mode:
        return "check its power supply, then run the same command again: it starts over";
    case UpdateEnd::stopped:
        return "to update it after all, run the same command again: it starts over; to go back use tagwire "
               "firmware cancel";
    case UpdateEnd::no_checksum:
        return "to update it without a comparison use --without-checksum, to go back tagwire firmware cancel";
    default: return report.hint();
    }
}

std::string hex_number(std::uint32_t number) { return fmt::format("{:08X}", number); }

std::string version_text(const std::optional<Version>& version)
{
    return version ? printed(*version) : "unknown";
}

Deed event(const char* name)
{
    Deed told = deed("firmware-update");
    told.fields["event"] = name;
    return told;
}

// Shows an update as it goes on: a bar on a terminal, lines elsewhere, objects for programs.
class UpdateView {
  public:
    UpdateView(Session& session, const Update& update)
        : session_(session), update_(update), json_(session.options.json),
          live_(!json_ && session.options.chosen().size() == 1 && isatty(STDERR_FILENO) != 0),
          pace_(live_ ? ProgressPace(100, milliseconds(200)) : ProgressPace(10, milliseconds(10'000)))
    {}

    // No information comes from a reader that is in its update mode already.
    void show_plan(const std::string& place, const std::optional<ReaderInfo>& info)
    {
        const auto& [size, crc32, doubts] = update_.facts;
        const auto blocks = (size + update_.options.block - 1) / update_.options.block;
        Deed start = event("start");
        auto& fields = start.fields;
        fields["file"] = update_.file;
        fields["bytes"] = size;
        fields["blocks"] = blocks;
        fields["crc32"] = hex_number(crc32);
        fields["doubts"] = doubts;
        if (info) fields["reader_type"] = info->type;
        if (info) fields["address"] = info->address;
        if (info) fields["version"] = printed(info->firmware);
        if (json_) return show_object(start);
        for (const auto& doubt : doubts) tell(fmt::format("{}: {}", update_.file, doubt));
        tell(fmt::format("{}: {} bytes, CRC-32 {}, {} blocks; the reader {}{}", update_.file, size,
                         hex_number(crc32), blocks, place,
                         info ? fmt::format(" (type 0x{:02X}, address {}) runs version {}", info->type,
                                            info->address, printed(info->firmware))
                              : " is in its update mode"));
    }

    void show_progress(const Progress& progress)
    {
        if (progress.lost) return show_lost(*progress.lost);
        if (progress.bytes == 0) return;
        const auto now = ProgressPace::Clock::now();
        const TransferStatus status{progress.bytes, progress.total, now - start_};
        if (!pace_.is_due(status, now)) return;
        if (json_) {
            Deed told = event("progress");
            told.fields["bytes"] = status.done;
            told.fields["total"] = status.total;
            told.fields["bytes_per_second"] = static_cast<std::uint64_t>(status.bytes_per_second());
            show_object(told);
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
        const auto advice = fmt::format("{}; {}", report.left_as(), hint(report));
        if (json_) show_object(end_of(report, advice));
        if (!report.success()) {
            complain(report.what());
            tell(advice);
        } else if (output_failed_) {
            tell(report.what());
        } else if (!json_) {
            show(session_, {report.what(), {}});
            if (report.lost_answers != 0) tell(fmt::format("answers lost: {}", report.lost_answers));
        }
    }

    bool output_failed() const { return output_failed_; }

  private:
    static Deed end_of(const UpdateReport& report, const std::string& advice)
    {
        Deed end = event("end");
        auto& fields = end.fields;
        fields["outcome"] = report.end == UpdateEnd::stopped ? "interrupted" : to_string(report.end);
        fields["reader_state"] = to_string(report.state);
        fields["blocks_done"] = report.blocks_done;
        fields["lost_answers"] = report.lost_answers;
        if (report.old_version) fields["old_version"] = version_text(report.old_version);
        if (report.version) fields["version"] = version_text(report.version);
        if (report.found_checksum) fields["reader_crc32"] = hex_number(*report.found_checksum);
        if (report.success()) return end;
        fields["error"] = report.what();
        fields["advice"] = advice;
        if (report.result != 0) fields["code"] = report.result;
        return end;
    }

    void show_lost(const LostBlock& lost)
    {
        if (!json_) return;
        Deed told = event("lost");
        told.fields["block"] = lost.block;
        told.fields["code"] = lost.result;
        told.fields["arrived"] = lost.arrived;
        show_object(told);
    }

    // The update goes on when nobody can be told of it.
    void show_object(const Deed& told)
    {
        if (output_failed_) return;
        try {
            show(session_, told);
        } catch (const Failure& failure) {
            output_failed_ = true;
            complain(failure.what());
        }
    }

    Session& session_;
    const Update& update_;
    bool json_;
    bool live_;
    bool bar_shown_ = false;
    bool output_failed_ = false;
    ProgressPace pace_;
    ProgressPace::Clock::time_point start_ = ProgressPace::Clock::now();
};

std::optional<ReaderInfo> info_of(Reader& reader)
{
    try {
        return reader.info();
    } catch (const Error& error) {
        if (error.code() != Errc::no_answer || !reader.is_in_update_mode()) throw;
    }
    return std::nullopt;
}

int run_update(Session& session, const Update& update)
{
    return attempt(session, event("end"), [&] {
        auto reader = open_reader_in_any_mode(session);
        const auto place = place_of(reader);
        UpdateView view(session, update);
        view.show_plan(place, info_of(reader));
        if (update.dry_run) {
            tell("dry run: nothing was changed");
            return exit_success;
        }
        std::stop_source stop;
        const InterruptWatch::Hook hook(session.interrupts, [&stop] { stop.request_stop(); });
        auto report = reader.update_firmware(
            update.image, [&view](const Progress& progress) { view.show_progress(progress); },
            stop.get_token(), update.options);
        report.reader = place;
        view.show_end(report);
        return report.success() && !view.output_failed() ? exit_success : exit_failure;
    });
}

// What there are doubts about is asked for by itself.
void ask_for(const Update& update)
{
    std::string facts = fmt::format("{} bytes", update.image.size());
    for (const auto& doubt : update.facts.doubts) facts += ", " + doubt;
    const bool is_doubtful = !update.facts.doubts.empty() && !update.with_doubts;
    if (is_doubtful && update.yes && isatty(STDIN_FILENO) == 0) {
        throw UsageError(
            fmt::format("'{}' may be no program of a reader ({}): nothing was sent. Add --with-doubts "
                        "if it is, or use a terminal to be asked",
                        update.file, facts));
    }
    confirm(fmt::format("replace the program of the reader with '{}' ({})", update.file, facts),
            update.yes && !is_doubtful);
}

Work plan_update(Update update)
{
    constexpr std::size_t most_image_bytes = std::size_t{64} * 1024 * 1024;
    update.image = read_file(update.file, most_image_bytes);
    if (update.image.empty())
        throw UsageError(fmt::format("'{}' is empty: that is no program of a reader", update.file));
    update.facts = examine_firmware(update.image);
    update.options.with_doubts = true;  // which are asked for here
    if (!update.dry_run) ask_for(update);
    return [update = std::move(update)](Session& session) { return run_update(session, update); };
}

void add_update_options(CLI::App& command, Update& update)
{
    auto& options = update.options;
    command.add_option("FILE", update.file, "the program, as its maker delivers it")->required();
    option(command, "--block-size", options.block, number(1, 250), "bytes of a block, 1 to 250")
        ->default_str("250");
    option(command, "--first-number", options.first_number, number(0, 255),
           "number of the first block, 0 to 255")
        ->default_str("0");
    option(command, "--wrap-to", options.wrap_to, number(0, 255),
           "number of the block behind number 255, 0 to 255")
        ->default_str("0");
    option(command, "--retries", options.retries, number(0, 100),
           "how often a block, or a question, is repeated when it is lost, 0 to 100")
        ->default_str("3");
    option(
        command, "--wait", options.boot_limit,
        [](const std::string& text, const std::string& name) {
            return std::chrono::seconds(parse_number(text, name, 1, 3600));
        },
        "seconds to wait for the reader once the new program is marked, 1 to 3600")
        ->default_str("30");
    command.add_flag("--low-byte-first", options.low_byte_first,
                     "the reader tells its CRC-32 with the low byte first");
    command.add_flag("--without-checksum", options.without_checksum,
                     "a reader that tells no CRC-32, too: nothing is compared before the mark");
    command.add_flag("--with-doubts", update.with_doubts,
                     "a file that may be no program, too: a small one, one of an odd count of bytes, a text");
    command.add_flag("--dry-run", update.dry_run, "show what would be sent, and change nothing");
    add_yes_option(command, update.yes);
    command.footer(
        R"(The reader runs its old program until all blocks have arrived, their CRC-32 is that of the file,
and the new program is marked. Before the mark, Ctrl-C, a lost link and a loss of power leave the old
program as it is; the same command starts over. Do not switch the reader off while it is being marked.

Examples:
  tagwire firmware update reader-2.4.bin --dry-run
  tagwire firmware update reader-2.4.bin --block-size 128 --first-number 1 --yes
  tagwire firmware update reader-2.4.bin --yes --json)");
}

int cancel(Session& session)
{
    Deed done = event("cancel");
    return attempt(session, done, [&] {
        auto reader = open_reader_in_any_mode(session);
        const InterruptWatch::Hook hook(session.interrupts, [&reader] { reader.abort(); });
        reader.leave_update_mode();
        done.text = fmt::format("the reader {} is not in its update mode", place_of(reader));
        show(session, done);
        return exit_success;
    });
}

}  // namespace

void add_firmware_commands(Application& application)
{
    auto& group = application.add_group("firmware", "The reader's own program.");
    application.set_readers(add_command_with<Update>(application, &group, "update",
                                                     "Replace the reader's program.", add_update_options,
                                                     plan_update),
                            Readers::each);
    add_question(application, group, "cancel",
                 "Have a reader leave its update mode: its old program runs on.", cancel,
                 "Does nothing to a reader that is not in its update mode.\n\n"
                 "Examples:\n  tagwire firmware cancel");
}

}  // namespace tagwire::tool
