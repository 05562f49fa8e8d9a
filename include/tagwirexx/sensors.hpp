// Tags that measure.
//
//     for (const auto& measured : reader.temperatures({.chip = tagwire::SensorChip::g2}))
//         if (measured.celsius) std::cout << measured.epc << ' ' << *measured.celsius << '\n';
//         else std::cerr << measured.epc << ' ' << measured.problem << '\n';
//
// What is no temperature is a problem and never a number: a sensor word with a wrong parity, a tag without a
// calibration, degrees outside the chip's range, an answer that did not come whole.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/inventory.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;
class ReaderInside;

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
    Epc epc = {};  // empty where the record was too short for one
    Port port = {};
    int rssi = 0;                   // the reader's own scale
    std::uint8_t antenna_byte = 0;  // as it came
    Received received = {};
    std::optional<double> celsius = {};
    std::string problem = {};                                  // why there is none
    Bytes raw = {};                                            // of the sensor, as much as came
    Bytes calibration = {};                                    // that it was converted by, 3 bytes
    std::optional<std::chrono::sys_seconds> measured_at = {};  // of em, by the reader's clock
    Bytes uid = {};                                            // of em, where it was asked for
};

struct Temperatures {
    std::vector<Temperature> readings = {};  // one for each tag: the strongest of its good ones
    bool complete = true;                    // false: the scan time ran out, there may be more tags

    auto begin() const { return readings.begin(); }
    auto end() const { return readings.end(); }
    std::size_t size() const { return readings.size(); }
};

// How a chip is asked. What a chip does not have is refused when it is given.
struct SensorQuestion {
    std::optional<Bytes> password = {};     // em, yl, on, fd: 4 bytes
    std::optional<Bytes> calibration = {};  // em, g2 one by one: 3 bytes; otherwise it is read from the tag
    std::optional<unsigned> calibration_word = {};  // em, g2 one by one: where it stands in user memory; 8
    std::optional<unsigned> start_word = {};        // g2 one by one: the word that starts the measurement; 0
    std::optional<unsigned> wait_time = {};  // g2, ltu32: how long tags have power first, the reader's units
    bool latest = false;                     // em, fd: the latest measurement instead of a new one
    bool with_uid = false;                   // em: the tag's ID too
};

struct TemperaturePlan {
    SensorChip chip = SensorChip::g2;
    std::optional<Epc> epc = {};    // this tag only
    std::optional<Mask> mask = {};  // tags that match only; not of g2 and ltu32
    int q = 4;                      // 0 to 15: about 2^Q tags are expected
    Session session = Session::s0;
    Target target = Target::a;
    std::vector<Port> antennas = {};                          // as of an InventoryPlan
    std::optional<std::chrono::milliseconds> scan_time = {};  // as of an InventoryPlan
    std::optional<unsigned> select_target = {};  // g2, ltu32: of the Select in front, 0 to 7; the session
    std::optional<unsigned> select_action = {};  // g2, ltu32: 0 to 7; 0
    SensorQuestion question = {};
};

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
    std::string problem = {};            // why there is none
    std::optional<int> millivolts = {};  // of a voltage
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

// Where a tag keeps its log, and what opens that memory.
struct LogPlace {
    unsigned first_byte = 2048;  // of the data memory: a count of 2 bytes, and the samples behind
    std::optional<Bytes> memory_password = {};  // 4 bytes; none is given when empty
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

// One sensor tag of a Reader, as long as that lives; as a Reader for threads and errors. It was looked for
// when this was made (see Reader::sensor()), and is named by its whole EPC from then on.
class TAGWIREXX_API SensorTag {
  public:
    const Epc& epc() const { return found_.epc; }
    const Read& found() const { return found_; }

    // `question.password` is this tag's where it is left out.
    Temperature temperature(SensorChip chip, const SensorQuestion& question = {});

    // The rest is of fd tags.

    Measured measure(const Measurement& measurement = {});

    // Register 0 to 65535, 16 bits. What was written is read back and compared.
    std::uint16_t read_register(unsigned number);
    void write_register(unsigned number, std::uint16_t value);
    // All registers become those of a new tag.
    void renew_registers();

    // Bytes 0 to 65535 of the data memory. What was written is read back and compared; an Error says how far
    // it came.
    Bytes read_memory(unsigned first, unsigned count, const std::optional<Bytes>& memory_password = {});
    void write_memory(unsigned first, std::span<const std::uint8_t> data,
                      const std::optional<Bytes>& memory_password = {}, unsigned bytes_at_once = 32);

    // Refused where a log runs, or one lies there that would be lost.
    void start_log(const LogPlan& plan, const LogPlace& place = {});
    // Whatever log the tag has is lost.
    void start_log_anew(const LogPlan& plan);
    void stop_log(const std::optional<Bytes>& stop_password = {});
    std::vector<LogSample> read_log(const LogPlace& place = {});

    SensorMode mode();
    // A tag that sleeps is not heard, until Reader::wake_sensor().
    void sleep();

    // Of tags with an SPI peripheral, and of those with an alarm.
    Bytes exchange_spi(const SpiExchange& exchange);
    void reset_alarm();

  private:
    friend class Reader;
    SensorTag(ReaderInside& inside, Read found, const std::array<std::uint8_t, 4>& password)
        : inside_(&inside), found_(std::move(found)), password_(password)
    {}

    ReaderInside* inside_;
    Read found_;
    std::array<std::uint8_t, 4> password_;
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
