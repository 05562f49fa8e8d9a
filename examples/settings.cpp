// Saves the settings of one reader and brings them to another one of the same type and firmware.
#include <iostream>
#include <tagwirexx/tagwire.hpp>

int main(int argc, char** argv)
try {
    if (argc != 3) return 2;
    tagwire::Profile::require_writable("portal.toml");   // before anything is read
    tagwire::Reader good(argv[1]);
    tagwire::Reader other(argv[2]);
    const auto taken = good.settings().snapshot();
    taken.save("portal.toml");
    for (const auto& setting : taken.silent()) std::cerr << setting << '\n';
    if (!taken.complete()) return 1;   // these would be left as they are
    const auto wanted = tagwire::Profile::load("portal.toml");
    for (const auto& change : other.settings().compare(wanted)) std::cout << change << '\n';
    const auto report = other.settings().apply(wanted);   // identity, secrets and calibration stay as they are
    for (const auto& failure : report.failed) std::cerr << failure << '\n';
    return report.ok() ? 0 : 1;
}
catch (const tagwire::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
