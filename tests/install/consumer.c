// A program of somebody who uses the library. Its exit status is 0 when the library answered as it does without a reader.
#include <string.h>
#include <tagwire/result_text.h>
#include <tagwire/tagwire.h>
#include <tagwire/version.h>

int main(void)
{
    char no_device[] = "/nowhere/there-is-no-reader";
    unsigned char address = 0xFF;
    int handle = 0;
    int result = OpenComPort(no_device, &address, 5, &handle);
    const char* what = tagwire_result_text(TAGWIRE_FAMILY_OPENING, result).what;
    if (result != TAGWIRE_NO_DEVICE || handle != -1 || strcmp(what, "the serial device cannot be used") != 0)
        return 1;
    return TAGWIRE_VERSION_MAJOR == 1 && strncmp(TAGWIRE_VERSION, "1.", 2) == 0 ? 0 : 1;
}
