/**
 * Receive parser and the shared protocol state.
 *
 * process_servo_info_data takes the servo's byte stream one byte per call, in arrival order, on
 * the UI thread (the receive hand-over drains the ring into it). It first drops the echo of the
 * tool's own transmission (the one-wire adapter returns every byte the PC sends), then acts on
 * the byte by the transaction mode that the request side set when it sent a request: the
 * read-parameters machine (a 38-byte block frame or eight 9-byte register replies), the write
 * acknowledgement counter, the version report, the information write reply, or the information
 * read.
 *
 * All protocol state lives in one ProtocolState (protocol/protocol_state.h), shared by the
 * parser and the request side (info_transaction, param_transaction) and reached by nothing else.
 * Everything the parser shows goes through the screen port (common/screen_port.h).
 */
#pragma once

#include "protocol/frames.h"
#include "common/screen_port.h"

#include <cstddef>
#include <cstdint>

/* What the tool is waiting for. 4 is never used. */
enum TransactionMode : int32_t {
    MODE_IDLE = 0,
    MODE_READ_PARAMS = 1,
    MODE_WRITE_PARAMS = 2,
    MODE_VERSION_QUERY = 3, /* no command enters it; the receive branch stays for servos that report */
    MODE_READ_INFO = 5,
    MODE_WRITE_INFO = 6,
};

/* The transaction mode now (TransactionMode). */
int32_t protocol_mode();

/* Back to the state of a fresh run (all buffers zero, mode 0); tests call it between cases.
 * Running timers are forgotten, not deleted. */
void protocol_reset();

/* Takes one received byte (UI thread only). No result: what it completes it shows or stores. */
void process_servo_info_data(uint8_t byte);

/* Hands every byte received so far to the parser: what the port holds goes into the receive ring
 * and the ring is drained, in arrival order. The timed sends call it first, so a reply that came
 * in while the UI thread was late is parsed before the next request's echo is expected. */
void protocol_take_received();

/* Forgets a half-matched echo of a block-family frame; a transaction that ends without its reply
 * calls it, so the next request's echo is matched from its first byte. */
void protocol_drop_echo();

/* Information read (mode 5): collects the reply, noting whether it starts with the echo of the
 * request, and hands a complete one to handle_servo_info_frame. */
void detect_self_receive_pattern(uint8_t byte);

/* Acts on a complete information reply in the information receive buffer: fills the four fields, or tells
 * the user that byte 1 was refused, or logs a checksum mismatch; then ends the transaction. */
void handle_servo_info_frame();

/* True while something has a deadline on the tick: an information transaction (its 200 ms
 * time-out) or a register read or write sequence (its timer). Parameter reads and writes that
 * wait for an answer have no time-out, so they do not count. */
bool protocol_busy();
