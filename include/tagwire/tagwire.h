/* tagwire: the host side of UHF RFID readers on Linux. This header includes all others. */
#ifndef TAGWIRE_TAGWIRE_H
#define TAGWIRE_TAGWIRE_H

#include "tagwire/connection.h"
#include "tagwire/information.h"
#include "tagwire/inventory.h"
#include "tagwire/reading.h"
#include "tagwire/reserved.h"
#include "tagwire/result.h"
#include "tagwire/types.h"

#endif
