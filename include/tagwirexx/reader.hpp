// One reader, asked and told.
//
//     tagwire::Reader reader("tcp://192.0.2.10:6000");
//     for (const auto& read : reader.inventory().reads) std::cout << read.epc << '\n';
//
// URLs: tcp://HOST[:PORT], where HOST is a name or an IPv4 address and PORT is 6000 when left out;
// serial:/dev/DEVICE; serial:auto, which takes the first serial device that a reader answers on and leaves
// consoles alone. Behind them ?KEY=VALUE&KEY=VALUE...:
//
//     baud          9600, 19200, 38400, 57600 (when left out), 115200 or 921600
//     address       on the bus, 0 to 255; 255, when left out, is for whoever is there
//     antenna_byte  mask or number: how the reader tells ports
//
// Any thread may call a Reader; calls take turns. abort() comes past them. Two Readers of one address, or of
// two ports of one address, have nothing to do with each other; a serial device belongs to one Reader.
//
// Every call throws Error when the reader, the link or a value is at fault. Every value is looked at before
// anything is sent (Errc::invalid_value). Nothing is repeated silently: where a change was sent and no answer
// came, outcome() is Outcome::unknown. What is set, by a view or by name, is read back where the reader tells it:
// one that has something else is Errc::refused with Outcome::partial.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>

#include <tagwirexx/api.hpp>
#include <tagwirexx/at_mode.hpp>
#include <tagwirexx/buffer.hpp>
#include <tagwirexx/commission.hpp>
#include <tagwirexx/error.hpp>
#include <tagwirexx/firmware.hpp>
#include <tagwirexx/info.hpp>
#include <tagwirexx/inventory.hpp>
#include <tagwirexx/lines.hpp>
#include <tagwirexx/modes.hpp>
#include <tagwirexx/network.hpp>
#include <tagwirexx/radio.hpp>
#include <tagwirexx/select.hpp>
#include <tagwirexx/sensors.hpp>
#include <tagwirexx/settings.hpp>
#include <tagwirexx/tables.hpp>
#include <tagwirexx/tag.hpp>

