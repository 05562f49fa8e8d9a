#include <iostream>
#include <tagwirexx/tagwire.hpp>

int main(int, char** argv)
try {
    tagwire::Reader reader(argv[1]);   // tcp://192.0.2.10:6000 or serial:/dev/ttyUSB0?baud=57600
    const auto found = reader.inventory({.q = 4, .session = tagwire::Session::s0});
    for (const auto& read : found.reads)
        std::cout << read.epc << "  port " << read.port << "  rssi " << read.rssi << '\n';
    if (!found.complete) std::cout << "time over: there may be more tags\n";
}
catch (const tagwire::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
