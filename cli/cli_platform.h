/**
 * What servo_cli needs from the host beyond the core: a wake-up its loop sleeps on (posted by
 * the serial notifier thread and by Ctrl+C), the interrupt flag, and the local wall-clock time
 * for the production log. One file per platform (cli/cli_platform_linux.cpp).
 */
#pragma once

#include <cstddef>
#include <cstdint>

/* Prepares the wake-up. False when the platform refused (the loop then only sleeps). */
bool cli_wakeup_init();

/* Wakes the loop; safe from any thread and from a signal handler. Always true. */
bool cli_wakeup_post();

/* Sleeps at most ms or until a wake-up; true when one came (all pending ones are taken). */
bool cli_wakeup_wait(uint32_t ms);

/* Ctrl+C (and a polite termination request) sets the interrupt flag and wakes the loop
 * instead of ending the process. */
void cli_interrupt_install();

/* True once Ctrl+C was pressed. */
bool cli_interrupted();

/* This process's number, to name temporary files apart from another run's. */
unsigned cli_process_id();

/* Local time as "YYYY-MM-DD HH:MM:SS" into buf. */
void cli_local_time(char* buf, size_t cap);
