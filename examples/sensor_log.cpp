// The log of a sensor tag as lines of a table: a reader, the tag's EPC, and the byte where its log begins.
#include <iostream>
#include <tagwirexx/tagwire.hpp>

int main(int, char** argv)
try {
    tagwire::Reader reader(argv[1]);
    auto sensor = reader.tag(tagwire::Epc(argv[2])).sensor();
    const auto show = [](const tagwire::Progress& done) {
        std::cerr << '\r' << done << std::flush;
        return true;  // it is to go on
    };
    const auto log = sensor.read_log(static_cast<unsigned>(std::stoul(argv[3])), {}, show);
    std::cout << "sample,celsius,problem\n";
    for (std::size_t i = 0; i < log.size(); ++i) {
        std::cout << i + 1 << ',';
        if (log[i].celsius) std::cout << *log[i].celsius;
        std::cout << ',' << log[i].problem << '\n';
    }
} catch (const tagwire::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
