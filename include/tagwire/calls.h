/* What is true of all calls alike.
 *
 * Parameters:
 *
 * FrmHandle  in: the handle of an open connection, 1 to 255
 *
 * An unsigned char that is no pointer is 1 byte, in. What a value means is a matter of reader and tag where
 * nothing else is said: it is passed on as it is, and bytes keep their order. No pointer may be null where
 * nothing else is said; what it points to is the caller's, and is used during the call only. An answer that
 * is shorter than its outputs, with status 0 and no data for example, puts its CRC bytes into them and behind
 * these what the buffer holds, zeros as a rule.
 *
 * How long a call takes: every wait has a limit. How a call waits for its answer is its kind; the other
 * headers name the kind. The longest that a call of a kind takes, in milliseconds, rounded up to tens, when
 * nothing comes (silent) and when bytes that never become its answer come at the worst moment (late); what a
 * busy machine adds comes on top:
 *
 *                        serial line          TCP
 *   kind                 silent    late       silent    late
 *   ANSWER                 1510    2020         2030    3020
 *   PICKED                  210     220         1020    1220
 *   INVENTORY              5010    5020         5060    6020
 *   SWITCHING              5010    5020         5080    6020
 *   TEMPERATURE            5010    5010         5030    6010
 *   COUNT                 60010   60010        60600   61010
 *   BUFFER                 1010   10010         1010   11010
 *   RECORDS                2010    6020         2030    7020
 *   MEMORY                15010   15010        15150   16010
 *   SCAN                  20010   20010        20020   21010
 *   TABLE                   310     320         1020    1320
 *   MODULE                 7010   10010            0       0
 *   RAW                      20      20         1020    1020
 *   SEND                      0       0            0       0
 *   OPEN                    210     220         2020    2220
 *   CLOSE                   600     600          200     200
 *
 * INVENTORY, SWITCHING, TEMPERATURE, SCAN and TABLE: the answer is a row of frames, and the time runs from
 * its last good frame. All other times run from the request. SWITCHING ends earlier when nothing at all came
 * within 4 s and the reader's scan time. MODULE works on serial lines only.
 *
 * Over TCP a call that sends first waits for room to send, if the reader takes no bytes: up to 1000 ms, which
 * come on top. All but WriteParameterTable and StopImmediately then wait for an answer all the same.
 *
 * PICKED passes over frames that are damaged or answer another command: where 49 and 238 are told of such a
 * call, it gives 48 in their place.
 *
 * Which call is of which kind:
 *
 *   PICKED         GetReaderInformation, SetRfPower, SetWorkMode, SetReadMode, StopRead
 *   INVENTORY      Inventory_G2, InventoryMix_G2, InventoryExtMix_G2, Inventory_EPC_G2, Inventory_QT_G2,
 *                  Inventory_FastBID_NXP, Inventory_FastTID_NXP, Inventory_Temperature_Ast010, Inventory_GB,
 *                  Inventory_JB, InventoryMix_GB, InventoryMix_JB, Find_epc_by_list
 *   SWITCHING      Fast_switch_ant_inventory
 *   TEMPERATURE    Inventory_Temperature, Inventory_Temperature_ltu32
 *   COUNT          InventoryBuffer_G2
 *   BUFFER         ReadBuffer_G2
 *   RECORDS        GetTagBufferInfo
 *   MEMORY         Fd_ExtReadMemory
 *   SCAN           SearchWIFI
 *   TABLE          ReadParameterTable
 *   MODULE         ChangeATMode, TransparentCMD
 *   RAW            ReadActiveModeData
 *   SEND           StopImmediately
 *   OPEN           OpenComPort, OpenNetPort
 *   CLOSE          CloseSpecComPort, CloseNetPort
 *   ANSWER         every other call that sends a command
 *
 * WriteParameterTable waits for an ANSWER to each of its frames. AutoOpenComPort takes an OPEN for each device
 * that it can open, CloseComPort a CLOSE for each serial connection, and OpenNetPort a CLOSE more where it
 * replaces a connection. InitRFIDCallBack, CheckSense, GetTemperature and the calls of tagwire/reserved.h wait
 * for nothing.
 */
#ifndef TAGWIRE_CALLS_H
#define TAGWIRE_CALLS_H
#endif
