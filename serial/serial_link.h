/* The serial link's state as its own files (port object, receive ring, port list) change it. */
#pragma once

#include "serial/comHandle.h"

/* The one state of the serial link. */
SerialLinkState& serial_link();
