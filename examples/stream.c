/* Reads tags continuously for ten seconds and says how many reports came.
 *
 *     stream 192.0.2.10 6000
 */
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <tagwire/tagwire.h>

static atomic_ulong reports;

/* Runs on the library's reading thread: keep it short, copy what you keep. */
static void on_tag(RFIDTagStruct tag, int kind)
{
    (void)kind;
    atomic_fetch_add(&reports, 1);
    printf("%s  antenna %d  RSSI %d\n", tag->UID, tag->ANT, tag->RSSI);
}

int main(int argc, char** argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: %s ADDRESS PORT\n", argv[0]);
        return 2;
    }
    unsigned char address = 0xFF;
    int handle = -1;
    int result = OpenNetPort(atoi(argv[2]), argv[1], &address, &handle);
    if (result != TAGWIRE_OK) {
        fprintf(stderr, "no reader at %s:%s (%d)\n", argv[1], argv[2], result);
        return 1;
    }

    InitRFIDCallBack(on_tag, true, handle);
    result = StartRead(&address, 0, handle);
    if (result == TAGWIRE_OK) {
        const struct timespec ten_seconds = {10, 0};
        nanosleep(&ten_seconds, NULL);
        result = StopRead(&address, handle);
    }
    CloseNetPort(handle);
    printf("%lu reports\n", atomic_load(&reports));
    return result == TAGWIRE_OK ? 0 : 1;
}
