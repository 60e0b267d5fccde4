/**
 * Millisecond time of the whole program: a monotonic 64-bit count. Time-outs take differences
 * on its low 32 bits, unsigned, so they stay right across a 32-bit wrap.
 */
#pragma once

#include <cstdint>

/* Current monotonic time in milliseconds. */
uint64_t clock_ms();

/* Low 32 bits of clock_ms(), the form stored by time-out checks. */
inline uint32_t clock_ms32() { return static_cast<uint32_t>(clock_ms()); }

/* Milliseconds from `since` to `now` on the low 32 bits (wrap-safe). */
inline uint32_t clock_elapsed32(uint32_t now, uint32_t since) { return now - since; }

/* Blocks the calling thread for the given milliseconds (through the OS, never busy), or hands
 * the wait to the installed sleeper. */
void clock_sleep_ms(uint32_t ms);

/* Replaces the time source (tests drive time by hand); null restores the monotonic clock. */
typedef uint64_t (*clock_source_fn)();
void clock_set_source(clock_source_fn source);

/* Replaces every sleep (a fuzzer advances its driven clock instead of blocking); null restores
 * the OS sleep. Install it before any other thread runs. */
typedef void (*clock_sleeper_fn)(uint32_t ms);
void clock_set_sleeper(clock_sleeper_fn sleeper);
