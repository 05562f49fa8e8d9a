// tagwire for C++: all of it.
//
//     tagwire::Reader   one reader, asked and told             tagwirexx/reader.hpp
//     tagwire::Tag      one tag: read, written, locked         tagwirexx/tag.hpp
//     tagwire::Stream   many readers, one queue of events      tagwirexx/stream.hpp
//     tagwire::Error    what every call throws                 tagwirexx/error.hpp
//
// Needs C++20 and links to tagwirexx (CMake: tagwire::tagwirexx). No header of the C library is included, and
// a process may use both libraries, on different readers.
#pragma once

#include <tagwirexx/at_mode.hpp>
#include <tagwirexx/buffer.hpp>
#include <tagwirexx/bytes.hpp>
#include <tagwirexx/commission.hpp>
#include <tagwirexx/error.hpp>
#include <tagwirexx/event.hpp>
#include <tagwirexx/firmware.hpp>
#include <tagwirexx/identifier.hpp>
#include <tagwirexx/info.hpp>
#include <tagwirexx/inventory.hpp>
#include <tagwirexx/lines.hpp>
#include <tagwirexx/modes.hpp>
#include <tagwirexx/network.hpp>
#include <tagwirexx/password.hpp>
#include <tagwirexx/profile.hpp>
#include <tagwirexx/radio.hpp>
#include <tagwirexx/read.hpp>
#include <tagwirexx/reader.hpp>
#include <tagwirexx/recording.hpp>
#include <tagwirexx/select.hpp>
#include <tagwirexx/sensors.hpp>
#include <tagwirexx/settings.hpp>
#include <tagwirexx/stream.hpp>
#include <tagwirexx/tables.hpp>
#include <tagwirexx/tag.hpp>
#include <tagwirexx/units.hpp>
