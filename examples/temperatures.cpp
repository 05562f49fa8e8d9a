// The temperatures of all sensor tags as lines of a table, one round a minute or as often as is said.
#include <iostream>
#include <tagwirexx/tagwire.hpp>
#include <thread>

int main(int argc, char** argv)
try {
    tagwire::Reader reader(argv[1]);
    const int rounds = argc > 2 ? std::stoi(argv[2]) : 0;  // 0: for ever
    std::cout << "seconds,epc,port,celsius,problem\n";
    for (int round = 1;; ++round) {
        for (const auto& measured : reader.temperatures({.chip = tagwire::SensorChip::g2})) {
            const auto since_1970 = measured.received.wall.time_since_epoch();
            std::cout << std::chrono::duration_cast<std::chrono::seconds>(since_1970).count() << ','
                      << measured.epc << ',' << measured.port << ',';
            if (measured.celsius) std::cout << *measured.celsius;
            std::cout << ',' << measured.problem << std::endl;
        }
        if (round == rounds) return 0;
        std::this_thread::sleep_for(std::chrono::minutes(1));
    }
} catch (const tagwire::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
