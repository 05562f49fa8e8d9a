// Commands that read or write memory of a tag, whatever kind of tag it is.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app.h"
#include "format.h"
#include "tag_memory.h"

namespace tagwire::tool {

using MakeMemory = std::function<std::unique_ptr<TagMemory>(const ReaderConnection&)>;

struct ReadJob {
    Json head;         // of the object shown: the type, the tag, the bank
    std::string unit;  // "word" or "byte"
    Run run;
    std::string file;  // for the raw data; empty shows it
    MakeMemory make_memory;
};

int run_read(Session& session, const ReadJob& job);

struct WriteJob {
    Json head;
    std::string unit;
    std::string place;  // of the sentence "6 words of ... written"
    std::uint32_t first = 0;
    Bytes data;
    bool verify = false;
    Operation operation = Operation::WriteMemory;
    MakeMemory make_memory;
};

int run_write(Session& session, const WriteJob& job);

// The same on an open connection; returns the exit code.
int write_and_show(Session& session, const ReaderConnection& reader, TagMemory& memory, const WriteJob& job);

}  // namespace tagwire::tool
