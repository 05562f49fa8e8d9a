/* What all headers of tagwire share: the tag report and its callback. */
#ifndef TAGWIRE_TYPES_H
#define TAGWIRE_TYPES_H

#include <stdbool.h>
#include <stdint.h>

#if defined(__GNUC__)
#define TAGWIRE_API __attribute__((visibility("default")))
#else
#define TAGWIRE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* One tag, as the reader reported it.
 *
 * The record and its UID text belong to the library and live only until the callback returns: copy what you
 * keep. */
typedef struct _RFIDTag {
    unsigned char PacketParam; /* leading byte of a record of the mixed inventories (InventoryMix_G2,
                                  InventoryExtMix_G2, InventoryMix_GB, InventoryMix_JB), as received; 0 for
                                  all others */
    unsigned char LEN;         /* length byte as received. kind 1: bits 0-5 bytes of ID, bit 6 phase data
                                  present. kind 2: the whole byte is the count of bytes */
    const char* UID;      /* the ID (EPC, TID or memory words) as upper-case hexadecimal text, two digits a
                             byte, most significant first, NUL-terminated; at most 510 digits */
    uint32_t phase_begin; /* phase when the reading began, 16 bits; 0 without phase data */
    uint32_t phase_end;   /* phase when it ended, 16 bits; 0 without phase data */
    unsigned char RSSI;   /* signal strength, the reader's own scale */
    uint32_t Freqkhz;     /* carrier frequency in kHz; 0 without phase data */
    unsigned char ANT;    /* antenna port byte of the frame that carried the record */
    int32_t FrmHandle;    /* the connection that reported the tag */
} MyStruct, *RFIDTagStruct;

typedef MyStruct RFIDTag;

/* Called once for every tag report.
 *
 * kind tells how to read LEN and PacketParam: 1 length in 6 bits, 2 (InventoryExtMix_G2) length in 8 bits.
 *
 * Runs on the thread that received the frame: the caller's thread during an inventory, the library's reading
 * thread between StartRead and StopRead. That thread has every asynchronous signal blocked and, on 32-bit
 * systems, a stack of 1 MiB. Return soon: while the callback runs, no further report is taken from the link.
 * What a call from inside the callback does stands in tagwire/calls.h. It must not throw. */
typedef void (*pRFIDCallBack)(RFIDTagStruct record, int kind);

#ifdef __cplusplus
}
#endif

#endif
