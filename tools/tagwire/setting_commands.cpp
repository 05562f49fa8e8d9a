#include "setting_commands.h"

#include "tagwire/information.h"
#include "tagwire/io.h"
#include "tagwire/modes.h"
#include "tagwire/result.h"
#include "tagwire/rf.h"
#include "tagwire/settings.h"

#include <algorithm>

#include "device_calls.h"

namespace tagwire::tool {

namespace {

using Call = const SettingCall&;

constexpr std::uint8_t set_bit = 0x80;   // of commands that both tell and set
constexpr std::uint8_t for_good = 0x00;  // not until the restart only
constexpr std::size_t most_bytes = 250;
constexpr std::size_t short_region = 3;
constexpr std::size_t mask_data_size = 32;

// -- the usual forms

template <auto command, std::size_t size = 1> int read_bytes(Call call, Bytes& data)
{
    data.resize(size);
    return command(call.address, data.data(), call.handle);
}

template <auto command> int read_two(Call call, Bytes& data)
{
    data.resize(2);
    return command(call.address, &data[0], &data[1], call.handle);
}

template <auto command> int write_byte(Call call, Bytes& block)
{
    return command(call.address, block[0], call.handle);
}

template <auto command> int write_two(Call call, Bytes& block)
{
    return command(call.address, block[0], block[1], call.handle);
}

template <auto command> int write_bytes(Call call, Bytes& block)
{
    return command(call.address, block.data(), call.handle);
}

template <auto command> int write_two_way(Call call, Bytes& block)
{
    if (call.two_way) block[0] = static_cast<std::uint8_t>(block[0] | set_bit);
    return command(call.address, block.data(), call.handle);
}

// -- the reader

int read_information(Call call, Bytes& data)
{
    data.resize(13);
    const int code =
        GetReaderInformation(call.address, &data[0], &data[2], &data[3], &data[4], &data[5], &data[6],
                             &data[7], &data[8], &data[9], &data[10], &data[11], call.handle);
    data[12] = *call.address;
    return code;
}

int read_line_speed(Call call, Bytes& data)
{
    data = {call.line_speed};
    return TAGWIRE_OK;
}

int read_chip_version(Call call, Bytes& data)
{
    data.resize(3);
    return GetEx10Version(call.address, &data[0], &data[2], call.handle);
}

int read_start_information(Call call, Bytes& data)
{
    data.resize(9);
    return GetStartInformation(call.address, &data[0], &data[1], &data[2], &data[3], &data[4], &data[5],
                               &data[6], &data[7], &data[8], call.handle);
}

int use_long_profile(Call call, std::uint8_t option, Bytes& data)
{
    data.resize(2);
    int profile = data[0] << 8 | data[1];
    const int code = SetExtProfile(call.address, option, &profile, call.handle);
    data = {static_cast<std::uint8_t>(profile >> 8), static_cast<std::uint8_t>(profile)};
    return code;
}

int read_long_profile(Call call, Bytes& data) { return use_long_profile(call, 0, data); }
int write_long_profile(Call call, Bytes& block) { return use_long_profile(call, 1, block); }

// -- frequencies, power, antennas

int read_region(Call call, Bytes& data)
{
    data.assign(6, 0);
    data[0] = custom_band;
    const int code = GetCustomRegion(call.address, &data[1], &data[2], &data[3], call.handle);
    const bool is_custom = code == TAGWIRE_OK && data[2] != 0;
    if (is_custom || (code != TAGWIRE_OK && code != TAGWIRE_BAD_ARGUMENT)) return code;
    data.resize(short_region);
    return ExtGetRegion(call.address, &data[0], &data[1], &data[2], call.handle);
}

int write_region(Call call, Bytes& block)
{
    if (block.size() == short_region)
        return ExtSetRegion(call.address, for_good, block[0], block[1], block[2], call.handle);
    return SetCustomRegion(call.address, for_good, block[1], block[2], &block[3], call.handle);
}

int write_dwell(Call call, Bytes& block)
{
    return SetDwellTime(call.address, for_good, block[0], block[1], call.handle);
}

int read_antenna_powers(Call call, Bytes& data)
{
    data.resize(most_bytes);
    int count = 0;
    const int code = GetAntennaPower(call.address, data.data(), &count, call.handle);
    data.resize(static_cast<std::size_t>(std::clamp(count, 0, static_cast<int>(most_bytes))));
    return code == TAGWIRE_OK && data.empty() ? TAGWIRE_WRONG_COMMAND : code;
}

int write_antenna_powers(Call call, Bytes& block)
{
    auto powers = sendable_powers(block);
    return SetAntennaPower(call.address, powers.data(), static_cast<int>(powers.size()), call.handle);
}

// No reader is without antennas: zeros are an answer of another form.
int read_antennas(Call call, Bytes& data)
{
    data.assign(8, 0);
    const int code = OptAntenna(call.address, 0, for_good, data.data(), call.handle);
    const bool is_empty = std::all_of(data.begin(), data.end(), [](auto byte) { return byte == 0; });
    return code == TAGWIRE_OK && is_empty ? TAGWIRE_WRONG_COMMAND : code;
}

int write_antennas(Call call, Bytes& block)
{
    return OptAntenna(call.address, 1, for_good, block.data(), call.handle);
}

// -- reading without a host

int ask_system(Call call, Bytes& data, std::uint8_t mark)
{
    data.assign(short_system_size + 3, mark);
    auto* const d = data.data();
    return GetSystemParameter(call.address, d, d + 1, d + 2, d + 3, d + 4, d + 5, d + 6, d + 7, d + 9, d + 10,
                              d + 42, d + 43, d + 44, call.handle);
}

bool has_marks(const Bytes& data, std::uint8_t mark)
{
    return data[short_system_size] == 0 && data[short_system_size + 1] == mark &&
           data[short_system_size + 2] == mark;
}

// The short form leaves the last two bytes as they were.
int read_system(Call call, Bytes& data)
{
    int code = ask_system(call, data, 0xFF);
    if (code != TAGWIRE_OK || !has_marks(data, 0xFF)) return code;
    code = ask_system(call, data, 0);
    if (code == TAGWIRE_OK && has_marks(data, 0)) data.resize(short_system_size);
    return code;
}

int write_mask(Call call, Bytes& block)
{
    block.resize(4 + mask_data_size);
    return SetMask(call.address, block[0], &block[1], block[3], &block[4], call.handle);
}

// The answer has all that it holds: what it does not fill stays zero.
int read_read_parameters(Call call, Bytes& data)
{
    data.assign(most_bytes, 0);
    return GetReadParameter(call.address, data.data(), call.handle);
}

// Five bytes, the mask and the words of the TID, as they were read: without them they are switched off.
int write_read_parameters(Call call, Bytes& block)
{
    constexpr std::size_t mask_at = 5;
    auto* const mask = &block[mask_at];
    const auto tid_at = mask_at + 4 + (mask[3] + std::size_t{7}) / 8;
    const std::uint8_t with_mask = mask[3] != 0 ? 1 : 0;
    const std::uint8_t with_tid = block[tid_at + 1] != 0 ? 1 : 0;
    return SetReadParameter(call.address, block.data(), mask[0], mask + 1, mask[3], mask + 4, with_mask,
                            block[tid_at], block[tid_at + 1], with_tid, call.handle);
}

// -- inputs and outputs

int read_filter(Call call, Bytes& data)
{
    data.resize(3);
    return GetFilterParam(call.address, &data[0], &data[1], &data[2], call.handle);
}

int write_filter(Call call, Bytes& block)
{
    return SetFilterParam(call.address, block[0], block[1], block[2], call.handle);
}

int read_wiegand(Call call, Bytes& data)
{
    data.resize(5);
    return GetWieGandParam(call.address, &data[0], &data[1], &data[2], &data[3], &data[4], call.handle);
}

int write_wiegand(Call call, Bytes& block)
{
    return SetWieGandParam(call.address, block[0], block[1], block[2], block[3], block[4], call.handle);
}

int read_trigger(Call call, Bytes& data)
{
    data.resize(6);
    return GetTriggerLinkageParam(call.address, call.index, &data[0], &data[1], &data[2], &data[3], &data[4],
                                  &data[5], call.handle);
}

int write_trigger(Call call, Bytes& block)
{
    return SetTriggerLinkageParam(call.address, call.index, block[0], block[1], block[2], block[3], block[4],
                                  block[5], call.handle);
}

int read_numbered(Call call, Bytes& data)
{
    data.resize(most_bytes);
    int length = 0;
    const int code = GetCfgParameter(call.address, call.index, data.data(), &length, call.handle);
    data.resize(static_cast<std::size_t>(std::clamp(length, 0, static_cast<int>(most_bytes))));
    return code;
}

int write_numbered(Call call, Bytes& block)
{
    return SetCfgParameter(call.address, for_good, call.index, block.data(), static_cast<int>(block.size()),
                           call.handle);
}

}  // namespace

namespace sources {

const Source information{read_information};
const Source line_speed{read_line_speed, false};
const Source serial_number{read_bytes<GetSeriaNo, 4>};
const Source user_password{read_bytes<GetUserPwd, 4>};
const Source reader_password{read_bytes<GetReaderPwd, 4>};
const Source reply_delay{read_bytes<GetRevDelay>};
// Readers whose two-way commands need a bit to set tell the setting without it.
const Source power_mode{read_bytes<SetPowerMode>, true, true};
const Source heartbeat_time{read_bytes<SetHeartBeatTime>, true, true};
const Source retries{read_bytes<RetryTimes>, true, true};
const Source protocol{read_bytes<SwitchProtocol>, true, true};
const Source tag_function{read_bytes<SetTagCustomFunction>, true, true};
const Source profile{read_bytes<SetProfile>, true, true};
const Source antenna_count{read_bytes<ConfigAntNum>, true, true};
const Source long_profile{read_long_profile, true, true};
const Source module_version{read_bytes<GetModuleVersion, 2>};
const Source module_description{read_bytes<GetModuleDescribe, 16>};
const Source chip_version{read_chip_version};
const Source start_information{read_start_information};
const Source power_check{read_bytes<CheckPowerParameter>};
const Source temperature{read_two<GetReaderTemperature>};
const Source clock{read_bytes<GetTime, 6>};
const Source q_and_session{read_two<GetQS>};
const Source dense_reader_mode{read_bytes<GetDRM>};
const Source region{read_region};
const Source dwell{read_two<GetDwellTime>};
const Source antenna_powers{read_antenna_powers};
const Source write_power{read_bytes<ReadRfPower>};
const Source power_converter{read_bytes<GetDAC>};
const Source antennas{read_antennas};
const Source system{read_system};
const Source read_parameters{read_read_parameters};
const Source filter_time{read_bytes<GetFilterTime>};
const Source filter{read_filter};
const Source output_pulse{read_two<GetGPOParam>};
const Source wiegand{read_wiegand};
const Source lines{read_bytes<GetGPIOStatus>};
const Source trigger{read_trigger};
const Source numbered{read_numbered};

}  // namespace sources

namespace writers {

const Writer address{write_byte<SetAddress>, 1, nullptr, 0, Reach::Address};
const Writer baud{write_byte<SetBaudRate>, 1, nullptr, 0, Reach::Baud};
const Writer communication{write_byte<SetCommType>, 1, nullptr, 0, Reach::Communication};
const Writer serial_number{write_bytes<SetSeriaNo>, 4};
const Writer user_password{write_bytes<SetUserPwd>, 4};
const Writer reader_password{write_bytes<SetReaderPwd>, 4};
const Writer reply_delay{write_byte<SetRevDelay>, 1};
const Writer power_mode{write_two_way<SetPowerMode>, 1};
const Writer heartbeat_time{write_two_way<SetHeartBeatTime>, 1};
const Writer temperature_choice{write_byte<SetTempSelect>, 1};
const Writer clock{write_bytes<SetReal_timeClock>, 6};
const Writer scan_time{write_byte<SetInventoryScanTime>, 1};
const Writer q_and_session{write_two<SetQS>, 2, &sources::q_and_session};
const Writer retries{write_two_way<RetryTimes>, 1};
const Writer protocol{write_two_way<SwitchProtocol>, 1};
const Writer tag_function{write_two_way<SetTagCustomFunction>, 1};
const Writer profile{write_two_way<SetProfile>, 1};
const Writer long_profile{write_long_profile, 2};
const Writer dense_reader_mode{write_byte<SetDRM>, 1};
const Writer region{write_region, to_the_end};
const Writer region_type{write_byte<SetRegionType>, 1};
const Writer dwell{write_dwell, 2, &sources::dwell};
const Writer power{write_byte<SetRfPower>, 1};
const Writer antenna_powers{write_antenna_powers, to_the_end};
const Writer write_power{write_byte<WriteRfPower>, 1};
const Writer power_converter{write_byte<SetDAC>, 1};
const Writer calibration_type{write_byte<SetCalibrationPowerType>, 1};
const Writer antennas{write_antennas, 8};
const Writer antenna_count{write_two_way<ConfigAntNum>, 1};
const Writer antenna_check{write_byte<SetCheckAnt>, 1};
const Writer antenna_switch{write_two<MutipleAntennaSwitch>, 2};
const Writer eas_sensitivity{write_byte<SetEASSensitivity>, 1};
const Writer reports{write_two<SetResponsePamametersofAuto_runningMode>, 2, &sources::system, 2};
const Writer interval{write_byte<SetInventoryInterval>, 1};
const Writer tag_protocol{write_byte<SelectTagType>, 1};
const Writer mask{write_mask, to_the_end};
const Writer trigger_time{write_byte<SetTriggerTime>, 1};
const Writer tid{write_two<SetTIDParameter>, 2, &sources::system, 43};
const Writer read_parameters{write_read_parameters, to_the_end, &sources::read_parameters, 1};
const Writer filter_time{write_byte<SetFilterTime>, 1};
const Writer filter{write_filter, 3, &sources::filter};
const Writer work_mode{write_byte<SetWorkMode>, 1, nullptr, 0, Reach::WorkMode};
const Writer beep{write_byte<SetBeepNotification>, 1};
const Writer pulse_output{write_byte<SetNotificationPulseOutput>, 1};
const Writer gpo{write_two<SetGPOParam>, 2};
const Writer readable_gpo{write_two<SetGPOParam>, 2, &sources::output_pulse};
const Writer wiegand{write_wiegand, 5, &sources::wiegand};
const Writer trigger{write_trigger, 6};
const Writer numbered{write_numbered, to_the_end};

}  // namespace writers

}  // namespace tagwire::tool
