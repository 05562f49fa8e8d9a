// Saves the settings of one reader and brings them to another one of the same type and firmware.
#include <iostream>
#include <tagwirexx/tagwire.hpp>

int main(int argc, char** argv)
try {
    if (argc != 3) return 2;
    tagwire::Reader good(argv[1]);
    tagwire::Reader other(argv[2]);
    good.settings().snapshot().save("portal.toml");
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
