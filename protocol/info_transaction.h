/**
 * The two commands of the servo information panel: read the servo's type and version date into
 * the panel, and write the panel's type and date into the servo. Each sends one request, the
 * receive parser handles the one reply (modes 5 and 6), and the tick's time-out check ends a
 * transaction that got no reply within 200 ms. UI thread only.
 */
#pragma once

#include <cstdint>

constexpr uint32_t INFO_TIMEOUT_MS = 200;

/* Results of the two commands: 0 the request was sent (whatever SerialWrite said), or the check
 * that refused it, in the order the checks run. */
enum InfoCommandResult : int {
    INFO_SENT = 0,
    INFO_PORT_CLOSED = -1,       /* "Please open the serial port first!" */
    INFO_FIELD_UNAVAILABLE = -2, /* a field's text could not be had */
    INFO_TYPE_EMPTY = -3,
    INFO_MONTH_DAY_NOT_TWO = -4, /* month or day text not two characters */
    INFO_MONTH_OUT_OF_RANGE = -5,
    INFO_YEAR_EMPTY = -6,
    INFO_YEAR_IS_ONE = -7,
    INFO_YEAR_NOT_FOUR = -8,
    INFO_MONTH_EMPTY = -9, /* empty or "00" */
    INFO_DAY_EMPTY = -10,  /* empty or "00" */
};

/* Read-info button: with the port open, resets the information receive side, sends 8E 00 00 8E
 * and enters mode 5. Returns INFO_SENT or INFO_PORT_CLOSED (an error box told the user). */
int info_transaction_read();

/* Write-info button: runs the ten checks in order (the first failure shows its message and sends
 * nothing), then sends the 30-byte information frame built from the four fields and enters
 * mode 6. Returns an InfoCommandResult. */
int info_transaction_write();

/* Time-out check of the tick: ends a read or write that has waited more than 200 ms (low 32
 * bits of the clock, unsigned difference) with an error box. Returns 1 when it ended one now,
 * else 0. */
int info_transaction_check_timeout();
