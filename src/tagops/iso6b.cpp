// ISO 18000-6B tags: 8 bytes of ID, memory addressed by bytes.
#include "tagops/addressing.h"

namespace tagwire {
namespace {

constexpr int id_size = 8;
constexpr u8 len_without_data = 5;

}  // namespace
}  // namespace tagwire

using namespace tagwire;

int I_InventorySingle_6B(Reader* sthis, u8* address, u8* Ant, u8* ID_6B)
{
    Command command(sthis, address, 0x50);
    command.send(Inventory::yes);
    if (const int result = command.receive()) return result;
    const Response response = command.response();
    *address = response.address();
    if (response.len() <= len_without_data) return response.status();
    *Ant = response[0];
    response.copy(1, ID_6B, 10);
    return response.status();
}

int I_InventoryMultiple_6B(Reader* sthis, u8* address, u8 Condition, u8 StartAddress, u8 mask,
                           u8* ConditionContent, u8* Ant, u8* ID_6B, int* Cardnum)
{
    Command command(sthis, address, 0x51);
    command.byte(Condition).byte(StartAddress).byte(mask).bytes(ConditionContent, 8).send(Inventory::yes);
    if (const int result = command.receive()) return result;
    const Response response = command.response();
    *address = response.address();
    if (response.len() <= len_without_data) return response.status();
    *Ant = response[0];
    *Cardnum = response[1];
    response.copy(2, ID_6B, response.length() - 8);
    return response.status();
}

// Copies as many bytes as were asked for, not as many as came.
int I_ReadData_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, u8 Num, u8* Data, int* Errorcode)
{
    Command command(sthis, address, 0x52);
    command.byte(StartAddress).bytes(ID_6B, id_size).byte(Num).send();
    if (const int result = command.receive()) return result;
    const Response response = command.response();
    *address = response.address();
    return tag_status(response, Errorcode, [&](const Response&) {
        if (response.len() > len_without_data) response.copy(0, Data, Num);
    });
}

// The reader reports no count: *writtenbyte is the one that was asked for.
int I_WriteData_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, u8* Writedata, u8 Writedatalen,
                   u8* writtenbyte, int* Errorcode)
{
    Command command(sthis, address, 0x53);
    command.byte(StartAddress).bytes(ID_6B, id_size).bytes(Writedata, Writedatalen).send();
    if (const int result = command.receive()) return result;
    const Response response = command.response();
    *address = response.address();
    return tag_status(response, Errorcode, [&](const Response&) { *writtenbyte = Writedatalen; });
}

int I_Lock_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, int* Errorcode)
{
    Command command(sthis, address, 0x55);
    command.byte(StartAddress).bytes(ID_6B, id_size).send();
    if (const int result = command.receive()) return result;
    const Response response = command.response();
    *address = response.address();
    return tag_status(response, Errorcode, [](const Response&) {});
}

int I_CheckLock_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, u8* ReLockState, int* Errorcode)
{
    Command command(sthis, address, 0x54);
    command.byte(StartAddress).bytes(ID_6B, id_size).send();
    return tag_result(command, Errorcode, [&](const Response& response) {
        *address = response.address();
        *ReLockState = response[0];
    });
}
