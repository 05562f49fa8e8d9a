#include <iostream>
#include <tagwirexx/tagwire.hpp>

// Everything that is there: sessions and targets in turn, until nothing new comes.
int main(int, char** argv)
try {
    tagwire::Reader reader(argv[1]);
    const auto stock = reader.stocktake({.q = 6});
    for (const auto& tag : stock.found.tags()) {
        std::cout << tag.epc << "  read " << tag.count << " times, on port";
        for (const auto port : tag.ports) std::cout << ' ' << port;
        std::cout << '\n';
    }
    std::cout << stock.found.tags().size() << " tags in " << stock.rounds << " rounds\n";
    return stock.found.complete ? 0 : 3;
}
catch (const tagwire::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
