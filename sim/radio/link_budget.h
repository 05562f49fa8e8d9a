// What an antenna and a tag make of each other, in decibels.
//
// power at the tag   = output power - cable loss - loss by reflection + gain of the antenna in the tag's direction
//                      - free-space loss - loss by polarisation + gain of the tag's dipole - loss by detuning
// power at the reader = power at the tag, less what the tag reflects of it, and the same way back
//
// Free-space loss is 20 log10(4 pi d f / c). An antenna loses 12 (angle / beam width)^2 dB off its axis, up to 25 dB.
// A half-wave dipole has 2.15 dBi across its axis and cos(pi/2 cos t) / sin t of that field at the angle t, down to
// -20 dB. Circular polarisation costs 3 dB at any angle, linear the square of the cosine, up to 20 dB. Of what an
// antenna gets it reflects 10^(-return loss / 10). A tag off its frequency loses as a resonant circuit does.
#pragma once

#include "scenario/radio_settings.h"

namespace tagwire::sim {

struct LinkBudget {
    double at_tag = 0;     // dBm
    double at_reader = 0;  // dBm, of the tag's reply
};

Vector position_at(const TagRadioSettings& tag, Time since_arrival);

// No tag at that place gets more, however it is turned.
double most_at_tag(const AntennaSettings& antenna, double power, double mhz, const Vector& place);

// `return_loss` and `power` are the antenna's at the moment, in dB and dBm.
LinkBudget link_budget(const AntennaSettings& antenna, double return_loss, double power, double mhz,
                       const TagRadioSettings& tag, const Vector& place);

}  // namespace tagwire::sim
