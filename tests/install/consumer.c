// A program of somebody who uses the library. Its exit status is 0 when the library answered as it does without a reader.
#include <tagwire/tagwire.h>

int main(void)
{
    char no_device[] = "/nowhere/there-is-no-reader";
    unsigned char address = 0xFF;
    int handle = 0;
    return OpenComPort(no_device, &address, 5, &handle) == TAGWIRE_NO_DEVICE && handle == -1 ? 0 : 1;
}
