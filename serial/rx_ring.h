/**
 * Receive path of the open port, in three steps:
 *  1. the notifier thread waits for received bytes and wakes the UI thread with
 *     platform_post_serial_rx(), at most one wake-up outstanding (rxNotifyPending); while that
 *     wake-up is unanswered it waits for the answer (SerialHandle's end) or the close instead, so
 *     it wakes only on data, on the answer and on the close;
 *  2. on that wake-up SerialHandle() reads everything the driver holds and appends it to the
 *     20,480-byte ring;
 *  3. rx_ring_drain() hands the ring's bytes, in arrival order, one call per byte, to the parser.
 * The ring and its indices belong to the UI thread; only rxNotifyPending and threadRunning are
 * seen by both threads.
 */
#pragma once

#include <atomic>
#include <cstdint>

constexpr uint16_t RX_RING_SIZE = 20480;   /* one slot always stays free */
constexpr uint32_t RX_POST_RETRY_MS = 2; /* pause before posting again after a refused wake-up */

/* The receive path's state under the names the program uses; changed only by the functions below. */
struct RxRingState {
    uint8_t rxRing[RX_RING_SIZE] = {};
    uint16_t rxWriteIndex = 0; /* 0..20479; equal to rxReadIndex when empty */
    uint16_t rxReadIndex = 0;
    std::atomic<int32_t> rxNotifyPending{0}; /* 1 from the wake-up until SerialHandle has run */
    uint8_t rxChunk[RX_RING_SIZE] = {};      /* destination of one read from the port */
};

/* The state, read-only. */
const RxRingState& rx_ring_state();

/* Body of the notifier thread; returns once threadRunning is 0. */
void rx_notifier_run();

/* Moves what the port has received into the ring (UI thread, on the wake-up). Returns
 *  0 bytes appended or nothing queued; 1 the read returned 0 bytes, or the port is closing;
 * -1 the read failed after its wait; -2 the wait for the read failed; -3 the read was refused;
 * -4 the queue status could not be read (a vanished adapter lands here);
 * -5 ring full, the bytes of this read were dropped. */
int SerialHandle();

/* Appends count bytes at rxWriteIndex, cut to the free space (the rest is dropped with a warning
 * line). The one way bytes enter the ring: SerialHandle uses it for what it read. Returns the
 * bytes appended, 0 when the ring was full. */
uint32_t rx_ring_append(const uint8_t* bytes, uint32_t count);

/* Takes every byte at rxReadIndex until the ring is empty, advancing and wrapping the index, and
 * gives each to consume in arrival order; a null consume discards them. Returns the byte count. */
uint32_t rx_ring_drain(void (*consume)(uint8_t));

/* Moves what the open port holds into the ring (SerialHandle; nothing when no port is open) and
 * drains the ring into consume, in arrival order. Returns the byte count drained. */
uint32_t rx_take_received(void (*consume)(uint8_t));

/* Empties the ring: indices 0, pending flag 0, all bytes zeroed. */
void rx_ring_reset();
