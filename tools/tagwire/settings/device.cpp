// What a reader says of itself; its clock, work mode and restart.
#include <chrono>
#include <ctime>

#include "commands/groups.h"
#include "option.h"
#include "settings/setting.h"
#include "tag_options.h"

namespace tagwire::tool {

namespace {

// -- info

void add_code(Deed& done, const char* label, int code, const char* key)
{
    add(done, label, fmt::format("0x{:02X}", code), key, code);
}

std::string version_text(Version version) { return fmt::format("{}.{}", version.major, version.minor); }

std::string region_text(const Region& region)
{
    const auto band = region.name.empty() ? fmt::format("band {}", region.band) : std::string(region.name);
    return fmt::format("{}, {} channels", band, region.highest - region.lowest + 1);
}

// Not every reader answers every question; one that is gone answers none.
void require_there(const Error& error)
{
    if (error.code() == Errc::lost || error.code() == Errc::aborted) throw Error(error);
}

template <class Ask> auto if_told(Ask ask) -> std::optional<decltype(ask())>
{
    try {
        return ask();
    } catch (const Error& error) {
        require_there(error);
        return std::nullopt;
    }
}

void add_module(Deed& done, Reader& reader)
{
    try {
        const auto module = reader.module_info();
        done.text += fmt::format("\n{:<17}{}\n{:<17}0x{:02X}\n{:<17}0x{:02X}", "module version",
                                 version_text(module.version), "module type", module.type, "module protocols",
                                 module.protocols);
        done.fields["module"] = {{"version", version_text(module.version)},
                                 {"type", module.type},
                                 {"protocols", module.protocols}};
    } catch (const Error& error) {
        require_there(error);
        add(done, "module", fmt::format("no details ({})", error.result()), "module", nullptr);
        done.fields["module_error"] = error.text();
        done.fields["module_code"] = error.result();
    }
}

void add_link(Deed& done, Reader& reader)
{
    const auto link = reader.link_counters();
    done.text += fmt::format("\n{:<17}{} bytes, {} frames, {} with a bad CRC, {} bytes skipped", "link",
                             link.bytes, link.frames, link.bad_crc, link.skipped_bytes);
    done.fields["link"] = {{"bytes", link.bytes},
                           {"frames", link.frames},
                           {"bad_crc", link.bad_crc},
                           {"skipped_bytes", link.skipped_bytes}};
}

// Of the antennas and channels the answer has a byte each, which is not enough for every reader.
void add_radio(Deed& done, Reader& reader, const ReaderInfo& info)
{
    const auto region = if_told([&] { return reader.radio().region(); }).value_or(info.region);
    add(done, "region", region_text(region), "region", region.name.empty() ? Json() : Json(region.name));
    done.fields["max_frequency"] = info.raw[4];
    done.fields["min_frequency"] = info.raw[5];
    add(done, "power", fmt::format("{} dBm", info.power.value()), "power_dbm", info.power.value());
    add(done, "scan time", fmt::format("{} ms", info.scan_time.count()), "scan_time_ms",
        info.scan_time.count());
    done.fields["antenna"] = info.antenna_byte;
    const auto enabled = if_told([&] { return reader.antennas().enabled(); });
    if (!enabled) return add_code(done, "antenna byte", info.antenna_byte, "antenna");
    const auto ports = numbers_of(*enabled);
    add(done, "antennas", ports_text(ports), "antennas", ports);
}

Work plan_info(const bool& with_link)
{
    return [with_link](Session& session) {
        return run(session, deed("reader"), [&](Reader& reader, Deed& done) {
            const auto info = reader.info();
            add(done, "reader", session.options.reader_name(), "reader", session.options.reader_name());
            add_code(done, "address", info.address, "address");
            add(done, "firmware", version_text(info.firmware), "firmware", version_text(info.firmware));
            add_code(done, "type", info.type, "reader_type");
            add_code(done, "air protocols", info.protocols, "protocols");
            add_radio(done, reader, info);
            add(done, "beeper", info.beeps ? "on" : "off", "beep", info.raw[9]);
            add_code(done, "output report", info.output_report, "output_report");
            add(done, "antenna check", info.checks_antennas ? "on" : "off", "antenna_check", info.raw[11]);
            add_module(done, reader);
            if (with_link) add_link(done, reader);
        });
    };
}

void add_info_options(CLI::App& command, bool& with_link)
{
    command.add_flag("--link", with_link,
                     "also what came over the link for this: bytes, frames, damaged ones");
    command.footer(R"(Examples:
  tagwire --reader tcp://192.0.2.10:6000 info
  tagwire info --reader serial:/dev/ttyUSB0 --json
  tagwire info --link)");
}

// -- clock

struct ClockTime {
    std::string text;
    bool utc = false;
};

void add_clock_set_options(CLI::App& command, ClockTime& time)
{
    command
        .add_option("TIME", time.text,
                    "YYYY-MM-DDTHH:MM:SS of the years 2000 to 2099, or now: the time of this computer, local "
                    "or with --utc UTC")
        ->required();
    command.add_flag("--utc", time.utc, "set as seconds since 1970, for readers that count so");
    command.footer(R"(Examples:
  tagwire clock set now
  tagwire clock set 2024-05-31T10:15:00
  tagwire clock set now --utc)");
}

constexpr const char* clock_format = "%Y-%m-%dT%H:%M:%S";

std::string time_now(bool utc)
{
    const auto now = std::time(nullptr);
    std::tm parts{};
    utc ? gmtime_r(&now, &parts) : localtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof text, clock_format, &parts);
    return text;
}

std::chrono::sys_seconds utc_of(const std::string& text)
{
    std::tm parts{};
    strptime(text.c_str(), clock_format, &parts);
    return std::chrono::sys_seconds(std::chrono::seconds(timegm(&parts)));
}

Work plan_clock_set(const ClockTime& time)
{
    if (time.text != "now") checked_value("clock", time.text);
    return work(deed("clock-set"), [=](Reader& reader, Deed& done) {
        const auto text = time.text == "now" ? time_now(time.utc) : time.text;
        if (time.utc)
            reader.clock().set_utc(utc_of(text));
        else
            reader.settings().set("clock", text);
        done.text = fmt::format("the clock is set to {}", text);
        done.fields["time"] = text;
    });
}

// -- work mode

void add_mode_set_options(CLI::App& command, std::string& mode)
{
    command.add_option("MODE", mode, "answering, active or triggered")->required();
    command.footer(R"(answering: the reader waits for commands. active: it reads and reports by itself.
triggered: it does so when an input asks for it.

Examples:
  tagwire mode set active
  tagwire mode set answering)");
}

Work plan_mode_set(const std::string& mode)
{
    Deed head = deed("mode-set", fmt::format("the work mode is {} now", mode));
    head.fields["mode"] = mode;
    return set_work(head, checked_value("work-mode", mode));
}

// -- reset

void add_factory_options(CLI::App& command, bool& yes)
{
    add_yes_option(command, yes);
    command.footer(R"(The command asks first, and refuses where it cannot ask.

Examples:
  tagwire reset factory
  tagwire reset factory --yes)");
}

Work plan_factory(const bool& yes)
{
    confirm("replace all settings and tables of the reader by the factory's", yes);
    return work(
        deed("reset-factory", "the factory settings are restored: address and speed may have changed"),
        [](Reader& reader, Deed&) { reader.tables().restore_factory(); });
}

void tell_setting(Reader& reader, Deed& done, const char* name, const char* key)
{
    done.fields[key] = done.text = reader.settings().get(name);
}

}  // namespace

