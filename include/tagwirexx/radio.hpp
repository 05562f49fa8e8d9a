// Power, frequencies and antennas of a Reader.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/info.hpp>
#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;
class ReaderInside;

enum class Lasting : std::uint8_t { stored = 0, until_restart = 1 };

struct QAndSession {
    int q = 4;                                     // 0 to 15
    std::optional<Session> session = Session::s0;  // empty: the reader chooses

    friend bool operator==(const QAndSession&, const QAndSession&) = default;
};

// Of its Reader, as long as that lives; as a Reader for threads and errors.
class TAGWIREXX_API Radio {
  public:
    // Of each port, port 1 first.
    std::vector<Dbm> power();
    // 0 to 40 dBm; what the reader does not give it refuses. Of all ports, or of one.
    void set_power(Dbm power);
    void set_power(Dbm power, Port port);
    // One for each port.
    void set_power(const std::vector<Dbm>& powers);
    // While a tag is written.
    Dbm write_power();
    void set_write_power(Dbm power);

    Region region();
    // A band by its name, see find_band(); whole, or the channels from one frequency to another.
    void set_region(std::string_view band, Lasting lasting = Lasting::stored);
    void set_region(std::string_view band, Kilohertz from, Kilohertz to, Lasting lasting = Lasting::stored);
    // Channels of a band by its number, of one that is not known here too; 0 to 254 and 0 to 255.
    void set_region(int band, unsigned lowest, unsigned highest, Lasting lasting = Lasting::stored);
    // A plan of one's own: 1 to 255 channels, 10 to 2550 kHz apart in steps of 10 kHz, 840 to 960 MHz.
    void set_custom_region(Kilohertz first, Kilohertz spacing, unsigned channels,
                           Lasting lasting = Lasting::stored);

    // The same for older readers, which take it in two bytes: bands 0 to 15, channels 0 to 63; always stored.
    void set_packed_region(int band, unsigned lowest, unsigned highest);

    // In dB; the higher the better is the antenna matched. At 840 to 960 MHz.
    int return_loss(Port port, Kilohertz frequency);

    // Of the air interface; the reader's own numbers, 0 to 65535.
    int profile();
    void set_profile(int profile);

    // Of the reader's own inventories and of continuous reading.
    QAndSession q_and_session();
    void set_q_and_session(const QAndSession& value);

    // The carrier by itself, for tests.
    void set_carrier(bool on);

  private:
    friend class Reader;
    explicit Radio(ReaderInside& inside) : inside_(&inside) {}

    ReaderInside* inside_;
};

// How many ports the command has room for. Older readers know one of the others than the widest only.
enum class PortsCommand : std::uint8_t { eight = 8, twelve = 12, sixteen = 16, widest = 64 };

// Of its Reader, as long as that lives; as a Reader for threads and errors.
class TAGWIREXX_API Antennas {
  public:
    // That an inventory goes through, ascending.
    std::vector<Port> enabled();
    // Ports 1 to 64, or as many as the command has room for; one at least. That of eight is always stored.
    void enable(const std::vector<Port>& ports, Lasting lasting = Lasting::stored,
                PortsCommand command = PortsCommand::widest);
    // Whether each is checked before an inventory.
    bool are_checked();
    void set_check(bool on);

  private:
    friend class Reader;
    explicit Antennas(ReaderInside& inside) : inside_(&inside) {}

    ReaderInside* inside_;
};

}  // namespace v1
}  // namespace tagwire
