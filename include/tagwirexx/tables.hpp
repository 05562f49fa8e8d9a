// Parameter tables of a reader: bytes under a number.
#pragma once

#include <cstdint>
#include <span>

#include <tagwirexx/api.hpp>
#include <tagwirexx/bytes.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;
class ReaderInside;

// Tables 0 to 255. Of its Reader, as long as that lives; as a Reader for threads and errors.
class TAGWIREXX_API Tables {
  public:
    Bytes read(unsigned number);
    // Replaces the whole table, by up to 65535 bytes; none make it empty. A reader does not say whether it
    // took them: they are read back and compared.
    void write(unsigned number, std::span<const std::uint8_t> table);

    // The parameters in use become those of the factory, for good.
    void save_as_factory();
    // All parameters become those of the factory.
    void restore_factory();
    // What is cleared is the reader's own coding, 1 to 255.
    void clear(unsigned what = 1);

  private:
    friend class Reader;
    explicit Tables(ReaderInside& inside) : inside_(&inside) {}

    ReaderInside* inside_;
};

}  // namespace v1
}  // namespace tagwire
