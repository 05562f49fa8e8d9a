// An open reader, closed again whatever happens.
#pragma once

#include <cstdint>
#include <string>

#include "reader_url.h"
#include "results.h"

namespace tagwire::tool {

class ReaderConnection {
  public:
    // address 255: whichever reader answers. Throws Failure.
    ReaderConnection(const ReaderUrl& url, std::uint8_t address);
    ~ReaderConnection();
    ReaderConnection(const ReaderConnection&) = delete;
    ReaderConnection& operator=(const ReaderConnection&) = delete;

    int handle() const { return handle_; }
    // The address that the reader answered with.
    std::uint8_t address() const { return address_; }
    // Where the reader was found: after serial:auto, the device.
    const ReaderUrl& url() const { return url_; }

    std::string text(int code, Operation operation) const { return result_text(code, operation, url_); }
    std::string text(const TagResult& result, Operation operation) const
    {
        return result_text(result, operation, url_);
    }
    // Throw Failure unless the code is 0.
    void require_success(int code, Operation operation) const;
    void require_success(const TagResult& result, Operation operation) const;

    // Returns the result of the library.
    int close();

  private:
    int open();
    int open_tcp();
    int open_serial();
    int open_any_serial();

    ReaderUrl url_;
    std::uint8_t address_;
    int handle_ = -1;
};

// Dotted IPv4 text of a name or of dotted text. Throws Failure.
std::string resolve(const std::string& host);

}  // namespace tagwire::tool
