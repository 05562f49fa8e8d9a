/* The library from C: its headers, the exact type of every exported function, and calls that need no reader.
 * Reports what is wrong line by line; the count of it is the exit status. */
#include "tagwire/connection.h"
#include "tagwire/information.h"
#include "tagwire/inventory.h"
#include "tagwire/reading.h"
#include "tagwire/reserved.h"
#include "tagwire/result.h"
#include "tagwire/tagwire.h"
#include "tagwire/types.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

typedef unsigned char u8;

static int failures;

static void check(int good, const char* what, int line)
{
    if (good) return;
    printf("capi_test.c:%d: %s\n", line, what);
    ++failures;
}
#define CHECK(condition) check((condition), #condition, __LINE__)

/* Every exported function, by its exact type. */
static const struct {
    int (*OpenComPort)(char*, u8*, u8, int*);
    int (*AutoOpenComPort)(char*, u8*, u8, int*);
    int (*OpenNetPort)(int, char*, u8*, int*);
    int (*CloseSpecComPort)(int);
    int (*CloseComPort)(void);
    int (*CloseNetPort)(int);
    void (*InitRFIDCallBack)(pRFIDCallBack, bool, int);
    int (*GetReaderInformation)(u8*, u8*, u8*, u8*, u8*, u8*, u8*, u8*, u8*, u8*, u8*, u8*, int);
    int (*GetModuleDetails)(u8*, u8*, u8*, u8*, int);
    int (*Inventory_G2)(u8*, u8, u8, u8, u8*, u8, u8*, u8, u8, u8, u8, u8, u8, u8, u8, u8*, u8*, int*, int*,
                        int);
    int (*InventoryMix_G2)(u8*, u8, u8, u8, u8*, u8, u8*, u8, u8, u8*, u8, u8*, u8, u8, u8, u8, u8*, u8*,
                           int*, int*, int);
    int (*InventoryExtMix_G2)(u8*, u8, u8, u8, u8*, u8, u8*, u8, u8*, u8, u8*, u8, u8, u8, u8, u8*, u8*, int*,
                              int*, int);
    int (*Inventory_EPC_G2)(u8*, u8, u8*, u8*, u8*, u8*, u8*, int*, int*, int);
    int (*Inventory_QT_G2)(u8*, u8, u8, u8, u8, u8, u8, u8*, u8*, int*, int*, int);
    int (*Inventory_FastBID_NXP)(u8*, u8, u8, u8, u8, u8, u8, u8*, u8*, int*, int*, int);
    int (*Inventory_FastTID_NXP)(u8*, u8, u8, u8, u8, u8, u8, u8*, u8*, int*, int*, int);
    int (*SingleTagInventory_G2)(u8*, u8*, int*, int*, int);
    int (*Fast_switch_ant_inventory)(u8*, u8, u8, u8, u8, u8, u8, u8, u8, u8, u8, int);
    int (*StartRead)(u8*, u8, int);
    int (*StopRead)(u8*, int);
    int (*StopImmediately)(u8*, int);
    int (*ReadActiveModeData)(u8*, int*, int);
    int (*EnableTestFreq)(u8*, u8*, u8, int);
    int (*GetADValue)(u8*, u8, u8*, int);
    int (*SetAValue)(u8*, u8, u8*, u8*, int);
    int (*AutoTable)(u8*, int);
    int (*AutoOffset)(u8*, int);
    int (*GetAdjustPara)(u8*, u8*, int);
    int (*GetCheckPWR)(u8*, u8*, u8*, int);
    int (*SetDCOffset)(u8*, u8*, int);
    int (*DeleteRfOutput)(u8*, u8*, int);
} all = {
    OpenComPort,
    AutoOpenComPort,
    OpenNetPort,
    CloseSpecComPort,
    CloseComPort,
    CloseNetPort,
    InitRFIDCallBack,
    GetReaderInformation,
    GetModuleDetails,
    Inventory_G2,
    InventoryMix_G2,
    InventoryExtMix_G2,
    Inventory_EPC_G2,
    Inventory_QT_G2,
    Inventory_FastBID_NXP,
    Inventory_FastTID_NXP,
    SingleTagInventory_G2,
    Fast_switch_ant_inventory,
    StartRead,
    StopRead,
    StopImmediately,
    ReadActiveModeData,
    EnableTestFreq,
    GetADValue,
    SetAValue,
    AutoTable,
    AutoOffset,
    GetAdjustPara,
    GetCheckPWR,
    SetDCOffset,
    DeleteRfOutput,
};

static int callback_calls;

static void count_tag(RFIDTagStruct record, int kind)
{
    (void)record;
    (void)kind;
    ++callback_calls;
}

