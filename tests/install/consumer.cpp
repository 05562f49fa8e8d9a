// A program of somebody who uses both libraries. Its exit status is 0 when they answer as they do without a reader.
#include <cstring>
#include <tagwire/tagwire.h>
#include <tagwirexx/tagwire.hpp>

int main()
{
    char no_device[] = "/nowhere/there-is-no-reader";
    unsigned char address = 0xFF;
    int handle = 0;
    if (OpenComPort(no_device, &address, 5, &handle) != TAGWIRE_NO_DEVICE) return 1;
    try {
        tagwire::Reader reader(std::string("serial:") + no_device);
    } catch (const tagwire::Error& error) {
        return std::strstr(error.what(), no_device) != nullptr ? 0 : 2;
    }
    return 3;
}
