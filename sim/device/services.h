// What a reader does besides reading tags.
#pragma once

#include "device/clock.h"
#include "device/firmware.h"
#include "device/modem.h"
#include "device/parameter_tables.h"

namespace tagwire::sim {

struct Services {
    Services(const ServiceSettings& settings, const std::array<std::uint8_t, 2>& version);

    // What has begun is forgotten; addresses, tables and the marked firmware stay.
    void restart();

    NetworkSettings network;
    std::optional<GpsSettings> gps;
    Clock satellite_clock;
    RemoteServer server;
    Modem modem;
    Firmware firmware;
    ParameterTables tables;
    std::optional<std::array<std::uint8_t, 4>> identification;  // the token of one that has begun
};

}  // namespace tagwire::sim
