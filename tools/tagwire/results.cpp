#include "results.h"

#include "tagwire/result.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

// Which operations are meant where none is named.
enum class Kind { Any, OfATag, InFrames };

struct Situation {
    int code;
    std::optional<Operation> operation;
    std::optional<Link> link;
    Kind kind = Kind::Any;
};

// {place} is where the reader is, {task} what was being done.
struct Entry {
    Situation when;
    std::string_view what;
    std::string_view advice;
};

// Status of the reader for commands that carry a password.
constexpr int wrong_password = 0x05;
// Status of the reader for a read in packets that the tag refused.
constexpr int packets_refused = 0xF9;

// The first entry that fits wins: particular cases come before general ones.
constexpr std::array entries{
    Entry{{TAGWIRE_OK, {}, {}}, "{task}: done", "nothing to do"},

    Entry{{TAGWIRE_NO_ANSWER, Operation::Open, Link::Serial},
          "no answer from the reader {place} within 200 ms",
          "is it powered? try --baud"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::Open, Link::SerialAuto},
          "no reader answered {place} of /dev/tty0 to /dev/ttyUSB9",
          "is it powered and plugged in? try --baud, or name the device with --reader serial:/dev/DEVICE"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::Open, Link::Tcp},
          "no answer from the reader {place} within 1 s",
          "is it powered and on this network? check the port, and that no other host holds its connection"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::Close, {}},
          "{task}: the connection to the reader {place} was closed already",
          "nothing is left to close"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::ModuleDetails, {}},
          "{task}: no answer from the reader {place} in time",
          "not every reader has this command"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::Inventory, {}},
          "{task}: the reader {place} fell silent",
          "5 s without a frame end an inventory: try a shorter --scan-time, or check power and cable"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::StopRead, {}},
          "{task}: the reader {place} did not confirm the stop",
          "it may be gone, or may still be reading: check power and cable"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::BufferRead, {}},
          "{task}: no complete answer from the reader {place} in time",
          "not every reader has a buffer; is it powered and the cable in place?"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::WifiScan, {}},
          "{task}: the reader {place} fell silent",
          "20 s without an answer end a scan: not every reader has WiFi; check power and cable"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::AtMode, {}},
          "{task}: the reader {place} did not confirm it",
          "not every reader passes AT commands; is it powered and the cable in place?"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::LeaveAtMode, {}},
          "{task}: the reader {place} did not confirm it",
          "it may still be in this mode: check power and cable, and run tagwire at < /dev/null"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::AtCommand, {}},
          "{task}: no answer through the reader {place} in time",
          "the reader may have refused, or waited too long for the module: try a smaller --timeout"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::TableRead, {}},
          "{task}: the answer of the reader {place} did not come complete",
          "try again; is it powered, the cable in place and --address its own?"},
    Entry{{TAGWIRE_NO_ANSWER, Operation::TableWrite, {}},
          "{task}: the reader {place} stopped answering half way",
          "the table is in doubt: check power and cable, and write it again"},
    Entry{{TAGWIRE_NO_ANSWER, {}, {}},
          "{task}: no answer from the reader {place} in time",
          "is it powered and the cable in place?"},

    Entry{{TAGWIRE_BAD_CRC, {}, {}},
          "{task}: the answer of the reader {place} was damaged on the way",
          "try again; on a serial line check --baud, cable length and grounding"},
    Entry{{TAGWIRE_BUSY, Operation::StartRead, {}},
          "{task}: the reader {place} is reading already",
          "stop the reading that runs first"},
    Entry{{TAGWIRE_BUSY, {}, {}},
          "{task}: the connection to the reader {place} is busy with another operation",
          "wait until it has ended and try again"},
    Entry{{TAGWIRE_ALREADY_OPEN, {}, {}},
          "{task}: the connection to the reader {place} is open already",
          "close it first"},
    Entry{{TAGWIRE_BAD_HANDLE, Operation::AtMode, Link::Tcp},
          "{task}: works over a serial line only, not with the reader {place}",
          "use --reader serial:/dev/DEVICE"},
    Entry{{TAGWIRE_BAD_HANDLE, {}, {}},
          "{task}: the connection to the reader {place} is gone",
          "connect again; did the reader restart, or was the device unplugged?"},
    Entry{{TAGWIRE_NO_DEVICE, {}, {}},
          "{task}: the serial device of the reader {place} cannot be used",
          "does it exist, may you open it (group dialout), and is no other program using it?"},
    Entry{{TAGWIRE_BAD_SEQUENCE, {}, {}},
          "{task}: a part of a long answer of the reader {place} was missing",
          "bring the tag closer to the antenna and try again"},
    Entry{{TAGWIRE_WRONG_COMMAND, Operation::Inventory, {}},
          "{task}: the reader {place} refused the command",
          "it may not know this kind of inventory: leave out options, one at a time"},
    Entry{{TAGWIRE_WRONG_COMMAND, Operation::WifiScan, {}},
          "{task}: the reader {place} refused the command",
          "not every reader has WiFi"},
    Entry{{TAGWIRE_WRONG_COMMAND, {}, {}},
          "{task}: the reader {place} answered something else than it was asked",
          "try again; does another program talk to the same reader?"},
    Entry{{TAGWIRE_LINE_SETTINGS, Operation::Open, {}},
          "{task}: the serial device of the reader {place} refuses the line settings",
          "is it a serial device? try another --baud"},
    Entry{{TAGWIRE_NO_DATA, Operation::Inventory, {}},
          "{task}: no tag answered the reader {place}",
          "bring a tag closer to the antenna; a larger --q helps when there are many"},
    Entry{{TAGWIRE_NO_DATA, {}, {}, Kind::OfATag},
          "{task}: no such tag answered the reader {place}",
          "is the tag close to the antenna, and its ID or mask right? see tagwire inventory"},
    Entry{{TAGWIRE_NO_DATA, Operation::ListSearch, {}},
          "{task}: no tag answered the reader {place}",
          "bring the tags closer to the antenna"},
    Entry{{TAGWIRE_NO_DATA, Operation::BufferInventory, {}},
          "{task}: no tag answered the reader {place}",
          "bring a tag closer to the antenna; a larger --q helps when there are many"},
    Entry{{TAGWIRE_NO_DATA, {}, {}, Kind::InFrames},
          "{task}: the reader {place} had nothing to deliver",
          "try again later"},
    Entry{{TAGWIRE_TAG_ERROR, {}, {}},
          "{task}: the tag refused, says the reader {place}",
          "check the access password and whether that memory is locked"},
    Entry{{TAGWIRE_BAD_ARGUMENT, {}, {}},
          "{task}: a value is out of range for the reader {place}",
          "check the options against tagwire --help"},

    Entry{{TAGWIRE_INVENTORY_DONE, {}, {}, Kind::InFrames},
          "{task}: the reader {place} has found all it could",
          "nothing to do"},
    Entry{{TAGWIRE_INVENTORY_TIME_OVER, {}, {}, Kind::InFrames},
          "{task}: the scan time of the reader {place} is over",
          "a longer --scan-time may find more"},
    Entry{{TAGWIRE_INVENTORY_MORE, {}, {}, Kind::InFrames},
          "{task}: the reader {place} announced more data and sent none",
          "try again"},
    Entry{{TAGWIRE_INVENTORY_ANTENNA, Operation::AntennaSetting, {}},
          "{task}: the reader {place} has no such antenna, or it is not connected",
          "see tagwire antenna show"},
    Entry{{TAGWIRE_INVENTORY_ANTENNA, {}, {}},
          "{task}: the antenna check of the reader {place} failed",
          "is an antenna connected to this port? choose another with --antenna"},
    Entry{{TAGWIRE_INVENTORY_UNKNOWN, Operation::BufferRead, {}},
          "{task}: the buffer of the reader {place} is empty, or it has none",
          "fill it with tagwire buffer inventory"},
    Entry{{TAGWIRE_INVENTORY_UNKNOWN, {}, {}},
          "{task}: the reader {place} does not know this command",
          "its firmware may be too old: see tagwire info"},
    Entry{{packets_refused, Operation::ReadMemory, {}},
          "{task}: the tag refused to send so much, says the reader {place}",
          "check the first byte, the count and the passwords"},
    Entry{{wrong_password, {}, {}, Kind::OfATag},
          "{task}: the reader {place} says that the password is wrong",
          "check the password; too many wrong ones may block a tag for a while"},
};

