// Exported calls with arguments that do not matter, and a callback that can be held.
#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "api/process.h"
#include "api/reader_device.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine::test {

inline constexpr u8 baud = 6;

inline int open(TcpDevice& device)
{
    u8 address = 0xFF;
    int handle = -1;
    for (;;) {  // another thread's open may be running
        const int result = OpenNetPort(device.port(), device.address(), &address, &handle);
        if (result == 0) return handle;
        if (result != 51) return -result;
        std::this_thread::yield();
    }
}

inline int open(PtyDevice& device)
{
    u8 address = 0xFF;
    int handle = -1;
    const int result = OpenComPort(device.path(), &address, baud, &handle);
    return result == 0 ? handle : -result;
}

// Answered or not, a plain command.
inline int ask_module(int handle)
{
    u8 address = device_address;
    u8 version[2];
    u8 type = 0;
    u8 protocols = 0;
    return GetModuleDetails(&address, version, &type, &protocols, handle);
}

inline int start_reading(int handle)
{
    u8 address = device_address;
    return StartRead(&address, 0, handle);
}

inline int stop_reading(int handle)
{
    u8 address = device_address;
    return StopRead(&address, handle);
}

struct Results {
    std::vector<u8> list = std::vector<u8>(65542);
    u8 antenna = 0;
    int length = 0;
    int count = 0;
};

// Locked, and known to CloseNetPort by its flag.
inline int inventory(int handle)
{
    Results out;
    u8 address = device_address;
    return Inventory_G2(&address, 4, 0, 0, nullptr, 0, nullptr, 0, 0, 0, 0, 0, 0x80, 10, 0, out.list.data(),
                        &out.antenna, &out.length, &out.count, handle);
}

// Locked, without that flag.
inline int locked_inventory(int handle)
{
    Results out;
    u8 address = device_address;
    return Inventory_QT_G2(&address, 4, 0, 0, 0x80, 10, 0, out.list.data(), &out.antenna, &out.length,
                           &out.count, handle);
}

inline int unlocked_inventory(int handle)
{
    Results out;
    u8 address = device_address;
    return Inventory_FastTID_NXP(&address, 4, 0, 0, 0x80, 10, 0, out.list.data(), &out.antenna, &out.length,
                                 &out.count, handle);
}

inline constexpr std::uint8_t inventory_command = 0x01;
inline constexpr std::uint8_t locked_command = 0x1B;
inline constexpr std::uint8_t unlocked_command = 0x97;
inline constexpr std::uint8_t module_command = 0x83;

// Answers one command with tags and leaves the inventory open.
inline void answer_with_tags(Device& device, std::uint8_t command, int tags)
{
    device.behave([=](const Bytes& request) {
        if (request[2] != command) return Device::usual_answer(request);
        Bytes out;
        for (int i = 0; i < tags; ++i) out = out + tag_frame(command);
        return out;
    });
}

// Counts its calls. The first one can be made to wait, and can do something.
class Callback {
  public:
    Callback() { current = this; }
    ~Callback() { current = nullptr; }
    Callback(const Callback&) = delete;
    Callback& operator=(const Callback&) = delete;

    static void call(RFIDTagStruct /*record*/, int /*kind*/) { current.load()->called(); }
    static void other_call(RFIDTagStruct /*record*/, int /*kind*/) { current.load()->called(); }

    int calls() const { return calls_; }
    void hold_first() { held_ = true; }
    bool await_first()
    {
        return eventually([this] { return calls_ > 0; });
    }
    void let_go() { held_ = false; }
    void first_does(std::function<void()> what) { what_ = std::move(what); }
    bool first_is_over() const { return over_; }

  private:
    void called()
    {
        if (calls_++ > 0) return;
        while (held_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (what_) what_();
        over_ = true;
    }

    static inline std::atomic<Callback*> current = nullptr;
    std::atomic<int> calls_ = 0;
    std::atomic<bool> held_ = false;
    std::atomic<bool> over_ = false;
    std::function<void()> what_;
};

// The library's pauses of 200 ms, shortened. The call stays replaced behind it: threads may be inside.
class ShortPauses {
  public:
    ShortPauses()
    {
        if (sys::calls.sleep_until != pause) sys::calls.sleep_until = pause;
        wanted_ = true;
    }
    ~ShortPauses() { wanted_ = false; }
    ShortPauses(const ShortPauses&) = delete;
    ShortPauses& operator=(const ShortPauses&) = delete;

  private:
    static int pause(const timespec* end)
    {
        if (!wanted_) return sys::Direct::sleep_until(end);
        std::this_thread::sleep_for(std::chrono::microseconds(500));
        return 0;
    }

    static inline std::atomic<bool> wanted_ = false;
};

}  // namespace tagwire::engine::test
