/* The values that every call returns.
 *
 * 0 is success. The library's own codes are below. Any other value is the status byte of the reader, passed
 * through as it came. A few values are used by both sides (249, 251, 255): which one it was follows from the
 * call that returned it. tagwire/result_text.h says in words what they mean and what to do.
 */
#ifndef TAGWIRE_RESULT_H
#define TAGWIRE_RESULT_H

enum tagwire_result {
    TAGWIRE_OK = 0,
    TAGWIRE_NO_ANSWER = 48,      /* no complete valid answer in time, or the link could not be used */
    TAGWIRE_BAD_CRC = 49,        /* an answer came, its CRC-16 is wrong */
    TAGWIRE_BUSY = 51,           /* reading, an open or an inventory is in progress, see calls.h */
    TAGWIRE_ALREADY_OPEN = 53,   /* the connection is open already; the exported functions never return it */
    TAGWIRE_BAD_HANDLE = 55,     /* no open reader has this handle, or its link is gone */
    TAGWIRE_NO_DEVICE = 57,      /* the serial device could not be opened, or is in use */
    TAGWIRE_BAD_SEQUENCE = 176,  /* a long sensor memory read came out of sequence */
    TAGWIRE_WRONG_COMMAND = 238, /* the answer belongs to another command */
    TAGWIRE_LINE_SETTINGS = 249, /* the serial line settings could not be applied */
    TAGWIRE_NO_DATA = 251,       /* nothing was there to be read */
    TAGWIRE_TAG_ERROR = 252,     /* status of the reader: the tag refused, see Errorcode */
    TAGWIRE_BAD_ARGUMENT = 255   /* out of range, nothing was sent (of GetCustomRegion: no plan) */
};

/* Status bytes of a reader that have a meaning for the multi-frame answers of inventories. */
enum tagwire_inventory_status {
    TAGWIRE_INVENTORY_DONE = 1,       /* the inventory ended by itself */
    TAGWIRE_INVENTORY_TIME_OVER = 2,  /* the scan time ran out */
    TAGWIRE_INVENTORY_MORE = 3,       /* more frames follow; never the result of a call */
    TAGWIRE_INVENTORY_ANTENNA = 0xF8, /* the antenna check failed */
    TAGWIRE_INVENTORY_NO_TAG = 0xFB,  /* no tag answered */
    TAGWIRE_INVENTORY_UNKNOWN = 0xFE  /* the reader does not know this command, or its buffer is empty */
};

#endif
