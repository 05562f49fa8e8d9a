// Passing bytes through to the modem.
#include <memory>

#include "commands/codes.h"
#include "commands/settings/setting_fields.h"

namespace tagwire::sim {

namespace {

constexpr Time timeout_unit = std::chrono::milliseconds(100);

// Answers when the modem has nothing more to say, at the latest when the time is over.
class PassThroughJob : public Job {
  public:
    PassThroughJob(Device& device, const Call& call)
        : device_(device), owner_(call.from), command_(call.request.command),
          end_(call.now + timeout_unit * call.data()[0])
    {}

    bool advance(Time now) override
    {
        Modem& modem = device_.services().modem;
        if (modem.has_more_to_say(now) && now < end_) return false;
        answer(modem.take(longest_answer_data, now));
        return true;
    }
    void abort() override { answer({}); }
    ConnectionId owner() const override { return owner_; }

  private:
    void answer(const Bytes& data)
    {
        device_.wire().send(owner_, {}, make_answer(device_.address(), command_, status::success, data),
                            FrameKind::answer, {});
    }

    Device& device_;
    ConnectionId owner_;
    std::uint8_t command_;
    Time end_;
};

void set_at_mode(Device& device, const Call& call)
{
    if (call.data()[0] > 1) return refuse(device, call);
    device.services().modem.pass(call.data()[0] == 1);
    device.answer(call, status::success);
}

void pass_to_modem(Device& device, const Call& call)
{
    if (call.data().empty()) return refuse(device, call);
    Modem& modem = device.services().modem;
    if (!modem.state().passes) return device.answer(call, status::out_of_order);
    modem.receive(Bytes(call.data().begin() + 1, call.data().end()), call.now);
    device.begin(std::make_unique<PassThroughJob>(device, call), call.now);
}

}  // namespace

void add_at_mode_commands(CommandTable& table)
{
    table.add(command::set_at_mode, 1, set_at_mode);
    table[command::pass_to_modem] = pass_to_modem;
}

}  // namespace tagwire::sim
