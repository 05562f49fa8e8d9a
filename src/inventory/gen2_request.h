// The fields of Gen2 inventory requests. Each optional group is there when its flag is 1.
#pragma once

#include "tagops/addressing.h"

namespace tagwire {

struct FastTail {
    u8 flag;
    u8 target;
    u8 antenna;
    u8 scan_time;

    void put(Command& command) const
    {
        if (flag == 1) command.byte(target).byte(antenna).byte(scan_time);
    }
};

// What an inventory of EPCs or TIDs asks for, into the answer or into the reader's buffer.
struct Gen2Request {
    u8 q_value;
    u8 session;
    u8 mask_flag;
    Mask mask;
    u8 tid_flag;
    u8 tid_address;
    u8 tid_words;
    FastTail fast;

    void put(Command& command) const
    {
        command.byte(q_value).byte(session);
        if (mask_flag == 1) command.add(mask);
        if (tid_flag == 1) command.byte(tid_address).byte(tid_words);
        command.add(fast);
    }
};

}  // namespace tagwire
