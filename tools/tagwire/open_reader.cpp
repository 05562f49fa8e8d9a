#include "open_reader.h"

#include <tagwirexx/error.hpp>

namespace tagwire::tool {

Reader open_reader(const Session& session)
{
    Reader reader(session.options.reader.url);
    session.interrupts.arm();
    return reader;
}

Reader open_reader_in_any_mode(const Session& session)
{
    try {
        return open_reader(session);
    } catch (const Error& error) {
        if (error.code() != Errc::no_answer || session.options.reader.url.starts_with("serial:auto")) throw;
    }
    Reader reader = Reader::in_update_mode(session.options.reader.url);
    session.interrupts.arm();
    return reader;
}

std::string place_of(const Reader& reader)
{
    const auto url = reader.url().substr(0, reader.url().find('?'));
    constexpr std::string_view tcp = "tcp://";
    constexpr std::string_view serial = "serial:";
    return url.starts_with(tcp) ? "at " + url.substr(tcp.size()) : "on " + url.substr(serial.size());
}

}  // namespace tagwire::tool
