// A virtual reader behind one kind of link, and its URL.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "simulator.h"

#include <tagwirexx/reader.hpp>

namespace tagwire::test {

enum class Link { tcp, pty };

inline std::string link_name(const testing::TestParamInfo<Link>& info)
{
    return info.param == Link::tcp ? "tcp" : "pty";
}

inline sim::TagSettings make_tag(unsigned serial)
{
    sim::TagSettings tag;
    tag.epc = {0xE2,
               0,
               0,
               0,
               0,
               0,
               0,
               0,
               static_cast<std::uint8_t>(serial >> 24U),
               static_cast<std::uint8_t>(serial >> 16U),
               static_cast<std::uint8_t>(serial >> 8U),
               static_cast<std::uint8_t>(serial)};
    return tag;
}
inline Epc epc_of(unsigned serial) { return Epc(std::span<const std::uint8_t>(make_tag(serial).epc)); }

// As fast as the machine is, at address 0x0A.
inline sim::Scenario make_scenario(unsigned tags)
{
    sim::Scenario scenario;
    scenario.reader.address = 0x0A;
    scenario.reader.air_time = 0;
    scenario.reader.report_rate = 0;
    for (unsigned i = 1; i <= tags; ++i) scenario.tags.push_back(make_tag(i));
    return scenario;
}

// A busy machine may keep an answer for longer than a command waits: then again.
template <class Act> auto patiently(Act act)
{
    for (int attempt = 1; attempt < 20; ++attempt) {
        try {
            return act();
        } catch (const Error& error) {
            if (error.code() != Errc::no_answer && error.code() != Errc::bad_answer) throw;
        }
    }
    return act();
}

// What is thrown; fails where nothing is.
template <class Act> std::unique_ptr<Error> error_of(Act act)
{
    try {
        act();
    } catch (const Error& error) {
        return std::make_unique<Error>(error);
    }
    ADD_FAILURE() << "no Error";
    return std::make_unique<Error>(Errc::file, "", "", "");
}

class VirtualReader : public testing::TestWithParam<Link> {
  protected:
    // Ends the connection to an earlier reader.
    void connect(const sim::Scenario& scenario, const std::string& query = "")
    {
        opened.reset();
        device = &simulator.add_reader(scenario);
        url = url_of(*device, query);
        open();
    }
    void open()
    {
        opened = patiently([&] { return std::make_unique<Reader>(url); });
    }
    std::string url_of(sim::Reader& reader, const std::string& query = "") const
    {
        if (GetParam() == Link::tcp)
            return "tcp://127.0.0.1:" + std::to_string(reader.listen("127.0.0.1", 0)) +
                   (query.empty() ? "" : "?" + query);
        return "serial:" + reader.open_pty() + "?baud=115200" + (query.empty() ? "" : "&" + query);
    }
    Reader& reader() { return *opened; }

    sim::Simulator simulator;
    sim::Reader* device = nullptr;
    std::string url;
    std::unique_ptr<Reader> opened;
};

}  // namespace tagwire::test
