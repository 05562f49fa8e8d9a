// Tags that measure.
//
//     for (const auto& measured : reader.temperatures({.chip = tagwire::SensorChip::g2}))
//         if (measured.celsius) std::cout << measured.epc << ' ' << *measured.celsius << '\n';
//         else std::cerr << measured.epc << ' ' << measured.problem << '\n';
//
//     auto sensor = reader.tag(tagwire::Epc("E28011700000020F00000001")).sensor();
//     sensor.start_log({.step = 60}, 2048);   // the byte where this chip's log begins
//
// What is no measurement is a problem and never a number: a sensor word with a wrong parity, a tag without a
// calibration, degrees outside -40 to 150, an answer that did not come whole.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/firmware.hpp>
#include <tagwirexx/inventory.hpp>
#include <tagwirexx/password.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;
class ReaderInside;
class TagInside;

// Kinds of sensor tags. The first three come in an inventory of their own, the others are asked one by one.
enum class SensorChip {
    g2,      // a sensor word, and a calibration in user memory
    ltu32,   // the same in another inventory
    ast010,  // hundredths of a degree
    em,      // a sensor word with the time it was taken, and a calibration in user memory
    bx,      // hundredths of a degree
    yl,      // hundredths of a degree
    on,      // hundredths of a degree
    fd,      // hundredths of a degree, registers, memory and a log: see SensorTag
};

struct Temperature {
    Epc epc = {};                   // empty where the record had none
    std::optional<Tid> tid = {};    // of tags that are asked one by one, where it was read
    Port port = {};                 // of the inventory that found it; unknown where there was none
    int rssi = 0;                   // as the port
    std::uint8_t antenna_byte = 0;  // as the port
    Received received = {};
    std::optional<double> celsius = {};
    std::string problem = {};                                  // why there is none
    Bytes raw = {};                                            // of the sensor, as much as came
    Bytes calibration = {};                                    // that it was converted by, 3 bytes
    std::optional<std::chrono::sys_seconds> measured_at = {};  // of em, by the clock, where that is set
    Bytes uid = {};                                            // of em, where it was asked for
};

struct Temperatures {
    // One for each tag: the strongest of its good ones. Of those that come in an inventory of their own, tags
    // of one EPC are one; the others are told apart by their TIDs.
    std::vector<Temperature> readings = {};
    // false: the scan time ran out, a record was damaged or it was ended, so that there may be more tags.
    bool complete = true;

    auto begin() const { return readings.begin(); }
    auto end() const { return readings.end(); }
    std::size_t size() const { return readings.size(); }
};

// How a chip is asked. What a chip does not have is refused when it is given.
struct SensorQuestion {
    std::optional<Bytes> calibration = {};  // em, g2 one by one: 3 bytes; otherwise it is read from the tag
    std::optional<unsigned> calibration_word = {};  // em, g2 one by one: where it stands in user memory; 8
    std::optional<unsigned> start_word = {};        // g2 one by one: the word that starts the measurement; 0
    std::optional<unsigned> wait_time = {};  // g2, ltu32: how long tags have power first, the reader's units
    bool latest = false;                     // em, fd: the latest measurement instead of a new one
    bool with_uid = false;                   // em: the tag's ID too
    // Of tags that are asked one by one: the bytes of the sensor only. They are not converted, so that there are
    // neither degrees nor, where all came, a problem; no calibration is read.
    bool raw = false;
};

struct TemperaturePlan {
    SensorChip chip = SensorChip::g2;
    std::optional<Epc> epc = {};    // tags of this EPC only
    std::optional<Mask> mask = {};  // tags that match only; not of g2 and ltu32
    int q = 4;                      // 0 to 15: about 2^Q tags are expected
    Session session = Session::s0;
    Target target = Target::a;
    std::vector<Port> antennas = {};                          // as of an InventoryPlan
    std::optional<std::chrono::milliseconds> scan_time = {};  // as of an InventoryPlan
    std::optional<unsigned> select_target = {};  // g2, ltu32: of the Select in front, 0 to 7; the session
    std::optional<unsigned> select_action = {};  // g2, ltu32: 0 to 7; 0
    Password password = {};                      // em, yl, on, fd: the tags' access password
    SensorQuestion question = {};
};

// Each temperature of tags that are asked one by one, as it comes; false ends it, and leaves the others out.
// Called on the thread that asks.
using TemperatureTold = std::function<bool(const Temperature&)>;

// Of g2 only: whichever tag answers, which may be given a time of 6 bytes.
struct AnyTagQuestion {
    SensorQuestion question = {};
    std::optional<Bytes> time = {};
};

// What an fd tag measures; other numbers are its own coding.
enum class Quantity : std::uint8_t { temperature = 0, voltage = 1 };

struct Measurement {
    Quantity quantity = Quantity::temperature;
    bool latest = false;       // the latest one instead of a new one
    bool check_field = false;  // first
    std::optional<unsigned> block =
        {};  // 0 to 255: the tag keeps it, too, at this block of 4 bytes of its memory
};

struct Measured {
    std::uint16_t raw = 0;
    std::optional<double> celsius = {};  // of a temperature
    std::optional<int> millivolts = {};  // of a voltage
    std::string problem = {};            // why there is none
};

