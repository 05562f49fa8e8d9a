/* tagwire: the host side of UHF RFID readers on Linux. This header includes all others. */
#ifndef TAGWIRE_TAGWIRE_H
#define TAGWIRE_TAGWIRE_H

#include "tagwire/buffer.h"
#include "tagwire/calls.h"
#include "tagwire/connection.h"
#include "tagwire/gb.h"
#include "tagwire/identification.h"
#include "tagwire/information.h"
#include "tagwire/inventory.h"
#include "tagwire/io.h"
#include "tagwire/iso6b.h"
#include "tagwire/memory.h"
#include "tagwire/modes.h"
#include "tagwire/network.h"
#include "tagwire/reading.h"
#include "tagwire/registers.h"
#include "tagwire/reserved.h"
#include "tagwire/result.h"
#include "tagwire/rf.h"
#include "tagwire/security.h"
#include "tagwire/select.h"
#include "tagwire/sensor.h"
#include "tagwire/settings.h"
#include "tagwire/types.h"
#include "tagwire/update.h"

#endif