static void check_tag_record(void)
{
    RFIDTag tag;
    MyStruct* same = &tag;
    RFIDTagStruct also = same;
    memset(&tag, 0, sizeof tag);
    also->FrmHandle = 7;
    also->UID = "E200";
    CHECK(tag.FrmHandle == 7);
    CHECK(offsetof(RFIDTag, PacketParam) == 0);
    CHECK(offsetof(RFIDTag, LEN) == 1);
    CHECK(offsetof(RFIDTag, UID) == sizeof(void*));
    CHECK(offsetof(RFIDTag, phase_begin) == 2 * sizeof(void*));
    CHECK(offsetof(RFIDTag, phase_end) == 2 * sizeof(void*) + 4);
    CHECK(offsetof(RFIDTag, RSSI) == 2 * sizeof(void*) + 8);
    CHECK(offsetof(RFIDTag, Freqkhz) == 2 * sizeof(void*) + 12);
    CHECK(offsetof(RFIDTag, ANT) == 2 * sizeof(void*) + 16);
    CHECK(offsetof(RFIDTag, FrmHandle) == 2 * sizeof(void*) + 20);
}

static void check_bad_handle(int handle)
{
    u8 a = 0xFF;
    u8 b[64] = {0};
    int n = 77;
    CHECK(all.GetReaderInformation(&a, b, b, b, b, b, b, b, b, b, b, b, handle) == TAGWIRE_BAD_HANDLE);
    CHECK(all.GetModuleDetails(&a, b, b, b, handle) == 55);
    CHECK(all.Inventory_G2(&a, 4, 0, 0, b, 0, b, 0, 0, 0, 0, 0, 0, 0, 0, b, b, &n, &n, handle) == 55);
    CHECK(all.InventoryMix_G2(&a, 4, 0, 0, b, 0, b, 0, 0, b, 0, b, 0, 0, 0, 0, b, b, &n, &n, handle) == 55);
    CHECK(all.InventoryExtMix_G2(&a, 4, 0, 1, b, 0, b, 0, b, 0, b, 0, 0, 0, 0, b, b, &n, &n, handle) == 55);
    CHECK(all.Inventory_EPC_G2(&a, 0, b, b, b, b, b, &n, &n, handle) == 55);
    CHECK(all.Inventory_QT_G2(&a, 4, 0, 0, 0, 0, 0, b, b, &n, &n, handle) == 55);
    CHECK(all.Inventory_FastBID_NXP(&a, 4, 0, 0, 0, 0, 0, b, b, &n, &n, handle) == 55);
    CHECK(all.Inventory_FastTID_NXP(&a, 4, 0, 0, 0, 0, 0, b, b, &n, &n, handle) == 55);
    CHECK(all.SingleTagInventory_G2(&a, b, &n, &n, handle) == 55);
    CHECK(all.Fast_switch_ant_inventory(&a, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, handle) == 55);
    CHECK(all.StartRead(&a, 0, handle) == 55);
    CHECK(all.StopRead(&a, handle) == 55);
    CHECK(all.StopImmediately(&a, handle) == 55);
    CHECK(all.ReadActiveModeData(b, &n, handle) == 55);
    CHECK(all.CloseNetPort(handle) == 55);
    all.InitRFIDCallBack(count_tag, true, handle);
    CHECK(a == 0xFF && b[0] == 0 && n == 77 && callback_calls == 0);
}

static void check_reserved(int handle)
{
    u8 b[4] = {1, 2, 3, 4};
    CHECK(all.EnableTestFreq(b, b, 1, handle) == 0);
    CHECK(all.GetADValue(b, 1, b, handle) == 0);
    CHECK(all.SetAValue(b, 1, b, b, handle) == 0);
    CHECK(all.AutoTable(b, handle) == 0);
    CHECK(all.AutoOffset(NULL, handle) == 0);
    CHECK(all.GetAdjustPara(b, b, handle) == 0);
    CHECK(all.GetCheckPWR(NULL, NULL, NULL, handle) == 0);
    CHECK(all.SetDCOffset(b, b, handle) == 0);
    CHECK(all.DeleteRfOutput(b, b, handle) == 0);
    CHECK(b[0] == 1 && b[1] == 2 && b[2] == 3 && b[3] == 4);
}

static void check_failing_opens(void)
{
    char device[] = "/dev/there-is-no-such-device";
    char address[] = "999.1.1.1";
    u8 bus_address = 0xFF;
    int handle = 5;
    CHECK(all.OpenComPort(device, &bus_address, 5, &handle) == TAGWIRE_NO_DEVICE);
    CHECK(handle == -1);
    handle = 5;
    CHECK(all.OpenNetPort(6000, address, &bus_address, &handle) == TAGWIRE_NO_ANSWER);
    CHECK(handle == -1);
    CHECK(bus_address == 0xFF);
}

int main(void)
{
    static const int bad_handles[] = {-1, 0, 1, 255, 256, 999};
    size_t i;
    check_tag_record();
    for (i = 0; i < sizeof bad_handles / sizeof bad_handles[0]; ++i) {
        check_bad_handle(bad_handles[i]);
        check_reserved(bad_handles[i]);
    }
    CHECK(all.CloseSpecComPort(0) == 55);
    CHECK(all.CloseSpecComPort(256) == 55);
    CHECK(all.CloseSpecComPort(1) == 48);
    CHECK(all.CloseSpecComPort(255) == 48);
    CHECK(all.CloseComPort() == 0);
    check_failing_opens();
    return failures;
}
