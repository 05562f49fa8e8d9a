#include "format.h"

#include <tagwirexx/bytes.hpp>

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

using namespace std::chrono_literals;

Read sample(bool with_phase)
{
    Read read;
    read.epc = Epc(from_hex("E28011700000020F"));
    read.port = Port(3);
    read.antenna_byte = 4;
    read.rssi = 201;
    if (with_phase) {
        read.phase = tagwire::Phase{100, 200};
        read.frequency = Kilohertz{866700};
    }
    read.received.wall = std::chrono::system_clock::time_point(1717150500123ms);
    return read;
}

TagRow sample_row(bool with_phase)
{
    TagRow row;
    row.latest = sample(with_phase);
    row.reads = 7;
    row.first = row.latest.received;
    return row;
}

std::vector<std::string> keys(const Json& object)
{
    std::vector<std::string> names;
    for (const auto& [name, value] : object.items()) names.push_back(name);
    return names;
}

using Names = std::vector<std::string>;

TEST(Timestamp, IsUtcWithMilliseconds)
{
    EXPECT_EQ(timestamp_text(std::chrono::system_clock::time_point(1717150500123ms)),
              "2024-05-31T10:15:00.123Z");
    EXPECT_EQ(timestamp_text(std::chrono::system_clock::time_point(-1ms)), "1969-12-31T23:59:59.999Z");
}

TEST(ReportText, IsOneLine)
{
    EXPECT_EQ(report_line(sample(false)), "2024-05-31T10:15:00.123Z  E28011700000020F  antenna 3  rssi 201");
    EXPECT_EQ(report_line(sample(true)),
              "2024-05-31T10:15:00.123Z  E28011700000020F  antenna 3  rssi 201  phase 100 200  866700 kHz");
}

TEST(ReportText, IsJsonThatParses)
{
    const auto line = json_line(report_json(sample(true)));
    EXPECT_EQ(line.find('\n'), std::string::npos);
    const auto object = Json::parse(line);
    EXPECT_EQ(keys(object), (Names{"type", "time", "epc", "antenna", "antenna_byte", "rssi", "phase_begin",
                                   "phase_end", "frequency_khz"}));
    EXPECT_EQ(object["type"], "report");
    EXPECT_EQ(object["time"], "2024-05-31T10:15:00.123Z");
    EXPECT_EQ(object["epc"], "E28011700000020F");
    EXPECT_EQ(object["antenna"], 3);
    EXPECT_EQ(object["antenna_byte"], 4);
    EXPECT_EQ(object["rssi"], 201);
    EXPECT_EQ(object["phase_begin"], 100);
    EXPECT_EQ(object["phase_end"], 200);
    EXPECT_EQ(object["frequency_khz"], 866700);
    EXPECT_EQ(keys(Json::parse(json_line(report_json(sample(false))))),
              (Names{"type", "time", "epc", "antenna", "antenna_byte", "rssi"}));
}

TEST(TagText, IsOneLine)
{
    EXPECT_EQ(tag_line(sample_row(false)), "E28011700000020F  antenna 3  rssi 201  reads 7");
    EXPECT_EQ(tag_line(sample_row(true)),
              "E28011700000020F  antenna 3  rssi 201  reads 7  phase 100 200  866700 kHz");
    EXPECT_EQ(tag_line({}), "-  antenna ?  rssi 0  reads 0");
}

TEST(TagText, IsJsonThatParses)
{
    const auto object = Json::parse(json_line(tag_json(sample_row(true))));
    EXPECT_EQ(keys(object), (Names{"type", "epc", "antenna", "antenna_byte", "rssi", "reads", "first_seen",
                                   "last_seen", "phase_begin", "phase_end", "frequency_khz"}));
    EXPECT_EQ(object["type"], "tag");
    EXPECT_EQ(object["reads"], 7);
    EXPECT_EQ(object["first_seen"], "2024-05-31T10:15:00.123Z");
}

TEST(JsonLine, ReplacesWhatIsNotUtf8)
{
    Json object;
    object["reader"] = "serial:/dev/\xFF";
    EXPECT_TRUE(Json::accept(json_line(object)));
}

TEST(Summary, CountsTagsAndReads)
{
    TagTable table(2);
    EXPECT_EQ(summary_text(table, 0s), "0 tags, 0 reads in 0.0 s");
    table.add(sample(false));
    EXPECT_EQ(summary_text(table, 1s), "1 tag, 1 read in 1.0 s");
    table.add(sample(false));
    EXPECT_EQ(summary_text(table, 90s), "1 tag, 2 reads in 90.0 s");
    for (const auto* const id : {"AA", "BB"}) {
        Read read;
        read.epc = Epc(from_hex(id));
        table.add(read);
    }
    EXPECT_EQ(summary_text(table, 1s), "more than 2 tags, 4 reads in 1.0 s");
}

}  // namespace
}  // namespace tagwire::tool
