// Inventories of Gen2 tags as jobs of the reader.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <vector>

#include "commands/inventory/inventory_request.h"
#include "device/device.h"
#include "device/records.h"
#include "radio/singulation.h"

namespace tagwire::sim {

// Singles out tags until there is none left, the time is over, or the command has what it wants.
class SingulationJob : public Job {
  public:
    SingulationJob(Device& device, const Call& call, InventoryRule rule);

    bool advance(Time now) override;
    void abort() override { finish(status::inventory_done); }
    ConnectionId owner() const override { return owner_; }

  protected:
    virtual bool is_enough(Singulation::Event event) = 0;
    // Tells the host. The status says how the inventory ended.
    virtual void conclude(std::uint8_t status) = 0;

    Device& device() { return device_; }
    const Singulation& singulation() const { return singulation_; }
    Sighting sight_heard();
    void answer(std::uint8_t status, const Bytes& data = {}, std::vector<Heard> heard = {});

  private:
    bool finish(std::uint8_t status);

    Device& device_;
    ConnectionId owner_;
    std::uint8_t command_;
    Singulation singulation_;
};

// The ports of an antenna field in a request: 0x80 + port, the first port being 0; without bit 7 all enabled
// ones.
std::vector<unsigned> chosen_antennas(const Device& device, std::uint8_t antenna);
// 0 is the reader's own.
std::optional<Time> chosen_scan_time(const Device& device, std::uint8_t units);

InventoryRule own_rule(const Device& device);
InventoryRule make_rule(const Device& device, const InventoryRequest& request);
// Whether the reader has all of these; with its antenna check on, one at least must be plugged in.
bool has_antennas(const Device& device, const std::vector<unsigned>& ports);

// The words, if the tag has them all and lets them be read.
std::optional<Bytes> read_memory(const Tag& tag, const MemoryRead& read,
                                 const std::array<std::uint8_t, 4>& password);
// What stands for the tag: its EPC or the memory asked for instead.
std::optional<Bytes> inventory_id(const Tag& tag, const InventoryRequest& request);

// The records in which one sighting is reported; none leaves the tag out.
using Describe = std::function<std::vector<Bytes>(const Sighting&)>;

std::vector<Bytes> describe_epc(const Sighting& sighting);

// Reports every tag once, however often it is heard. `head` stands in every frame before the antenna byte.
void run_inventory(Device& device, const Call& call, InventoryRule rule, Describe describe, Bytes head = {});

}  // namespace tagwire::sim
