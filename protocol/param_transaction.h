/**
 * Reading and writing the servo's parameters (action buttons 0 and 1), in both frame families.
 *
 * A read sends the block family's request 81 00 00 81, waits 100 ms, then a 10 ms timer sends the
 * eight register read requests one per call; the receive parser takes whichever family answers
 * and records it as the parameter source. A write goes by that source: one block frame
 * (acknowledged by four 0x80) for the block family, twelve register frames 50 ms apart for the
 * register family, where values the user left unchanged are sent as the bytes the servo
 * reported. Neither has a time-out. UI thread only.
 */
#pragma once

#include "common/screen_port.h"

#include <cstddef>
#include <cstdint>

constexpr uint32_t PARAM_READ_SLEEP_MS = 100; /* after 81 00 00 81, before the register requests */
constexpr uint32_t PARAM_WRITE_SLEEP_MS = 40; /* after 81 00 00 81, before a block write */
constexpr uint32_t REG_READ_PERIOD_MS = 10;
constexpr uint32_t REG_WRITE_PERIOD_MS = 50;
constexpr int32_t STALL_TIME_WRITE_MAX = 100; /* stored units of 100 ms: 10000 ms on screen */

/* Results of the two commands. */
enum ParamCommandResult : int {
    PARAM_CMD_STARTED = 0,       /* request sent or sequence started; mode 1 or 2 */
    PARAM_CMD_NO_SOURCE = 1,     /* write with nothing read or imported: error box, nothing sent, mode 2 */
    PARAM_CMD_STALL_TIME = -1,   /* a stall time above 10000 ms: error box, nothing written, mode kept */
    PARAM_CMD_TIMER_FAILED = -2, /* the sequencing timer could not be made (debug line only) */
};

/* Read parameters: sends 81 00 00 81, sleeps 100 ms, starts the register read timer and enters
 * mode 1 with the first-read flag set. The port is not checked. Returns PARAM_CMD_STARTED or
 * PARAM_CMD_TIMER_FAILED. */
int param_transaction_read();

/* Write parameters by parameter source (0 refused, 1 block frame, 2 register sequence); enters
 * mode 2 except after a stall-time refusal or a failed timer. Returns a ParamCommandResult. */
int param_transaction_write();

/* Register read timer: sends read request n = the request counter (0..7), noting it for echo
 * removal; the ninth call deletes the timer and clears the counter and the echo table. */
void param_read_timer_cb(protocol_timer_t timer);

/* Register write timer: sends write frame k = the write counter (0..11); the thirteenth call
 * deletes the timer and, when the sequence ran, tells the user it succeeded. */
void param_write_timer_cb(protocol_timer_t timer);

/* Builds register write frame `index` (0..11) from the panel, taking the bytes of unchanged
 * values from ReadCacheBuff. Returns 10, or -1 for another index or too little room. */
int param_transaction_register_frame(int index, uint8_t* out, size_t cap);
