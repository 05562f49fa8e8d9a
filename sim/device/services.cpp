#include "device/services.h"

namespace tagwire::sim {

Services::Services(const ServiceSettings& settings, const std::array<std::uint8_t, 2>& version)
    : network(settings.network), gps(settings.gps), server(settings.modem.server), modem(settings.modem),
      firmware(settings.firmware, version), tables(settings.tables)
{
    if (gps) satellite_clock.set(Time{}, gps->time);
}

void Services::restart()
{
    modem.restart();
    firmware.end_update();
    tables.stop_writing();
    identification.reset();
}

}  // namespace tagwire::sim
