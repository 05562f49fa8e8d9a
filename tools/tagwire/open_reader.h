// A reader through the library for C++.
#pragma once

#include <string>

#include <tagwirexx/reader.hpp>

#include "app.h"

namespace tagwire::tool {

// The reader of the session's options. Until it is open a signal ends the process, from then on it asks to stop. Throws tagwire::Error, whose text is for people.
Reader open_reader(const Session& session);
// The same of one that does not say who it is, for it was left in its update mode.
Reader open_reader_in_any_mode(const Session& session);

// As it reads in a message after "reader": "on /dev/ttyUSB0", "at 192.0.2.10:6000".
std::string place_of(const Reader& reader);

}  // namespace tagwire::tool