namespace tagwire {
inline namespace v1 {

class TAGWIREXX_API Reader final {
  public:
    // Opens the link within 3 s (5 s more for a name) and asks the reader who it is. One that is still
    // reading, for a program that ended, is stopped first.
    explicit Reader(std::string_view url);
    explicit Reader(const std::string& url) : Reader(std::string_view(url)) {}
    explicit Reader(const char* url) : Reader(url == nullptr ? std::string_view() : std::string_view(url)) {}
    // The same, listening so long before anything is sent: was_reading() tells whether something came. Not for
    // serial:auto.
    Reader(std::string_view url, std::chrono::milliseconds listen_first);
    // One that was moved from can be assigned to and destroyed, nothing else.
    Reader(Reader&& other) noexcept;
    Reader& operator=(Reader&& other) noexcept;
    // Closes the link. No call may be in progress.
    ~Reader();

    // As it was written; of serial:auto the device that was found.
    const std::string& url() const noexcept;
    ReaderInfo info();
    // Errc::no_such_feature where there is none to ask.
    ModuleInfo module_info();
    LinkCounters link_counters();
    // As if switched off and on; it may close the link.
    void restart();
    // Whether something came unasked when it was opened: mostly it was still reading for a program that had ended,
    // and was told to stop.
    bool was_reading() const noexcept;

    InventoryResult inventory(const InventoryPlan& plan = {});
    // Inventories with sessions and targets in turn, until nothing new comes.
    StocktakeResult stocktake(const StocktakePlan& plan = {});
    // One 6B tag, or all whose memory meets a condition.
    InventoryResult inventory_6b(const std::optional<Condition6b>& condition = {});
    InventoryResult inventory_gb(const OtherTagsPlan& plan = {});
    InventoryResult inventory_jb(const OtherTagsPlan& plan = {});

    // The one tag that answers to the name, see tagwirexx/tag.hpp; of a TID its beginning will do. The password
    // is the tag's access password.
    Tag tag(const Epc& name, Password password = {});
    Tag tag(const Tid& name, Password password = {});
    Tag tag(const Mask& name, Password password = {});
    // The only tag that answers at all.
    Tag only_tag(Password password = {});
    TagGb tag_gb(const TagId& name, Password password = {});
    TagGb tag_gb(const OtherTagsPlan::AreaMask& name, Password password = {});
    // With the reader's coding of how JB tags are told apart.
    TagGb tag_jb(const TagId& name, Password password = {}, std::uint8_t algorithm = 0);
    TagGb tag_jb(const OtherTagsPlan::AreaMask& name, Password password = {}, std::uint8_t algorithm = 0);
    Tag6b tag_6b(const TagId& name);

    // A report of each tag: what goes wrong with one is told there, and the next is taken. Throws Error where
    // a plan cannot be carried out, before anything is sent. See tagwirexx/commission.hpp.
    std::vector<CommissioningReport> commission(const std::vector<CommissioningPlan>& plans);
    CommissioningReport commission(const CommissioningPlan& plan);

    // The filter of tags, see tagwirexx/select.hpp; select_all() takes it away. Without antennas those that are
    // enabled are meant.
    void select(const Selection& what);
    void select_all(const std::vector<Port>& antennas = {});

    // What no name goes with: it is for whichever tag answers, so have one only in the field.
    void end_privacy(const Password& password);
    bool has_privacy();
    bool eas_alarm();  // of all tags
    // A silent tag hears its name and password only.
    Tag end_silence(const Epc& name, const Password& password);
    Tag end_silence(const Tid& name, const Password& password);
    // How long the reader feeds tags with an LED: 0 to 255 in its own unit.
    void set_carrier_time(int time);

    Radio radio() { return Radio(*inside_); }
    Antennas antennas() { return Antennas(*inside_); }
    Lines lines() { return Lines(*inside_); }
    Clock clock() { return Clock(*inside_); }
    Modes modes() { return Modes(*inside_); }
    Filter filter() { return Filter(*inside_); }
    Buffer buffer() { return Buffer(*inside_); }
    Settings settings(const SettingsOptions& options = {}) { return Settings(*inside_, options); }

    // Of all sensor tags of a kind (of one by itself: Tag::sensor()). Where they are asked one by one, one that
    // does not answer is a problem of its own; a reader that falls silent is an Error.
    Temperatures temperatures(const TemperaturePlan& plan = {}, const TemperatureTold& told = {});
    Temperature temperature_of_any(const AnyTagQuestion& question = {});
    // Of a tag that sleeps, and so cannot be looked for. Tells how it was.
    SensorMode wake_sensor(const Epc& name, const Password& password = {});
    SensorMode wake_sensor(const Tid& name, const Password& password = {});
    Identification identification() { return Identification(*inside_); }

    Network network() { return Network(*inside_); }
    Position position();
    Tables tables() { return Tables(*inside_); }
    // `wait`: how long the reader waits for its module, 0 to 255, mostly of 100 ms; 7 s of silence count as
    // lost. Over TCP it is refused before anything is sent.
    AtMode at_mode(int wait = 10) { return AtMode(*inside_, wait); }

    // Replaces the reader's program, see tagwirexx/firmware.hpp. How it ended is in the report; what makes no
    // sense (options, an empty image, one with doubts) is an Error, and nothing is sent. A stop ends it
    // between two exchanges, and so does an abort(). `told` is called on this thread; what it throws leaves
    // the reader in its update mode. A link that is lost, by the reader's restart too, is opened again.
    UpdateReport update_firmware(std::span<const std::uint8_t> image,
                                 const std::function<void(const Progress&)>& told = {},
                                 const std::stop_token& stop = {}, const UpdateOptions& options = {});
    // A reader that was left in its update mode and does not say who it is there: for the calls of updates. Throws
    // Error where it is known not to be in it. Not for serial:auto.
    static Reader in_update_mode(std::string_view url);
    // An answer that is neither yes nor no is an Error. Readers without a CRC-32 to tell always say no.
    bool is_in_update_mode();
    // Restarts a reader that is in it, or does not know the question, and waits until it answers again. Does
    // nothing to another one.
    void leave_update_mode(std::chrono::milliseconds limit = std::chrono::seconds(30));

    // Ends the call in progress, which throws Error with Errc::aborted; does nothing without one. From any
    // thread.
    void abort() noexcept;

    // Every byte from now on goes to this file, see tagwirexx/recording.hpp; one file at a time.
    // recording_lost() is how many bytes could not be written in time.
    void record(const std::string& path);
    void stop_recording();
    std::uint64_t recording_lost();

    using Inside = ReaderInside;

  private:
    friend class ReaderInside;
    explicit Reader(std::unique_ptr<Inside> inside);

    std::unique_ptr<Inside> inside_;
};

}  // namespace v1
}  // namespace tagwire
