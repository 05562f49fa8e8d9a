// A virtual reader in this process, which shows what has become of it, and the tool as a process that works
// with it.
#pragma once

#include "virtual_reader.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulator.h"

namespace tagwire::tool::test {

enum class ReaderLink { tcp, pty };

inline std::string reader_link_name(const testing::TestParamInfo<ReaderLink>& info)
{
    return info.param == ReaderLink::tcp ? "tcp" : "pty";
}

class SimulatedReader {
  public:
    SimulatedReader(ReaderLink link, const std::string& scenario)
        : reader_(simulator_.add_reader_from_text(scenario)),
          url_(link == ReaderLink::tcp ? "tcp://127.0.0.1:" + std::to_string(reader_.listen())
                                       : "serial:" + reader_.open_pty())
    {}

    sim::Reader* operator->() const { return &reader_; }

    Arguments arguments(Arguments words) const
    {
        words.insert(words.end(), {"--reader", url_});
        return words;
    }
    Ended tool(const Arguments& words) const { return run(TAGWIRE_TOOL_PATH, arguments(words)); }

    // What it prints when all goes well.
    std::string output(const Arguments& words) const
    {
        const auto ended = tool(words);
        EXPECT_EQ(ended.exit_code, 0) << ended.err;
        return ended.out;
    }
    std::vector<Json> objects(Arguments words) const
    {
        words.emplace_back("--json");
        return objects_of(output(words));
    }
    // Expects exactly one object.
    Json object(const Arguments& words) const
    {
        const auto all = objects(words);
        EXPECT_EQ(all.size(), 1u);
        return all.empty() ? Json::object() : all[0];
    }
    void expect_failure(const Arguments& words, const std::string& message) const
    {
        const auto ended = tool(words);
        EXPECT_EQ(ended.exit_code, 1) << ended.out;
        EXPECT_EQ(ended.out, "");
        EXPECT_NE(ended.err.find(message), std::string::npos) << ended.err;
    }

  private:
    sim::Simulator simulator_;
    sim::Reader& reader_;
    std::string url_;
};

}  // namespace tagwire::tool::test
