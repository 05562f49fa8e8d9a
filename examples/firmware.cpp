// Replaces a reader's program. Ctrl-C stops it between two blocks, and then the reader leaves its update mode.
#include <csignal>
#include <iostream>
#include <tagwirexx/tagwire.hpp>

namespace {
volatile std::sig_atomic_t is_interrupted = 0;
}

int main(int, char** argv)
try {
    tagwire::Reader reader(argv[1]);
    std::signal(SIGINT, [](int) { is_interrupted = 1; });
    std::stop_source stop;
    const auto show = [&](const tagwire::Progress& done) {
        std::cout << '\r' << done << std::flush;
        if (is_interrupted != 0) stop.request_stop();
    };
    const auto report = reader.update_firmware(tagwire::load_file(argv[2]), show, stop.get_token());
    std::cout << '\n' << report.text() << '\n';
    if (!report.success()) reader.leave_update_mode();  // where it is in it
    return report.success() ? 0 : 1;
} catch (const tagwire::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
