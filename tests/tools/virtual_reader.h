// A virtual reader as a process of its own, and the tool as one that works with it.
#pragma once

#include "process.h"

#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace tagwire::tool::test {

using Json = nlohmann::json;
using Arguments = std::vector<std::string>;

class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::string path_of(const std::string& name) const { return (path_ / name).string(); }
    // Both with a path in this directory.
    std::string write(const std::string& name, const std::string& text) const;
    std::string read(const std::string& name) const;

  private:
    std::filesystem::path path_;
};

// Ready, and where it is.
class VirtualReader {
  public:
    explicit VirtualReader(const std::string& scenario, const Arguments& more = {});

    const std::string& url() const { return url_; }

    // Waits for a request with this command code, two digits; needs --trace.
    bool wait_for_request(const std::string& code);
    void end();

  private:
    Process start(const std::string& scenario, Arguments more);

    TemporaryDirectory directory_;
    Process process_;
    std::string url_;
};

Arguments with_reader(const VirtualReader& reader, Arguments arguments);
Ended tool(const VirtualReader& reader, const Arguments& arguments,
           const std::string& input_file = "/dev/null");

std::vector<std::string> lines_of(const std::string& text);
std::vector<Json> objects_of(const std::string& text);

}  // namespace tagwire::tool::test
