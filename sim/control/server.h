// Orders from other programs of the same user, over a local stream socket.
//
// A client sends one line, the number of the reader (the first is 1) and an order: "1 unplug 2". The answer's first
// line is "done" or "refused", behind it comes what there is to say, then the connection ends.
#pragma once

#include <chrono>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "simulator.h"
#include "transport/descriptor.h"

namespace tagwire::sim {

struct ControlAnswer {
    bool done = false;
    std::string text;
};

// Throws std::system_error when nobody listens at the path, std::runtime_error when who does is not heard for so long.
ControlAnswer ask_control(const std::string& path, unsigned reader, const std::string& words,
                          std::chrono::milliseconds patience = long_wait);

class ControlServer {
  public:
    // Only this user can connect. The socket that a dead process has left at the path is replaced; whatever else is
    // there is not: std::runtime_error, std::system_error. The readers live longer.
    ControlServer(std::string path, std::vector<Reader*> readers);
    ~ControlServer();  // the path is free again
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

  private:
    struct Client {
        Descriptor socket;
        std::string input;
        std::string output;  // once the line is there
        bool over = false;
    };

    void run();
    void accept_all();
    void serve(Client& client) const;
    static void read(Client& client);
    static void write(Client& client);
    std::string answer(const std::string& line) const;

    std::string path_;
    std::vector<Reader*> readers_;
    Descriptor listener_;
    std::uint64_t inode_;  // of the path, as long as it is ours
    Descriptor stop_;
    bool has_to_wait_ = false;  // there was no descriptor for who came
    std::list<Client> clients_;
    std::thread thread_;
};

}  // namespace tagwire::sim
