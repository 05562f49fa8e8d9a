#include <csignal>
#include <iostream>
#include <tagwirexx/tagwire.hpp>

using namespace std::chrono_literals;

int main(int argc, char** argv)
{
    tagwire::Stream live({.capacity = 8192, .overflow = tagwire::Overflow::drop_oldest});
    for (int i = 1; i < argc; ++i) live.add(argv[i], {.name = "gate" + std::to_string(i), .probe_after = 10s});
    live.start();                                    // returns at once; absent readers are tried until they come
    tagwire::stop_on_signal(live, {SIGINT, SIGTERM});
    for (const tagwire::Event& event : live) {       // until the stream is stopped, from any thread
        if (const tagwire::Read* read = event.read())
            std::cout << event.source() << ' ' << read->epc << ' ' << read->sequence << '\n';
        else
            std::cerr << event.source() << ' ' << event.text() << '\n';   // a state, or a gap
    }
}
