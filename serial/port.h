/**
 * The serial port as the platform offers it: the small contract under the port object
 * (serial/comHandle) and the receive path (serial/rx_ring). One file per platform implements it
 * (serial/port_linux.cpp, serial/port_win32.cpp); the portable code keeps the logic, the log
 * lines and the return codes.
 *
 * A handle is a plain integer. An open port is never PORT_HANDLE_NONE (0, "never opened") nor
 * PORT_HANDLE_INVALID (all ones, "closed" or "failed").
 */
#pragma once

#include <cstdint>

typedef intptr_t port_handle_t;
constexpr port_handle_t PORT_HANDLE_NONE = 0;
constexpr port_handle_t PORT_HANDLE_INVALID = -1;

/* True for a handle that may refer to an open port. */
inline bool port_handle_valid(port_handle_t h) { return h != PORT_HANDLE_NONE && h != PORT_HANDLE_INVALID; }

/* Line settings of the servo link. The queue sizes and time-outs are the driver's on platforms
 * that have them; others ignore them. */
struct PortLineSettings {
    uint32_t baud;
    uint8_t data_bits;
    uint8_t stop_bits;
    bool parity_check; /* input parity checking, kept on although the line has no parity */
    uint32_t rx_queue_size;
    uint32_t tx_queue_size;
    uint32_t timeout_ms;
};

/* Opens the named port for exclusive read/write use. Returns the handle, or PORT_HANDLE_INVALID
 * with *error set to the platform's error number (missing, no permission, held by another). */
port_handle_t port_open(const char* name, int* error);

/* Applies the line settings and empties both directions. Steps that fail are logged and
 * otherwise ignored: the port stays usable with what the driver keeps. */
void port_configure(port_handle_t h, const PortLineSettings& settings);

/* Makes the port ready for waits on received characters and for their wake-up. 0, or -1 with
 * *error. */
int port_arm_rx_wait(port_handle_t h, int* error);

/* Waits, with no time limit, for received bytes (only when watch_port) or for port_wake_rx_wait.
 * Returns 1 when bytes are waiting, 0 when woken. A port that failed or vanished is no longer
 * watched: only a wake-up ends the wait then, so a caller that loops on this never spins. */
int port_wait_rx(port_handle_t h, bool watch_port);

/* Ends the port_wait_rx under way on h, or the next one (from any thread). Nothing for a port
 * that was not armed. */
void port_wake_rx_wait(port_handle_t h);

/* Number of received bytes waiting in the driver. 0 with *count, or -1 with *error. */
int port_queued(port_handle_t h, uint32_t* count, int* error);

enum class PortIoStatus {
    Done,            /* count bytes moved (may be fewer than asked only where the platform says so) */
    Refused,         /* the call failed at once: error */
    WaitSetupFailed, /* the bounded wait could not be prepared: error */
    WaitFailed,      /* the wait ended in failure: wait_result, error */
    WaitTimedOut,    /* the time ran out: count bytes had moved */
    ResultFailed,    /* the port failed after the wait: error, count bytes had moved */
};

struct PortIoResult {
    PortIoStatus status;
    uint32_t count;
    int error;       /* platform error number, 0 when none */
    int wait_result; /* raw result of the platform's wait call (WaitFailed only) */
};

/* Reads up to n bytes of those already waiting into buf. */
PortIoResult port_read(port_handle_t h, uint8_t* buf, uint32_t n);

/* Writes n bytes, waiting at most timeout_ms in all for the port to take them. */
PortIoResult port_write(port_handle_t h, const uint8_t* data, uint32_t n, uint32_t timeout_ms);

/* Drops whatever of an abandoned write the port has not sent yet. */
void port_cancel_write(port_handle_t h);

/* Closes the port. 0, or -1 with *error. */
int port_close(port_handle_t h, int* error);

/* What a platform error number means, for the texts of the receive path. */
enum class PortErrorKind { AccessDenied, InvalidHandle, BadCommand, DeviceFailed, Cancelled, Incomplete, Other };
PortErrorKind port_error_kind(int error);
