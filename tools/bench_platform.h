/* The platform calls for benches that run the serial link without a window: message boxes are
 * printed, and the notifier thread's wake-up is a condition the bench waits on. */
#pragma once

#include <chrono>

/* Waits until the notifier thread posts a wake-up or the deadline passes; true when it posted
 * (the wake-up is then consumed). */
bool bench_wait_serial_rx(std::chrono::steady_clock::time_point deadline);
