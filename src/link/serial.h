// The serial channel.
#pragma once

#include <termios.h>

#include "reader/reader.h"

namespace tagwire::engine {

// The speed of a baud index: 0 9600, 1 19200, 2 38400, 5 57600, 6 115200, 7 921600, any other 57600.
speed_t line_speed(u8 baud);

// 8 data bits, no parity, 1 stop bit, reads that return at once; flags not named stay as they are.
void set_raw_8n1(termios& line, u8 baud);

// Flushes standard input (not the port), then applies the settings at once. Nonzero on failure.
int apply_line(int fd, const termios& line);

int read_serial(Reader* reader, u8* to);
int send_serial(Reader* reader, u8* frame, unsigned count);
int send_stop_serial(Reader* reader, u8* frame, unsigned count);

// A device for who has no Reader, with its line set: the descriptor, or -1 with errno, EBUSY where another one has it.
// `held` goes back to close_port().
int open_port(const char* path, u8 baud, HeldPort** held);
void close_port(int fd, HeldPort* held);

// Shuts the link and closes its device, whose number stays in hCommPort. False when it was closed already.
bool close_port(Reader* reader);

}  // namespace tagwire::engine
