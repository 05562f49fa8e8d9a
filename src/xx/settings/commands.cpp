#include "xx/settings/commands.h"

#include <algorithm>

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace rows {
namespace {

using O = Operations;

constexpr u8 set_bit = 0x80;  // of commands that both tell and set
constexpr std::size_t most_bytes = 256;

// -- the usual forms

template <auto command, std::size_t size = 1> Bytes read_bytes(const Send& send)
{
    Bytes data(size);
    send.ask(static_cast<int>(size), command, data.data());
    return data;
}

template <auto command> Bytes read_two(const Send& send)
{
    Bytes data(2);
    send.ask(2, command, &data[0], &data[1]);
    return data;
}

template <auto command> Bytes write_byte(const Send& send, Bytes& block)
{
    send.change(command, block[0]);
    return {};
}

template <auto command> Bytes write_two(const Send& send, Bytes& block)
{
    send.change(command, block[0], block[1]);
    return {};
}

template <auto command> Bytes write_bytes(const Send& send, Bytes& block)
{
    send.change(command, block.data());
    return {};
}

template <auto command> Bytes write_two_way(const Send& send, Bytes& block)
{
    if (send.two_way) block[0] = static_cast<u8>(block[0] | set_bit);
    send.inside.ask({send.name, Effect::change, 1}, command, block.data());
    if (send.two_way) block[0] = static_cast<u8>(block[0] & ~set_bit);
    return block;
}

// -- the reader

Bytes read_information(const Send& send)
{
    const engine::ReaderInformation& told = send.inside.ask_information();
    return {told.version[0],       told.version[1],    told.type,      told.protocols, told.highest_frequency,
            told.lowest_frequency, told.power,         told.scan_time, told.antennas,  told.beeper,
            told.output_report,    told.antenna_check, told.address};
}

// Of a serial line.
Bytes read_line_speed(const Send& send) { return {send.inside.line_speed().value_or(0)}; }

Bytes read_chip_version(const Send& send)
{
    Bytes data(3);
    send.ask(4, &O::GetEx10Version, &data[0], &data[2]);
    return data;
}

Bytes read_start_information(const Send& send)
{
    Bytes d(9);
    send.ask(9, &O::GetStartInformation, &d[0], &d[1], &d[2], &d[3], &d[4], &d[5], &d[6], &d[7], &d[8]);
    return d;
}

Bytes read_module_description(const Send& send)
{
    Bytes data(16);
    send.ask(17, &O::GetModuleDescribe, data.data());
    return data;
}

Bytes use_long_profile(const Send& send, Effect effect, const Bytes& data)
{
    int profile = data[0] << 8 | data[1];
    send.inside.ask({send.name, effect, 2}, &O::SetExtProfile, u8{effect == Effect::change}, &profile);
    return {static_cast<u8>(profile >> 8), static_cast<u8>(profile)};
}

Bytes read_long_profile(const Send& send) { return use_long_profile(send, Effect::none, Bytes(2)); }

Bytes write_long_profile(const Send& send, Bytes& block)
{
    return use_long_profile(send, Effect::change, block);
}

// -- frequencies, power, antennas

Bytes read_region(const Send& send) { return ask_region(send.inside, {send.name}); }

Bytes write_region(const Send& send, Bytes& block)
{
    send_region(send.inside, {send.name, Effect::change}, block, send.lasting);
    return {};
}

Bytes write_dwell(const Send& send, Bytes& block)
{
    send.change(&O::SetDwellTime, static_cast<u8>(send.lasting), block[0], block[1]);
    return {};
}

// Not every reader has a power for each port.
Bytes read_powers(const Send& send)
{
    constexpr std::size_t power_at = 6;
    try {
        return ask_powers(send.inside, {send.name});
    } catch (const Error& error) {
        if (error.code() != Errc::no_such_feature && error.code() != Errc::refused) throw;
        return {read_information(send)[power_at]};
    }
}

Bytes write_powers(const Send& send, Bytes& block)
{
    send_powers(send.inside, {send.name, Effect::change}, block);
    return {};
}

// No reader is without antennas: zeros are an answer of another form.
Bytes read_antennas(const Send& send)
{
    Bytes data(8);
    send.ask(8, &O::OptAntenna, u8{0}, u8{0}, data.data());
    if (std::all_of(data.begin(), data.end(), [](u8 byte) { return byte == 0; }))
        throw Error(Errc::no_such_feature, send.name, send.inside.name(),
                    "the reader does not tell its antennas");
    return data;
}

Bytes write_antennas(const Send& send, Bytes& block)
{
    send.change(&O::OptAntenna, u8{1}, static_cast<u8>(send.lasting), block.data());
    return {};
}

// -- reading without a host

Bytes read_system(const Send& send) { return ask_system_parameters(send.inside, {send.name}); }
Bytes read_read_parameters(const Send& send) { return ask_read_parameters(send.inside, {send.name}); }

Bytes write_read_parameters(const Send& send, Bytes& block)
{
    block.insert(block.begin(), 0);  // the work mode, which is told only
    send_read_parameters(send.inside, {send.name, Effect::change}, block);
    return {};
}

Bytes write_mask(const Send& send, Bytes& block)
{
    block.resize(4 + 32);
    send.change(&O::SetMask, block[0], &block[1], block[3], &block[4]);
    return {};
}

// -- inputs and outputs

Bytes read_family_values(const Send& send) { return ask_family_values(send.inside, {send.name}); }

Bytes write_filter(const Send& send, Bytes& block)
{
    send.change(&O::SetFilterParam, block[0], block[1], block[2]);
    return {};
}

Bytes read_wiegand(const Send& send)
{
    Bytes d(5);
    send.ask(5, &O::GetWieGandParam, &d[0], &d[1], &d[2], &d[3], &d[4]);
    return d;
}

Bytes write_wiegand(const Send& send, Bytes& d)
{
    send.change(&O::SetWieGandParam, d[0], d[1], d[2], d[3], d[4]);
    return {};
}

Bytes read_trigger(const Send& send)
{
    Bytes d(6);
    send.ask(7, &O::GetTriggerLinkageParam, send.index, &d[0], &d[1], &d[2], &d[3], &d[4], &d[5]);
    return d;
}

Bytes write_trigger(const Send& send, Bytes& d)
{
    send.change(&O::SetTriggerLinkageParam, send.index, d[0], d[1], d[2], d[3], d[4], d[5]);
    return {};
}

Bytes read_numbered(const Send& send)
{
    Bytes data(most_bytes);
    int length = 0;
    send.ask(0, &O::GetCfgParameter, send.index, data.data(), &length);
    data.resize(static_cast<std::size_t>(std::clamp(length, 0, send.inside.came())));
    return data;
}

Bytes write_numbered(const Send& send, Bytes& block)
{
    send.change(&O::SetCfgParameter, static_cast<u8>(send.lasting), send.index, block.data(),
                static_cast<int>(block.size()));
    return {};
}

}  // namespace

namespace sources {

const Source information{read_information};
const Source line_speed{read_line_speed};
const Source serial_number{read_bytes<&O::GetSeriaNo, 4>};
const Source user_password{read_bytes<&O::GetUserPwd, 4>};
const Source reader_password{read_bytes<&O::GetReaderPwd, 4>};
const Source reply_delay{read_bytes<&O::GetRevDelay>};
// Readers whose two-way commands need a bit to set tell the setting without it.
const Source power_mode{read_bytes<&O::SetPowerMode>, true};
const Source heartbeat_time{read_bytes<&O::SetHeartBeatTime>, true};
const Source retries{read_bytes<&O::RetryTimes>, true};
const Source protocol{read_bytes<&O::SwitchProtocol>, true};
const Source tag_function{read_bytes<&O::SetTagCustomFunction>, true};
const Source profile{read_bytes<&O::SetProfile>, true};
const Source antenna_count{read_bytes<&O::ConfigAntNum>, true};
const Source long_profile{read_long_profile};
const Source module_version{read_bytes<&O::GetModuleVersion, 2>};
const Source module_description{read_module_description};
const Source chip_version{read_chip_version};
const Source start_information{read_start_information};
const Source power_check{read_bytes<&O::CheckPowerParameter>};
const Source temperature{read_two<&O::GetReaderTemperature>};
const Source clock{read_bytes<&O::GetTime, 6>};
const Source q_and_session{read_two<&O::GetQS>};
const Source dense_reader_mode{read_bytes<&O::GetDRM>};
const Source region{read_region};
const Source dwell{read_two<&O::GetDwellTime>};
const Source powers{read_powers};
const Source write_power{read_bytes<&O::ReadRfPower>};
const Source power_converter{read_bytes<&O::GetDAC>};
const Source antennas{read_antennas};
const Source system{read_system};
const Source read_parameters{read_read_parameters};
const Source filter_time{read_bytes<&O::GetFilterTime>};
const Source family_values{read_family_values};
const Source wiegand{read_wiegand};
const Source lines{read_bytes<&O::GetGPIOStatus>};
const Source trigger{read_trigger};
const Source numbered{read_numbered};

}  // namespace sources

namespace writers {

const Writer address{write_byte<&O::SetAddress>, 1, nullptr, 0, Order::address};
const Writer baud{write_byte<&O::SetBaudRate>, 1, nullptr, 0, Order::speed};
const Writer communication{write_byte<&O::SetCommType>, 1, nullptr, 0, Order::interface};
const Writer serial_number{write_bytes<&O::SetSeriaNo>, 4};
const Writer user_password{write_bytes<&O::SetUserPwd>, 4};
const Writer reader_password{write_bytes<&O::SetReaderPwd>, 4};
const Writer reply_delay{write_byte<&O::SetRevDelay>};
const Writer power_mode{write_two_way<&O::SetPowerMode>};
const Writer heartbeat_time{write_two_way<&O::SetHeartBeatTime>};
const Writer temperature_choice{write_byte<&O::SetTempSelect>};
const Writer clock{write_bytes<&O::SetReal_timeClock>, 6};
const Writer scan_time{write_byte<&O::SetInventoryScanTime>};
const Writer q_and_session{write_two<&O::SetQS>, 2, &sources::q_and_session};
const Writer retries{write_two_way<&O::RetryTimes>};
const Writer protocol{write_two_way<&O::SwitchProtocol>};
const Writer tag_function{write_two_way<&O::SetTagCustomFunction>};
const Writer profile{write_two_way<&O::SetProfile>};
const Writer long_profile{write_long_profile, 2};
const Writer dense_reader_mode{write_byte<&O::SetDRM>};
const Writer region{write_region, 0, nullptr, 0, Order::plain, true};
const Writer region_type{write_byte<&O::SetRegionType>};
const Writer dwell{write_dwell, 2, &sources::dwell, 0, Order::plain, true};
const Writer powers{write_powers, 0};
const Writer write_power{write_byte<&O::WriteRfPower>};
const Writer calibration_type{write_byte<&O::SetCalibrationPowerType>};
const Writer antennas{write_antennas, 8, nullptr, 0, Order::plain, true};
const Writer antenna_count{write_two_way<&O::ConfigAntNum>};
const Writer antenna_check{write_byte<&O::SetCheckAnt>};
const Writer antenna_switch{write_two<&O::MutipleAntennaSwitch>, 2};
const Writer eas_sensitivity{write_byte<&O::SetEASSensitivity>};
const Writer reports{write_two<&O::SetResponsePamametersofAuto_runningMode>, 2, &sources::system, 2};
const Writer interval{write_byte<&O::SetInventoryInterval>};
const Writer tag_protocol{write_byte<&O::SelectTagType>};
const Writer mask{write_mask, 0};
const Writer trigger_time{write_byte<&O::SetTriggerTime>};
const Writer tid{write_two<&O::SetTIDParameter>, 2, &sources::system, 43};
const Writer read_parameters{write_read_parameters, 0, &sources::read_parameters, 1};
const Writer filter_time{write_byte<&O::SetFilterTime>};
const Writer filter{write_filter, 3, &sources::family_values};
const Writer work_mode{write_byte<&O::SetWorkMode>, 1, nullptr, 0, Order::work_mode};
const Writer beep{write_byte<&O::SetBeepNotification>};
const Writer pulse_output{write_byte<&O::SetNotificationPulseOutput>};
const Writer gpo{write_two<&O::SetGPOParam>, 2};
const Writer readable_gpo{write_two<&O::SetGPOParam>, 2, &sources::family_values};
const Writer wiegand{write_wiegand, 5, &sources::wiegand};
const Writer trigger{write_trigger, 6};
const Writer numbered{write_numbered, 0, nullptr, 0, Order::plain, true};

}  // namespace writers

}  // namespace rows
}  // namespace v1
}  // namespace tagwire
