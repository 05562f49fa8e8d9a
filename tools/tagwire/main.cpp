#include "app.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

// A reader's link must not become standard output: descriptors that the caller closed are taken first.
void occupy_standard_descriptors()
{
    int fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
    if (fd > STDERR_FILENO) close(fd);
}

}  // namespace

int main(int argc, char** argv)
{
    occupy_standard_descriptors();
    return tagwire::tool::Application().run(argc, argv);
}