struct TagErrorEntry {
    int code;
    std::string_view what;
    std::string_view advice;
};

// The error codes that the air interface gives to tags.
constexpr std::array tag_errors{
    TagErrorEntry{0x00, "for a reason it has no code for",
                  "check the command, the password and the tag's lock"},
    TagErrorEntry{0x01, "it does not support this", "this kind of tag cannot do it"},
    TagErrorEntry{0x02, "it needs a password with more rights", "give the right password"},
    TagErrorEntry{0x03, "it has no such memory", "check bank, first word and count"},
    TagErrorEntry{0x04, "the memory is locked", "give the access password; a permanent lock stays"},
    TagErrorEntry{0x05, "its cryptographic suite reports an error", "check the fields of the command"},
    TagErrorEntry{0x06, "the command has to be encapsulated", "this kind of tag cannot do it this way"},
    TagErrorEntry{0x07, "its response buffer is too small", "ask for less at once"},
    TagErrorEntry{0x08, "it waits because of wrong passwords", "try again in a while"},
    TagErrorEntry{0x0B, "it has too little power", "bring it closer to the antenna, or raise the power"},
    TagErrorEntry{0x0F, "it does not say why", "bring it closer to the antenna and try again"},
};

// Elsewhere their numbers are a status of the reader's own.
bool is_answered_in_frames(Operation operation)
{
    constexpr std::array operations{Operation::Inventory,       Operation::StartRead,
                                    Operation::BufferInventory, Operation::BufferRead,
                                    Operation::ListSearch,      Operation::WifiScan,
                                    Operation::TableRead,       Operation::SensorTemperature};
    return std::find(operations.begin(), operations.end(), operation) != operations.end();
}

