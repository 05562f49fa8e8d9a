// What a virtual reader is and which tags are in its field, in memory or read from a TOML file.
#pragma once

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bytes.h"
#include "control/timed_order.h"
#include "scenario/fault.h"
#include "scenario/other_tag_settings.h"
#include "scenario/radio_settings.h"
#include "scenario/sensor_settings.h"
#include "scenario/service_settings.h"

namespace tagwire::sim {

// Says where the scenario is wrong and how: "portal.toml:12: odd number of hexadecimal digits ...".
class ScenarioError : public std::runtime_error {
  public:
    ScenarioError(const std::string& source, unsigned line, const std::string& problem);

    unsigned line() const { return line_; }  // 0 when the fault lies in no particular line

  private:
    unsigned line_;
};

// What a Gen2 tag locks one by one.
enum class Area : std::uint8_t { kill_password, access_password, epc, tid, user };
inline constexpr std::size_t lock_areas = 5;

// Who may write an area, of the passwords also who may read them. The two that are forever stay.
enum class Lock : std::uint8_t { open, open_forever, closed, closed_forever };

inline constexpr unsigned most_tags = 100000;

struct TagSettings {
    Bytes epc;
    Bytes tid;
    Bytes user;
    std::array<std::uint8_t, 4> access_password{};
    std::array<std::uint8_t, 4> kill_password{};
    std::array<std::uint8_t, 2> brand{};
    std::array<Lock, lock_areas> locks{Lock::closed, Lock::closed, Lock::open, Lock::closed_forever,
                                       Lock::open};  // as in Area
    unsigned epc_words = 0;        // room for the EPC; 0: 8 words, more if the EPC is longer
    unsigned block_words = 4;      // of the blocks of user memory that are locked one by one
    std::uint8_t write_power = 0;  // dBm that a reader must have to change the tag
    bool eas = false;
    Bytes public_epc;                   // shown in the public profile; empty: zeros
    std::vector<unsigned> antennas{1};  // ports that see the tag, the first is 1
    std::uint8_t rssi = 200;
    std::uint8_t rssi_noise = 0;    // every reading lies within rssi +- this
    std::uint16_t phase = 0;        // at the start of a reading
    std::uint16_t phase_drift = 0;  // from the start to the end of a reading
    Time arrives{};
    std::optional<Time> departs;
    std::optional<TagRadioSettings> radio;  // none: in a field without losses
    std::optional<SensorSettings> sensor;
};

// Items with tags on them that come along a straight belt, one after the other.
struct ConveyorSettings {
    TagSettings tag;  // what they have in common; EPC and TID get a serial, place and stay are the belt's
    unsigned count = 1;
    std::uint32_t first_serial = 1;
    Vector from;  // the zone in which they are in the world
    Vector to{1, 0, 0};
    double speed = 1;                 // metres a second
    double spacing = 1;               // metres
    std::optional<double> rate;       // instead: items a second that come by chance
    double starts = 0;                // seconds until the first
    std::vector<Vector> pattern{{}};  // places on an item, a tag on each
    bool any_axis = false;            // every tag has a direction of its own, by chance
};

enum class AntennaByte {
    mask,    // port 1 is 0x01, port 2 is 0x02, port 3 is 0x04 ...
    number,  // port 1 is 0x01, port 2 is 0x02, port 3 is 0x03 ...
};

// Which of the commands that share a code and a length the reader serves.
enum class ReaderFamily { standard, filter, relay, multiplexer, mobile };

struct ReaderSettings {
    std::uint8_t address = 0x00;
    std::array<std::uint8_t, 2> firmware{1, 0};
    std::uint8_t type = 0x0F;
    std::uint8_t protocols = 0x02;
    std::uint8_t max_frequency = 0x31;
    std::uint8_t min_frequency = 0x80;
    std::uint8_t power = 30;      // dBm
    std::uint8_t scan_time = 10;  // of an inventory that names none, units of 100 ms; 0 is no limit
    unsigned antennas = 4;
    std::vector<unsigned> enabled_antennas;  // empty: all
    AntennaByte antenna_byte = AntennaByte::mask;
    std::uint8_t beep = 1;
    std::uint8_t output = 0;
    std::uint8_t check_antenna = 0;
    std::array<std::uint8_t, 2> module_version{1, 0};
    std::uint8_t module_type = 0x01;
    std::uint8_t module_protocols = 0x02;
    std::uint64_t seed = 1;
    double report_rate = 100;  // reports a second while reading continuously; 0 is none
    Time start_gap = std::chrono::milliseconds(20);
    bool phase = false;
    std::uint32_t frequency_khz = 866700;
    bool by_chance = true;  // of several tags that a command fits, which one answers; else the first of them
    double air_time = 1;    // seconds that pass per second of air time
    unsigned records_per_frame = 0;  // 0: as many as fit
    ReaderFamily family = ReaderFamily::standard;
    std::uint8_t baud = 0xFF;  // code of the line's speed; 0xFF: any until a host sets one
    std::array<std::uint8_t, 4> serial{};
    int temperature = 25;           // degrees Celsius
    std::uint8_t return_loss = 20;  // dB, of every antenna
    std::string description = "tagwire";
    ProtocolFamily protocol_family = ProtocolFamily::gb;
    unsigned buffer_size = 1000;  // tags that each of the reader's buffers holds
    Time s1_persistence = std::chrono::seconds(2);
    std::vector<Fault> faults;                      // that it has from its start
    Time s2_persistence = std::chrono::seconds(5);  // of sessions 2 and 3
};

struct Scenario {
    ReaderSettings reader;
    RadioSettings radio;
    std::vector<AntennaSettings> antennas;  // by port; those that are missing are as usual
    std::vector<TagSettings> tags;
    std::vector<ConveyorSettings> conveyors;
    std::vector<Tag6bSettings> tags_6b;
    std::vector<TagGbSettings> tags_gb;
    std::vector<TagGbSettings> tags_jb;
    ServiceSettings services;
    std::vector<TimedOrder> events;

    // Both throw ScenarioError and load nothing when anything is wrong.
    static Scenario from_file(const std::string& path);
    static Scenario from_text(const std::string& text, const std::string& source = "scenario");

    // With those that come on conveyors; the reader's seed decides what is left to chance there.
    std::vector<TagSettings> all_tags() const;

    // Throws ScenarioError when the settings contradict each other.
    void check(const std::string& source = "scenario") const;
};

}  // namespace tagwire::sim
