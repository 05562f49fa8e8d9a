#include "truth/truth.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <system_error>

#include <nlohmann/json.hpp>

namespace tagwire::sim {

namespace {

using Json = nlohmann::ordered_json;

// With microseconds.
double seconds(Time time)
{
    return std::round(std::chrono::duration<double, std::micro>(time).count()) / 1e6;
}

std::string timestamp(std::chrono::system_clock::time_point at)
{
    const auto since = std::chrono::duration_cast<std::chrono::milliseconds>(at.time_since_epoch()).count();
    const std::time_t whole = since / 1000;
    std::tm fields{};
    ::gmtime_r(&whole, &fields);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &fields);
    const std::string fraction = std::to_string(1000 + since % 1000);
    return text.data() + fraction.substr(1) + 'Z';
}

}  // namespace

class Truth::Line {
  public:
    Line(Truth& truth, Time at, std::string_view what) : truth_(truth)
    {
        add("what", what);
        add("t", seconds(at));
        add("wall", timestamp(truth.start_ + std::chrono::duration_cast<std::chrono::microseconds>(at)));
    }

    template <typename Value> Line& add(const char* key, const Value& value)
    {
        json_[key] = value;
        return *this;
    }
    Line& add(unsigned reader, const Heard& tag)
    {
        add("epc", to_hex(tag.epc)).add("tid", to_hex(tag.tid));
        return add("reader", reader).add("port", tag.port);
    }
    Line& add(const Telling& frame, const Heard& tag)
    {
        add(frame.reader, tag).add("antenna", frame.device.antenna_byte(tag.port));
        if (frame.connection != 0) add("connection", frame.connection);
        return add("in", frame.kind == FrameKind::report ? "report" : "answer");
    }
    void write() const { truth_.file_ << json_.dump() << '\n'; }

  private:
    Truth& truth_;
    Json json_;
};

Truth::Truth(const std::string& path, Time now)
    : path_(path), file_(path, std::ios::binary | std::ios::trunc),
      start_(std::chrono::system_clock::now() - std::chrono::duration_cast<std::chrono::microseconds>(now))
{
    if (!file_) throw std::system_error(errno, std::generic_category(), path_);
    Line(*this, now, "start").write();
}

void Truth::enters(Time at, unsigned reader, std::uint8_t antenna, const Heard& tag)
{
    Line(*this, at, "enter").add(reader, tag).add("antenna", antenna).write();
}

void Truth::leaves(Time at, Time since, unsigned reader, const Heard& tag)
{
    Line(*this, at, "leave").add(reader, tag).add("from", seconds(since)).write();
}

void Truth::sent(Time at, const Telling& frame)
{
    for (const Heard& tag : frame.tags) Line(*this, at, "sent").add(frame, tag).write();
}

void Truth::destroyed(Time at, const Telling& frame, std::string_view why)
{
    for (const Heard& tag : frame.tags) Line(*this, at, "destroyed").add(frame, tag).add("why", why).write();
}

bool Truth::is_at(const std::string& path) const
{
    std::error_code ignored;
    return std::filesystem::equivalent(path, path_, ignored);
}

void Truth::end(Time at)
{
    Line(*this, at, "end").write();
    file_.close();
    if (!file_) throw std::system_error(errno, std::generic_category(), path_ + " is not complete");
}

}  // namespace tagwire::sim
