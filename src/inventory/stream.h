// One run of continuous reading.
#pragma once

#include "reader/reader.h"

namespace tagwire::engine {

// One run of continuous reading, from the question to the reader until its worker ends. A later run has a
// Stream of its own, so that a worker that was stopped inside its callback finds its own run over, whatever
// was started since.
struct Stream {
    Reader* reader;
    Atomic<unsigned> users;  // whoever starts it, then its worker; the Reader; a StopRead that waits for it
    Atomic<bool> over;       // stopped: no worker, or no further cycle
    Gate reading;            // around the worker's reads of the link
    // Apart: as long as nothing is reported they take no memory.
    struct Buffers {
        u8 chunk[buffer_size];
        u8 assembly[buffer_size];
    };
    Buffers* buffers;
};

// With one user; null when there is no memory.
Stream* make_stream(Reader* reader);

// One user less; the last one frees it.
void drop(Stream* stream);

}  // namespace tagwire::engine
