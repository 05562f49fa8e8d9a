#include "virtual_reader.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <signal.h>

namespace tagwire::tool::test {

TemporaryDirectory::TemporaryDirectory()
{
    auto name = (std::filesystem::temp_directory_path() / "tagwire-tool-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryDirectory::write(const std::string& name, const std::string& text) const
{
    std::ofstream(path_ / name, std::ios::binary) << text;
    return path_of(name);
}

std::string TemporaryDirectory::read(const std::string& name) const
{
    std::ostringstream text;
    text << std::ifstream(path_ / name, std::ios::binary).rdbuf();
    return text.str();
}

VirtualReader::VirtualReader(const std::string& scenario, const Arguments& more)
    : process_(start(scenario, more))
{
    const std::string tcp = "listening on ";
    const std::string serial = "pty ";
    while (auto line = process_.next_line()) {
        if (*line == "ready") return;
        if (line->starts_with(tcp)) url_ = "tcp://" + line->substr(tcp.size());
        if (line->starts_with(serial)) url_ = "serial:" + line->substr(serial.size());
    }
    throw std::runtime_error("tagwire-sim does not start: " + process_.wait().err);
}

bool VirtualReader::wait_for_request(const std::string& code)
{
    // 0.012345 #1 07 -> 04 FF 21 19 95: length, address and code follow the arrow.
    const std::string arrow = "-> ";
    while (const auto line = process_.next_error_line()) {
        const auto position = line->find(arrow);
        if (position == std::string::npos || line->size() < position + 11) continue;
        if (line->compare(position + arrow.size() + 6, 2, code) == 0) return true;
    }
    return false;
}

void VirtualReader::end()
{
    process_.send_signal(SIGKILL);
    process_.wait();
}

Process VirtualReader::start(const std::string& scenario, Arguments more)
{
    more.emplace_back("--scenario");
    more.push_back(directory_.write("reader.toml", scenario));
    return Process(TAGWIRE_SIM_PATH, more);
}

Arguments with_reader(const VirtualReader& reader, Arguments arguments)
{
    arguments.emplace_back("--reader");
    arguments.push_back(reader.url());
    return arguments;
}

Ended tool(const VirtualReader& reader, const Arguments& arguments, const std::string& input_file)
{
    return run(TAGWIRE_TOOL_PATH, with_reader(reader, arguments), {}, input_file);
}

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const auto end = text.find('\n', begin);
        lines.push_back(text.substr(begin, end - begin));
        begin = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

std::vector<Json> objects_of(const std::string& text)
{
    std::vector<Json> objects;
    for (const auto& line : lines_of(text)) objects.push_back(Json::parse(line));
    return objects;
}

}  // namespace tagwire::tool::test