bool is_of(Kind kind, Operation operation)
{
    switch (kind) {
    case Kind::Any: return true;
    case Kind::OfATag: return operation >= Operation::ReadMemory;
    case Kind::InFrames: return is_answered_in_frames(operation);
    }
    return false;
}

bool fits(const Situation& when, int code, Operation operation, Link link)
{
    return when.code == code && when.operation.value_or(operation) == operation &&
           when.link.value_or(link) == link && is_of(when.kind, operation);
}

std::string_view task_name(Operation operation)
{
    switch (operation) {
    case Operation::Open: return "connecting";
    case Operation::Close: return "closing the connection";
    case Operation::Information: return "reader information";
    case Operation::ModuleDetails: return "module details";
    case Operation::Inventory: return "inventory";
    case Operation::StartRead: return "starting to read";
    case Operation::StopRead: return "stopping to read";
    case Operation::SelectFilter: return "select filter";
    case Operation::BufferInventory: return "inventory into the buffer";
    case Operation::BufferRead: return "reading the buffer";
    case Operation::BufferControl: return "reader's buffer";
    case Operation::ListSearch: return "search by list";
    case Operation::WifiScan: return "WiFi scan";
    case Operation::Network: return "network";
    case Operation::Position: return "position";
    case Operation::Modem: return "4G modem";
    case Operation::AtMode: return "AT mode";
    case Operation::LeaveAtMode: return "leaving the AT mode";
    case Operation::AtCommand: return "AT command";
    case Operation::TableRead: return "reading the table";
    case Operation::TableWrite: return "writing the table";
    case Operation::TableControl: return "parameters";
    case Operation::PowerSetting: return "output power";
    case Operation::RegionSetting: return "frequency region";
    case Operation::AntennaSetting: return "antennas";
    case Operation::IoLines: return "inputs and outputs";
    case Operation::RelaySwitch: return "relay";
    case Operation::Beeper: return "beeper";
    case Operation::ReaderClock: return "clock";
    case Operation::WorkModes: return "work mode";
    case Operation::ReaderRestart: return "restarting the reader";
    case Operation::FactoryRestore: return "restoring the factory settings";
    case Operation::Settings: return "reader's settings";
    case Operation::ReadMemory: return "reading memory";
    case Operation::WriteMemory: return "writing memory";
    case Operation::WriteEpc: return "writing the EPC";
    case Operation::EraseMemory: return "erasing memory";
    case Operation::LockMemory: return "locking memory";
    case Operation::CheckLock: return "asking for the lock";
    case Operation::KillTag: return "killing the tag";
    case Operation::Privacy: return "privacy";
    case Operation::Eas: return "EAS command";
    case Operation::Qt: return "QT control";
    case Operation::Untraceable: return "untraceable";
    case Operation::ProtectedMode: return "protected mode";
    case Operation::Authenticate: return "authenticate";
    case Operation::SensorTemperature: return "measuring the temperature";
    case Operation::SensorRegister: return "sensor register";
    case Operation::SensorMemory: return "sensor memory";
    case Operation::SensorLog: return "temperature log";
    case Operation::SensorMode: return "mode of the sensor tag";
    case Operation::SensorPeripheral: return "peripheral of the sensor tag";
    case Operation::TagIdentity: return "identification";
    case Operation::TagLed: return "LED of the tag";
    }
    return "command";
}

}  // namespace

std::string result_text(int code, Operation operation, const ReaderUrl& reader)
{
    const auto task = task_name(operation);
    const auto* const entry = std::find_if(entries.begin(), entries.end(), [&](const Entry& candidate) {
        return fits(candidate.when, code, operation, reader.link);
    });
    if (entry == entries.end()) {
        return fmt::format(
            "{}: the reader {} answered with its own status 0x{:02X} ({}): see the reader's manual", task,
            reader.place(), static_cast<unsigned>(code), code);
    }
    const auto what =
        fmt::format(fmt::runtime(entry->what), fmt::arg("task", task), fmt::arg("place", reader.place()));
    return fmt::format("{} ({}): {}", what, code, entry->advice);
}

std::string result_text(const TagResult& result, Operation operation, const ReaderUrl& reader)
{
    const bool is_told = result.code == TAGWIRE_TAG_ERROR && result.tag_error >= 0;
    if (!is_told) return result_text(result.code, operation, reader);
    const auto* const entry =
        std::find_if(tag_errors.begin(), tag_errors.end(),
                     [&](const TagErrorEntry& candidate) { return candidate.code == result.tag_error; });
    const bool known = entry != tag_errors.end();
    return fmt::format("{}: the tag refused, {} ({}, tag error {}): {}", task_name(operation),
                       known ? entry->what : "with an error code of its own", result.code, result.tag_error,
                       known ? entry->advice : "see the tag's data sheet");
}

}  // namespace tagwire::tool
