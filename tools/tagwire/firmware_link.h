// A firmware update over a connection.
#pragma once

#include <functional>
#include <memory>

#include "connection.h"
#include "firmware_update.h"

namespace tagwire::tool {

class ConnectedUpdateLink : public UpdateLink {
  public:
    // `wait` lets time pass, less when the program is to end.
    ConnectedUpdateLink(std::unique_ptr<ReaderConnection> reader,
                        std::function<void(std::chrono::milliseconds)> wait);

    // None when the reader could not be reached again.
    ReaderConnection* reader() { return reader_.get(); }

    int begin() override;
    int write(std::uint8_t number, std::span<const std::uint8_t> block) override;
    int checksum(Checksum& checksum) override;
    int mark() override;
    bool ask_version(FirmwareVersion& version) override;
    void listen() override;
    void reconnect() override;
    void pause(std::chrono::milliseconds time) override;
    Clock::time_point now() const override;

  private:
    // `call` of the library with the address before its arguments and the handle behind them.
    template <typename Call, typename... Arguments> int exchange(Call call, Arguments... arguments)
    {
        return call(&address_, arguments..., handle());
    }
    int handle() const { return reader_ ? reader_->handle() : -1; }

    std::unique_ptr<ReaderConnection> reader_;
    std::function<void(std::chrono::milliseconds)> wait_;
    ReaderUrl url_;
    std::uint8_t address_;
};

}  // namespace tagwire::tool
