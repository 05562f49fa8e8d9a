// ISO 18000-6B tags: 8 bytes of ID, memory addressed by bytes.
#include "tagops/addressing.h"

namespace tagwire::engine {
namespace {

constexpr int id_size = 8;
constexpr u8 len_without_data = 5;

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_InventorySingle_6B(Reader* sthis, u8* address, u8* Ant, u8* ID_6B)
{
    return Command(sthis, address, 0x50, Inventory::yes)
        .exchange(AddressEcho::always, Outputs::always, [&](const Response& r) {
            if (r.len() <= len_without_data) return;
            *Ant = r[0];
            r.copy(1, ID_6B, 10);
        });
}

int I_InventoryMultiple_6B(Reader* sthis, u8* address, u8 Condition, u8 StartAddress, u8 mask,
                           u8* ConditionContent, u8* Ant, u8* ID_6B, int* Cardnum)
{
    Command command(sthis, address, 0x51, Inventory::yes);
    command.bytes({Condition, StartAddress, mask}).bytes(ConditionContent, 8);
    return command.exchange(AddressEcho::always, Outputs::always, [&](const Response& r) {
        if (r.len() <= len_without_data) return;
        *Ant = r[0];
        *Cardnum = r[1];
        r.copy(2, ID_6B, r.length() - 8);
    });
}

// Copies as many bytes as were asked for, not as many as came.
int I_ReadData_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, u8 Num, u8* Data, int* Errorcode)
{
    Command command(sthis, address, 0x52);
    command.byte(StartAddress).bytes(ID_6B, id_size).byte(Num);
    return command.exchange(AddressEcho::always, tag_error, Errorcode, [&](const Response& r) {
        if (r.len() > len_without_data) r.copy(0, Data, Num);
    });
}

// The reader reports no count: *writtenbyte is the one that was asked for.
int I_WriteData_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, u8* Writedata, u8 Writedatalen,
                   u8* writtenbyte, int* Errorcode)
{
    Command command(sthis, address, 0x53);
    command.byte(StartAddress).bytes(ID_6B, id_size).bytes(Writedata, Writedatalen);
    return command.exchange(AddressEcho::always, tag_error, Errorcode,
                            [&](const Response&) { *writtenbyte = Writedatalen; });
}

int I_Lock_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, int* Errorcode)
{
    Command command(sthis, address, 0x55);
    command.byte(StartAddress).bytes(ID_6B, id_size);
    return command.exchange(AddressEcho::always, tag_error, Errorcode);
}

int I_CheckLock_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, u8* ReLockState, int* Errorcode)
{
    Command command(sthis, address, 0x54);
    command.byte(StartAddress).bytes(ID_6B, id_size);
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode, bytes_to(ReLockState));
}
