/* Functions that exist so that programs linked against them keep loading. Each returns 0 at once, looks at
 * none of its arguments, the handle included, and writes nothing. The pointers may be null:
 *
 * address, TestFreq, ADValue, A1, A0, data, FWDPWR, REVPWR, DCOffset, Reinfo  no bytes in, none out
 * GainIndex, nFlag                                                            any value
 */
#ifndef TAGWIRE_RESERVED_H
#define TAGWIRE_RESERVED_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

TAGWIRE_API int EnableTestFreq(unsigned char* address, unsigned char* TestFreq, unsigned char GainIndex,
                               int FrmHandle);
TAGWIRE_API int GetADValue(unsigned char* address, unsigned char nFlag, unsigned char* ADValue,
                           int FrmHandle);
TAGWIRE_API int SetAValue(unsigned char* address, unsigned char nFlag, unsigned char* A1, unsigned char* A0,
                          int FrmHandle);
TAGWIRE_API int AutoTable(unsigned char* address, int FrmHandle);
TAGWIRE_API int AutoOffset(unsigned char* address, int FrmHandle);
TAGWIRE_API int GetAdjustPara(unsigned char* address, unsigned char* data, int FrmHandle);
TAGWIRE_API int GetCheckPWR(unsigned char* address, unsigned char* FWDPWR, unsigned char* REVPWR,
                            int FrmHandle);
TAGWIRE_API int SetDCOffset(unsigned char* address, unsigned char* DCOffset, int FrmHandle);
TAGWIRE_API int DeleteRfOutput(unsigned char* address, unsigned char* Reinfo, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
