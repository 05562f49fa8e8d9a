// The commands for fd tags, and their data memory.
#pragma once

#include "xx/sensors/sensor_call.h"

#include <tagwirexx/sensors.hpp>

namespace tagwire {
inline namespace v1 {

constexpr SensorCall fd_call(const char* name, Effect effect = Effect::none, int least = 0,
                             TagCode code = TagCode::not_told)
{
    constexpr unsigned most_words = 14;
    return {{name, effect, least, false, engine::ResultFamily::sensor}, most_words, code};
}

inline constexpr SensorCall read_sensor_memory_call = fd_call("read memory");
inline constexpr SensorCall write_sensor_memory_call =
    fd_call("write memory", Effect::change, 0, TagCode::told);

// Addresses are of bytes.
class SensorMemory final : public TagMemory {
  public:
    static constexpr unsigned end = 0x10000;

    // A password of zeros is none.
    SensorMemory(TagInside& tag, const Password& password, unsigned most_bytes = 1)
        : tag_(tag), password_(password), most_bytes_(most_bytes)
    {}

    Limits limits() const override;
    ReaderInside& reader() const override { return *tag_.reader_; }
    Bytes read(const MemoryRange& range) override;
    void write(const MemoryRange& range, std::span<const u8> data) override;
    Bytes look(const MemoryRange& range) override;

    // Finds out whether the memory's password is right, where there is one. Throws Error.
    void open(const MemoryRange& range);
    // Piece by piece.
    Bytes read_told(const MemoryRange& range, const ReadingTold& told);

  private:
    Bytes read_with(const Password& access, const Password& own, const MemoryRange& range);

    TagInside& tag_;
    const Password& password_;
    unsigned most_bytes_;
    bool is_password_right_ = false;
};

// The two bytes of it, as far as they came.
Bytes measure_fd(TagInside& tag, const SensorCall& how, const Measurement& measurement);

SensorMode ask_mode(TagInside& tag, const SensorCall& how, const Password& password, bool wakes);

}  // namespace v1
}  // namespace tagwire
