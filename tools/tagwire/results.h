// What the numbers mean that the library and the reader return, in words.
#pragma once

#include <string>

#include "reader_url.h"
#include "tag_result.h"

namespace tagwire::tool {

// What was asked for when the result came: some numbers mean different things.
enum class Operation {
    Open,
    Close,
    Information,
    ModuleDetails,
    Inventory,
    StartRead,
    StopRead,
    SelectFilter,
    BufferInventory,
    BufferRead,
    BufferControl,
    ListSearch,
    WifiScan,
    Network,
    Position,
    Modem,
    AtMode,
    LeaveAtMode,
    AtCommand,
    TableRead,
    TableWrite,
    TableControl,
    PowerSetting,
    RegionSetting,
    AntennaSetting,
    IoLines,
    RelaySwitch,
    Beeper,
    ReaderClock,
    WorkModes,
    ReaderRestart,
    FactoryRestore,
    Settings,
    // From here on, of one tag.
    ReadMemory,
    WriteMemory,
    WriteEpc,
    EraseMemory,
    LockMemory,
    CheckLock,
    KillTag,
    Privacy,
    Eas,
    Qt,
    Untraceable,
    ProtectedMode,
    Authenticate,
    SensorTemperature,
    SensorRegister,
    SensorMemory,
    SensorLog,
    SensorMode,
    SensorPeripheral,
    TagIdentity,
    TagLed
};

// One line: what happened, the number in parentheses, and what to try next.
std::string result_text(int code, Operation operation, const ReaderUrl& reader);

// The same with what the tag says when it refused.
std::string result_text(const TagResult& result, Operation operation, const ReaderUrl& reader);

}  // namespace tagwire::tool
