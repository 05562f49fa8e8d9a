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
 * come on top. Those that wait for an answer then wait for it all the same, but for WriteParameterTable.
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
 *
 * What a call does while something else runs. Calls on different handles never meet: they may all run at once.
 * On one handle:
 *
 *   reading    continuous reading runs; the same inside its callback
 *   locked     the caller is inside a callback of an inventory that holds the command lock: Inventory_G2,
 *              InventoryMix_G2, InventoryExtMix_G2, Inventory_EPC_G2, Inventory_QT_G2,
 *              Inventory_Temperature_Ast010
 *   callback   the caller is inside a callback of any other inventory
 *   beside     another thread is inside a command
 *   closing    another thread is inside a close
 *
 * What it returns then ("own" is what it returns at other times, too):
 *
 *                        reading    locked     callback   beside     closing
 *   command              51         51         51         any        own 48 55 51
 *   locked inventory     51         51         51         own any    own 48 55 51
 *   StartRead            51         51         51         any        own 48 55 51
 *   StopRead             own        48         48         own 48     own 48 55
 *   StopImmediately      51         own        own        own        own 48 55 51
 *   ReadActiveModeData   51         51         51         any        own 55 51
 *   CloseNetPort         0          51         0          0 51       48 55
 *   CloseSpecComPort     0          51         51         0 51       48
 *   OpenNetPort          0          51         0 51       0 51       0
 *
 * The longest that it waits then for what runs, and for its own answer if that is still to come, in
 * milliseconds on a serial line / over TCP:
 *
 *                        reading    locked     callback   beside     closing
 *   command              0/0        0/0        0/0        own        own
 *   locked inventory     0/0        0/0        0/0        end        end
 *   StartRead            0/0        0/0        0/0        own        own
 *   StopRead             220/1220   0/0        0/0        420/1420   420/1420
 *   StopImmediately      0/0        0/0        0/0        0/0        0/0
 *   ReadActiveModeData   0/0        0/0        0/0        own        own
 *   CloseNetPort         -/200      -/0        -/200      -/end      -/0
 *   CloseSpecComPort     600/-      200/-      200/-      600/-      0/-
 *   OpenNetPort          -/2420     -/0        -/2420     -/end      -/2220
 *
 * command            Every call that sends something and is not named in another row.
 * any                Two commands at once are the caller's mistake: what they return is not told, and what
 *                    they wait for neither; nothing is written outside of the outputs of either.
 * locked inventory   waits until another one on the handle has ended, and until a close has: end.
 * StopRead           While a StartRead waits for its answer, that one returns what the reader says,
 *                    without reading having begun. Where another command does not leave the connection
 *                    within 200 ms, or the caller is inside a callback, the stop is sent and 48 returned.
 *                    Its answer is left to that command: inventories of the kinds INVENTORY, SWITCHING and
 *                    TEMPERATURE skip it, so do PICKED, MEMORY, SCAN and TABLE; others take it for their
 *                    own and give 49, 238 or what it says. Once StopRead has returned, reading does not
 *                    run and the reader was told, whatever was under way.
 * InitRFIDCallBack   may be called at any time and waits for nothing. It counts from the next tag on; what
 *                    the inventory in progress does with its list was decided as it began.
 * CloseNetPort       51 for Inventory_G2, Inventory_Temperature_Ast010 and Find_epc_by_list of another
 *                    thread, which end with 48 as soon as no callback of theirs runs. It waits for the end
 *                    of the other four that hold the lock, which comes as soon: end. It does not wait for
 *                    any other command, nor for a callback of one.
 * CloseSpecComPort   51 where a command that is answered at length is still in progress after 200 ms: an
 *                    inventory in its callback, but of kind TEMPERATURE, which is closed under; or one
 *                    that does not look for a stop: InventoryBuffer_G2, InventorySingle_6B,
 *                    InventoryMultiple_6B, ReadData_G2, WriteData_G2, WriteEPC_G2, ReadData_GB,
 *                    WriteData_GB, ReadData_JB, WriteData_JB and Fd_ExtReadMemory. Inside a callback of
 *                    kind TEMPERATURE it closes: 0. CloseComPort does the same for each serial connection.
 * OpenNetPort        to the address of the handle: it replaces the connection, and waits for the end of an
 *                    inventory that holds the lock; 51 as connection.h says where FrmHandle names a reader
 *                    in an inventory. A connection that is being closed is not waited for. Opening
 *                    anything else, with OpenComPort and AutoOpenComPort too, meets nothing but another
 *                    OpenNetPort: 51.
 *
 * Behind a close that has returned 0 no callback of the connection begins, but for one that was just being
 * entered, and a callback that runs is waited for only where the table says end: what a callback uses must
 * outlive it. A command that a close meets ends some 10 ms behind the close at the latest, or as soon as its
 * callback has returned: with 48 or 55, Fast_switch_ant_inventory with 0, ReadActiveModeData with 251, or
 * with its answer if that had just come. After a close refused with 51 the connection stays open, and
 * stopped, as CloseSpecComPort says.
 */
#ifndef TAGWIRE_CALLS_H
#define TAGWIRE_CALLS_H
#endif
