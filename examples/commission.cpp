#include <iostream>
#include <tagwirexx/tagwire.hpp>

// Makes the tags of a table ready: tid,epc,access,kill,lock. Run it again after a break: it goes on.
int main(int argc, char** argv)
try {
    if (argc != 3) throw tagwire::Error(tagwire::Errc::invalid_text, "commission", {}, "give READER and TABLE");
    tagwire::Reader reader(argv[1]);
    bool ok = true;
    for (const auto& report : reader.commission(tagwire::load_commissioning(argv[2]))) {
        std::cout << report << (report.resumed() ? "  (went on)\n" : "\n");
        ok &= report.ok();
    }
    return ok ? 0 : 1;
}
catch (const tagwire::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
