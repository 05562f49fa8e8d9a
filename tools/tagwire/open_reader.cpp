#include "open_reader.h"

#include <fmt/format.h>

#include <tagwirexx/error.hpp>

namespace tagwire::tool {

namespace {

constexpr std::uint8_t any_address = 255;

std::string url_for(const GlobalOptions& options)
{
    auto url = options.reader_url().text();
    if (options.reader_address() == any_address) return url;
    return fmt::format("{}{}address={}", url, url.find('?') == std::string::npos ? '?' : '&',
                       options.reader_address());
}

}  // namespace

Reader open_reader(const Session& session)
{
    Reader reader(url_for(session.options));
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
    Reader reader = Reader::in_update_mode(url_for(session.options));
    session.interrupts.arm();
    return reader;
}

std::string place_of(const Reader& reader)
{
    const auto& url = reader.url();
    return parse_reader_url(url.substr(0, url.find('?'))).place();
}

}  // namespace tagwire::tool
