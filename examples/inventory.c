#include <stdio.h>
#include <tagwire/tagwire.h>

static void on_tag(RFIDTagStruct tag, int kind)
{
    printf("%s  antenna %d  RSSI %d\n", tag->UID, tag->ANT, tag->RSSI);
    (void)kind;
}

int main(void)
{
    unsigned char address = 0xFF; /* whichever reader answers */
    int tags, length, handle = -1;
    int result = OpenNetPort(6000, "127.0.0.1", &address, &handle);
    if (result != TAGWIRE_OK) return fprintf(stderr, "no reader (%d)\n", result), 1;
    InitRFIDCallBack(on_tag, true, handle);
    result = Inventory_G2(&address, 4, 0, 0, NULL, 0, NULL, 0, 0, 0, 0, 0, 0, 0, 0, NULL, NULL, &length,
                          &tags, handle);
    CloseNetPort(handle);
    return result == TAGWIRE_INVENTORY_DONE ? 0 : 1;
}
