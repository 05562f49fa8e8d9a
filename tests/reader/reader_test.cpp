#include <gmock/gmock.h>

#include <cstddef>
#include <cstring>
#include <iterator>
#include <unistd.h>

#include "api/handles.h"
#include "support/test_reader.h"
#include "tagwire/result.h"

namespace tagwire::test {
namespace {

// The slots in their order, written out apart from the list.
constexpr const char* slot_names[] = {"log",
                                      "LOCK",
                                      "UNLOCK",
                                      "trylock_fd",
                                      "unlock_fd",
                                      "GetCRC",
                                      "CheckCRC",
                                      "Open_Net",
                                      "Open_Com",
                                      "SendDataToPortS",
                                      "SendDataToPort",
                                      "SendStopDataToPort",
                                      "ReadRfidData",
                                      "GetDataFromPort",
                                      "AutoGetDataFromPort",
                                      "GetInventoryDataFromPort1",
                                      "GetInventoryDataFromPort2",
                                      "GetInventoryDataFromPort3",
                                      "GetInventoryDataFromPort_TP",
                                      "GetBufferDataFromPort",
                                      "GetDataFromPort_buff",
                                      "GetDataFromPort1",
                                      "GetDataFromPort2",
                                      "parserRidTag",
                                      "GraceClose",
                                      "CloseTCP",
                                      "OpenTCP",
                                      "CloseCom",
                                      "OpenCom",
                                      "GetReaderInformation",
                                      "GetModuleDetails",
                                      "Inventory_G2",
                                      "InventoryMix_G2",
                                      "InventoryExtMix_G2",
                                      "Inventory_EPC_G2",
                                      "Inventory_QT_G2",
                                      "Inventory_FastBID_NXP",
                                      "Inventory_FastTID_NXP",
                                      "SingleTagInventory_G2",
                                      "ReadActiveModeData",
                                      "StopImmediately",
                                      "Fast_switch_ant_inventory",
                                      "StartRead",
                                      "StopRead",
                                      "GetRfidTagData",
                                      "GetInventory_FindEPC_DataFromPort"};

constexpr const char* listed_names[] = {
#define TAGWIRE_OPERATION(exported, result, name, ...) #name,
#include "reader/operations.def"
#undef TAGWIRE_OPERATION
};

TEST(Operations, stand_in_slot_order)
{
    EXPECT_THAT(listed_names, testing::ElementsAreArray(slot_names));
    EXPECT_EQ(sizeof(Operations), std::size(slot_names) * sizeof(void (*)()));
}

TEST(Operations, every_slot_holds_the_function_of_its_name)
{
    Reader* reader = Create_Reader();
    ASSERT_NE(reader, nullptr);
#define TAGWIRE_OPERATION(exported, result, name, ...) EXPECT_EQ(reader->operations.name, I_##name);
#include "reader/operations.def"
#undef TAGWIRE_OPERATION
    Destroy_Reader(&reader);
}

TEST(CreateReader, starts_closed_idle_and_zeroed)
{
    Reader* reader = Create_Reader();
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->sServer, -1);
    EXPECT_EQ(reader->hCommPort, -1);
    EXPECT_EQ(reader->m_type, 0);
    EXPECT_TRUE(reader->isStopStocktaking);
    EXPECT_FALSE(reader->LogFileFlag);
    EXPECT_FALSE(reader->isInventoryCmd);
    EXPECT_FALSE(reader->isStopCmd);
    EXPECT_FALSE(reader->DeviceIsOpen);
    EXPECT_FALSE(reader->Reading);
    EXPECT_FALSE(reader->InventoryBackUID);
    EXPECT_EQ(reader->MypCallBack, nullptr);
    EXPECT_EQ(reader->recvLength, 0);
    EXPECT_EQ(reader->time1, 0);
    EXPECT_EQ(reader->time2, 0);
    EXPECT_EQ(reader->time3, 0);
    EXPECT_EQ(reader->inventoryScanTime, 0);
    EXPECT_EQ(reader->ATstate, 0);
    const Bytes zeros(65536);
    for (const u8* buffer :
         {reader->recvBuff, reader->btRecvArr, reader->btArBuff, reader->szBuff, reader->szBuff1})
        EXPECT_EQ(std::memcmp(buffer, zeros.data(), zeros.size()), 0);
    EXPECT_EQ(std::memcmp(reader->ipAddress, zeros.data(), sizeof reader->ipAddress), 0);
    Destroy_Reader(&reader);
}

TEST(CreateReader, has_its_fields_in_declaration_order)
{
    EXPECT_EQ(offsetof(Reader, sendBuff), 0U);
    EXPECT_EQ(sizeof(Reader::sendBuff), 256U);
    EXPECT_LT(offsetof(Reader, sServer), offsetof(Reader, netport));
    EXPECT_LT(offsetof(Reader, portDCB), offsetof(Reader, hCommPort));
    EXPECT_LT(offsetof(Reader, hCommPort), offsetof(Reader, time1));
    EXPECT_LT(offsetof(Reader, inventoryScanTime), offsetof(Reader, recvBuff));
    EXPECT_LT(offsetof(Reader, szBuff1), offsetof(Reader, recvLength));
    EXPECT_LT(offsetof(Reader, ReaderAddr), offsetof(Reader, g_cs));
    EXPECT_LT(offsetof(Reader, g_cs), offsetof(Reader, g_writecs));
    EXPECT_LT(offsetof(Reader, isStopCmd), offsetof(Reader, isStopStocktaking));
    EXPECT_LT(offsetof(Reader, m_type), offsetof(Reader, FrmHandle));
    EXPECT_LT(offsetof(Reader, MypCallBack), offsetof(Reader, operations));
}

TEST(DestroyReader, clears_the_pointer)
{
    Reader* reader = Create_Reader();
    Destroy_Reader(&reader);
    EXPECT_EQ(reader, nullptr);
}

TEST(DestroyReader, leaves_an_open_socket_open)
{
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    Reader* reader = Create_Reader();
    reader->m_type = tcp_link;
    reader->sServer = ends[0];
    reader->DeviceIsOpen = true;
    Destroy_Reader(&reader);
    EXPECT_EQ(::write(ends[0], "x", 1), 1);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(DestroyReader, keeps_the_memory_for_a_user_that_is_left)
{
    Reader* reader = Create_Reader();
    Reader* in_use = reader;
    retain(in_use);
    reader->isInventoryCmd = true;
    Destroy_Reader(&reader);
    EXPECT_TRUE(in_use->isStopStocktaking);
    EXPECT_TRUE(in_use->isStopCmd);
    EXPECT_FALSE(in_use->isInventoryCmd);
    release(in_use);
}

TEST(FreshReader, is_idle_but_has_no_link)
{
    Reader* reader = Create_Reader();
    int length = 99;
    EXPECT_EQ(reader->operations.GetDataFromPort(reader, reader->recvBuff, &length), TAGWIRE_BAD_HANDLE);
    EXPECT_EQ(length, 0);
    Destroy_Reader(&reader);
}

}  // namespace
}  // namespace tagwire::test