void add_information_commands(Application& application)
{
    const auto& command = add_command_with<bool>(
        application, nullptr, "info", "Show what the reader says about itself.", add_info_options, plan_info);
    application.set_readers(command, Readers::each);
}

void add_device_commands(Application& application)
{
    auto& clock = application.add_group("clock", "Clock of the reader, which has no time zone.");
    clock.footer("Examples:\n  tagwire clock show\n  tagwire clock set now");
    add_asking(application, clock, "show", "Show the time.", "clock",
               [](Reader& reader, Deed& done) { tell_setting(reader, done, "clock", "time"); });
    add_to(application, clock, "set", "Set the time.", add_clock_set_options, plan_clock_set);
    auto& mode = application.add_group("mode", "Whether the reader waits for commands or reads by itself.");
    mode.footer("Examples:\n  tagwire mode show\n  tagwire mode set answering");
    add_asking(application, mode, "show", "Show the work mode.", "mode",
               [](Reader& reader, Deed& done) { tell_setting(reader, done, "work-mode", "mode"); });
    add_to(application, mode, "set", "Set the work mode.", add_mode_set_options, plan_mode_set);
    auto& reset = application.add_group("reset", "Restart, and factory settings.");
    reset.footer("Examples:\n  tagwire reset restart\n  tagwire reset factory");
    application
        .add_command(reset, "restart", "Restart the reader.",
                     [] {
                         return work(deed("reset-restart", "the reader restarts"),
                                     [](Reader& reader, Deed&) { reader.restart(); });
                     })
        .footer("Examples:\n  tagwire reset restart");
    add_to(application, reset, "factory", "Restore the factory settings.", add_factory_options, plan_factory);
}

}  // namespace tagwire::tool
