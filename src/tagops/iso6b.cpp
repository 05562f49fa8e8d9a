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
    const Answer answer = command.answer();
    *address = answer.address();
    if (answer.len() <= len_without_data) return answer.status();
    *Ant = answer[0];
    answer.copy(1, ID_6B, 10);
    return answer.status();
}

int I_InventoryMultiple_6B(Reader* sthis, u8* address, u8 Condition, u8 StartAddress, u8 mask,
                           u8* ConditionContent, u8* Ant, u8* ID_6B, int* Cardnum)
{
    Command command(sthis, address, 0x51);
    command.byte(Condition).byte(StartAddress).byte(mask).bytes(ConditionContent, 8).send(Inventory::yes);
    if (const int result = command.receive()) return result;
    const Answer answer = command.answer();
    *address = answer.address();
    if (answer.len() <= len_without_data) return answer.status();
    *Ant = answer[0];
    *Cardnum = answer[1];
    answer.copy(2, ID_6B, answer.length() - 8);
    return answer.status();
}

// Copies as many bytes as were asked for, not as many as came.
int I_ReadData_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, u8 Num, u8* Data, int* Errorcode)
{
    Command command(sthis, address, 0x52);
    command.byte(StartAddress).bytes(ID_6B, id_size).byte(Num).send();
    if (const int result = command.receive()) return result;
    const Answer answer = command.answer();
    *address = answer.address();
    return tag_status(answer, Errorcode, [&](const Answer&) {
        if (answer.len() > len_without_data) answer.copy(0, Data, Num);
    });
}

// The reader reports no count: *writtenbyte is the one that was asked for.
int I_WriteData_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, u8* Writedata, u8 Writedatalen,
                   u8* writtenbyte, int* Errorcode)
{
    Command command(sthis, address, 0x53);
    command.byte(StartAddress).bytes(ID_6B, id_size).bytes(Writedata, Writedatalen).send();
    if (const int result = command.receive()) return result;
    const Answer answer = command.answer();
    *address = answer.address();
    return tag_status(answer, Errorcode, [&](const Answer&) { *writtenbyte = Writedatalen; });
}

int I_Lock_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, int* Errorcode)
{
    Command command(sthis, address, 0x55);
    command.byte(StartAddress).bytes(ID_6B, id_size).send();
    if (const int result = command.receive()) return result;
    const Answer answer = command.answer();
    *address = answer.address();
    return tag_status(answer, Errorcode, [](const Answer&) {});
}

int I_CheckLock_6B(Reader* sthis, u8* address, u8* ID_6B, u8 StartAddress, u8* ReLockState, int* Errorcode)
{
    Command command(sthis, address, 0x54);
    command.byte(StartAddress).bytes(ID_6B, id_size).send();
    return tag_result(command, Errorcode, [&](const Answer& answer) {
        *address = answer.address();
        *ReLockState = answer[0];
    });
}
