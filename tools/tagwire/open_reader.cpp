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
        if (error.code() != Errc::no_answer || session.options.reader_url().link == Link::SerialAuto) throw;
    }
    Reader reader = Reader::in_update_mode(session.options.reader.url);
    session.interrupts.arm();
    return reader;
}

std::string place_of(const Reader& reader)
{
    const auto& url = reader.url();
    return parse_reader_url(url.substr(0, url.find('?'))).place();
}

}  // namespace tagwire::tool