// How a tag is. Bits without a name here stand in `bits`.
struct SensorMode {
    std::uint16_t bits = 0;

    bool logs() const { return (bits & 0x01U) != 0; }
    bool has_no_sample() const { return (bits & 0x02U) != 0; }  // of a log that runs
    bool log_is_full() const { return (bits & 0x04U) != 0; }
    bool was_asleep() const { return (bits & 0x08U) != 0; }
    bool led_is_on() const { return (bits & 0x10U) != 0; }
    bool has_alarm() const { return (bits & 0x20U) != 0; }
    // "log running, alarm", or "idle"
    friend TAGWIREXX_API std::ostream& operator<<(std::ostream& out, SensorMode mode);
};

struct LogPlan {
    unsigned delay = 0;  // before the first sample, 0 to 65535 in the tag's units
    unsigned step = 1;   // from sample to sample, 1 to 65535 in the tag's units
};

struct LogSample {
    std::optional<double> celsius = {};
    std::string problem = {};  // why there is none
    std::uint16_t raw = 0;
};

struct SpiExchange {
    Bytes command = {};     // up to 200 bytes
    unsigned answer = 0;    // bytes that are read back, 0 to 7
    unsigned clock = 0;     // 0 to 255 each, in the tag's coding
    unsigned delay = 0;     // before the first byte
    unsigned interval = 0;  // between two bytes
};

// How far a reading came; false ends it, which throws Error with Errc::aborted. Called on the thread that
// reads.
using ReadingTold = std::function<bool(const Progress&)>;

// What a Tag measures, by Tag::sensor(). It is the same tag, by the same name and password, and may outlive the
// Tag; copies are of one tag, and one that was moved from can be assigned to and destroyed, nothing else. For its
// Reader, threads and errors see tagwirexx/tag.hpp: for threads a Tag and all its SensorTags count as one.
//
// What the tag loses for good (its log, registers, an alarm, a block that a measurement is kept at) it loses only
// where just before no other tag answers to its name; and only there is it put to sleep.
class TAGWIREXX_API SensorTag final {
  public:
    const Epc& epc() const noexcept;

    Temperature temperature(SensorChip chip, const SensorQuestion& question = {});

    // The rest is of fd tags.

    Measured measure(const Measurement& measurement = {});

    // Register 0 to 65535, 16 bits. What was written is read back and compared.
    std::uint16_t read_register(unsigned number);
    void write_register(unsigned number, std::uint16_t value);
    // All registers become those of a new tag.
    void renew_registers();

    // Bytes 0 to 65535 of the data memory, which may have a password of its own. What was written is read back
    // and compared; where it fails Error tells which bytes hold the new data. `most_bytes` are of one command,
    // 1 to 255; never more than fit it.
    Bytes read_memory(unsigned first, unsigned count, const Password& memory_password = {},
                      const ReadingTold& told = {});
    void write_memory(unsigned first, std::span<const std::uint8_t> data,
                      const Password& memory_password = {}, unsigned most_bytes = 32);

    // The log stands in the data memory, from a byte on that is the chip's own matter: a count of 2 bytes, and
    // the samples behind it. Refused where a log runs, one lies there that would be lost, or what lies there
    // is no log, as in erased memory.
    void start_log(const LogPlan& plan, unsigned first_byte, const Password& memory_password = {});
    // Whatever log the tag has is lost.
    void start_log_anew(const LogPlan& plan);
    // It cannot go on.
    void stop_log(const Password& stop_password = {});
    std::vector<LogSample> read_log(unsigned first_byte, const Password& memory_password = {},
                                    const ReadingTold& told = {});

    SensorMode mode();
    // A tag that sleeps is not heard, until Reader::wake_sensor().
    void sleep();

    // Of tags with an SPI peripheral, and of those with an alarm.
    Bytes exchange_spi(const SpiExchange& exchange);
    void reset_alarm();

  private:
    friend class Tag;
    explicit SensorTag(std::shared_ptr<TagInside> inside);

    std::shared_ptr<TagInside> inside_;
};

// What a reader tells of a tag that it identifies.
struct IdentifiedTag {
    Epc epc = {};
    int rssi = 0;
    std::array<std::uint8_t, 2> key = {};
    Tid tid = {};
};

struct IdentificationToken {
    std::array<std::uint8_t, 8> token = {};
    std::array<std::uint8_t, 2> handle = {};
};

// Tag and reader identified to each other; bytes as they come. Of its Reader, as long as that lives; as a
// Reader for threads and errors.
class TAGWIREXX_API Identification {
  public:
    // Whichever tag answers, or this one.
    IdentifiedTag tag(const std::optional<Epc>& epc = {});
    // The reader's random bytes, and its token for one that is made of them.
    std::array<std::uint8_t, 4> begin();
    IdentificationToken finish(const std::array<std::uint8_t, 8>& token);

  private:
    friend class Reader;
    explicit Identification(ReaderInside& inside) : inside_(&inside) {}

    ReaderInside* inside_;
};

}  // namespace v1
}  // namespace tagwire
