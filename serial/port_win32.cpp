/**
 * Serial port on Windows: an overlapped comm handle.
 *
 * Implements serial/port.h:
 *  - open: CreateFileW on "\\.\COMn" (name converted from the ANSI code page), read/write, no
 *    sharing, open-existing, overlapped;
 *  - configure: SetupComm (driver queues), the DCB (baud, 8 data bits, no parity, 2 stop bits,
 *    binary and parity-check flags), all five COMMTIMEOUTS, PurgeComm both ways;
 *  - the receive wait: SetCommMask (received character, event character), then WaitCommEvent
 *    with a bounded wait on its event. One WaitCommEvent is outstanding at a time: a wait that
 *    times out is picked up again by the next call instead of starting a second one;
 *  - queued count: ClearCommError; read: ReadFile of bytes already queued; write: WriteFile with
 *    a bounded wait, cancelled (and waited for) when the time runs out;
 *  - close: the outstanding comm-event wait is cancelled, then CloseHandle;
 *  - error numbers are GetLastError codes.
 * NOTE: every overlapped record lives in static storage and each operation has finished before
 * its call returns, except the comm-event wait, which port_close ends before the handle goes.
 */
#include "serial/port.h"

#include "common/clock.h"
#include "common/debug_log.h"

#include <windows.h>


namespace {

constexpr DWORD READ_PENDING_WAIT_MS = 100; /* a read of queued bytes that did not complete at once */
constexpr DWORD CANCEL_WAIT_MS = 1000;      /* a cancelled operation normally ends at once */
constexpr size_t DEVICE_PATH_CHARS = 256;

HANDLE handle_of(port_handle_t h) { return reinterpret_cast<HANDLE>(h); }

PortIoResult io_result(PortIoStatus status, uint32_t count, int error = 0, int wait_result = 0) {
    return PortIoResult{status, count, error, wait_result};
}

int last_error() { return static_cast<int>(GetLastError()); }

/* Cancels the operation of ov and waits until the system has let go of ov and its buffer.
 * Returns the bytes it had moved. */
DWORD cancel_and_wait(HANDLE h, OVERLAPPED* ov) {
    DWORD moved = 0;
    CancelIoEx(h, ov);
    if (WaitForSingleObject(ov->hEvent, CANCEL_WAIT_MS) == WAIT_OBJECT_0) GetOverlappedResult(h, ov, &moved, FALSE);
    return moved;
}

/* The comm-event wait of the notifier thread (one thread at a time uses it). */
struct RxWait {
    port_handle_t port = PORT_HANDLE_NONE; /* the port the outstanding wait belongs to */
    HANDLE event = nullptr;
    OVERLAPPED ov = {};
    DWORD mask = 0;
    bool pending = false;
    port_handle_t armed = PORT_HANDLE_NONE; /* the port whose waits the wake-up event ends */
    HANDLE wake = nullptr;                  /* auto-reset: set by port_wake_rx_wait */
};
RxWait g_rx;
constexpr uint32_t RX_UNARMED_WAIT_MS = 50;

/* Ends the outstanding comm-event wait, if any. */
void rx_wait_end() {
    if (g_rx.pending && port_handle_valid(g_rx.port)) cancel_and_wait(handle_of(g_rx.port), &g_rx.ov);
    g_rx.pending = false;
    g_rx.port = PORT_HANDLE_NONE;
}

/* Bytes waiting in the driver (0 when the query fails). */
DWORD rx_queued(HANDLE h) {
    DWORD errors = 0;
    COMSTAT stat = {};
    return ClearCommError(h, &errors, &stat) ? stat.cbInQue : 0;
}

/* Overlapped record of the UI thread's reads and writes, with its own event. */
struct UiIo {
    OVERLAPPED ov;
    HANDLE event;
};

/* A fresh record for one read or write; null event when none could be created. */
UiIo* ui_io() {
    static UiIo io = {{}, nullptr};
    if (io.event == nullptr) io.event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    io.ov = OVERLAPPED{};
    io.ov.hEvent = io.event;
    if (io.event != nullptr) ResetEvent(io.event);
    return &io;
}

} // namespace

port_handle_t port_open(const char* name, int* error) {
    if (name == nullptr || name[0] == '\0') {
        *error = ERROR_FILE_NOT_FOUND;
        return PORT_HANDLE_INVALID;
    }
    wchar_t path[DEVICE_PATH_CHARS] = L"\\\\.\\";
    const int prefix = 4;
    if (MultiByteToWideChar(CP_ACP, 0, name, -1, path + prefix, static_cast<int>(DEVICE_PATH_CHARS) - prefix) == 0) {
        *error = last_error();
        return PORT_HANDLE_INVALID;
    }
    const HANDLE h = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                 FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OVERLAPPED, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        *error = last_error();
        return PORT_HANDLE_INVALID;
    }
    return reinterpret_cast<port_handle_t>(h);
}

void port_configure(port_handle_t ph, const PortLineSettings& s) {
    const HANDLE h = handle_of(ph);
    if (!SetupComm(h, s.rx_queue_size, s.tx_queue_size)) dbg_log("[warning] SetupComm: error %d\n", last_error());

    DCB dcb = {};
    dcb.DCBlength = sizeof dcb;
    if (!GetCommState(h, &dcb)) dbg_log("[warning] GetCommState: error %d\n", last_error());
    dcb.BaudRate = s.baud;
    dcb.ByteSize = s.data_bits;
    dcb.Parity = NOPARITY;
    dcb.StopBits = s.stop_bits == 2 ? TWOSTOPBITS : ONESTOPBIT;
    dcb.fBinary = TRUE;
    dcb.fParity = s.parity_check ? TRUE : FALSE;
    if (!SetCommState(h, &dcb)) dbg_log("[warning] SetCommState: error %d\n", last_error());

    COMMTIMEOUTS t = {};
    if (!GetCommTimeouts(h, &t)) dbg_log("[warning] GetCommTimeouts: error %d\n", last_error());
    t.ReadIntervalTimeout = s.timeout_ms;
    t.ReadTotalTimeoutMultiplier = s.timeout_ms;
    t.ReadTotalTimeoutConstant = s.timeout_ms;
    t.WriteTotalTimeoutMultiplier = s.timeout_ms;
    t.WriteTotalTimeoutConstant = s.timeout_ms;
    if (!SetCommTimeouts(h, &t)) dbg_log("[warning] SetCommTimeouts: error %d\n", last_error());

    if (!PurgeComm(h, PURGE_TXCLEAR | PURGE_RXCLEAR)) dbg_log("[warning] PurgeComm: error %d\n", last_error());
}

int port_arm_rx_wait(port_handle_t h, int* error) {
    if (!port_handle_valid(h) || !SetCommMask(handle_of(h), EV_RXCHAR | EV_RXFLAG)) {
        *error = port_handle_valid(h) ? last_error() : ERROR_INVALID_HANDLE;
        return -1;
    }
    if (g_rx.wake == nullptr) g_rx.wake = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (g_rx.wake == nullptr) {
        *error = last_error();
        return -1;
    }
    ResetEvent(g_rx.wake);
    g_rx.armed = h;
    return 0;
}

void port_wake_rx_wait(port_handle_t h) {
    if (port_handle_valid(h) && h == g_rx.armed && g_rx.wake != nullptr) SetEvent(g_rx.wake);
}

int port_wait_rx(port_handle_t ph, bool watch_port) {
    if (g_rx.port != ph) rx_wait_end(); /* another port: its wait is of no use */
    if (!port_handle_valid(ph) || ph != g_rx.armed || g_rx.wake == nullptr) {
        clock_sleep_ms(RX_UNARMED_WAIT_MS); /* not armed: nothing can wake this wait */
        return 0;
    }
    if (g_rx.event == nullptr) g_rx.event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!watch_port || g_rx.event == nullptr) {
        WaitForSingleObject(g_rx.wake, INFINITE);
        return 0;
    }
    const HANDLE h = handle_of(ph);
    bool ok = true;
    if (!g_rx.pending) {
        /* Bytes that came while nobody waited raise no event on some drivers. */
        if (rx_queued(h) > 0) return 1;
        g_rx.ov = OVERLAPPED{};
        g_rx.ov.hEvent = g_rx.event;
        ResetEvent(g_rx.event);
        g_rx.mask = 0;
        g_rx.port = ph;
        if (!WaitCommEvent(h, &g_rx.mask, &g_rx.ov)) {
            ok = GetLastError() == ERROR_IO_PENDING;
            g_rx.pending = ok;
        }
    }
    if (g_rx.pending) {
        const HANDLE both[2] = {g_rx.wake, g_rx.event};
        const DWORD w = WaitForMultipleObjects(2, both, FALSE, INFINITE);
        if (w == WAIT_OBJECT_0) return 0; /* woken; the comm-event wait stays outstanding for the next call */
        g_rx.pending = false;
        DWORD unused = 0;
        ok = w == WAIT_OBJECT_0 + 1 && GetOverlappedResult(h, &g_rx.ov, &unused, FALSE);
    }
    if (ok && (g_rx.mask & EV_RXCHAR) != 0) return 1;
    /* A failed wait, or one ended without an event (the port vanished, or its mask was reset,
     * which some drivers report once): try again after a pause that a wake-up cuts short, so a
     * caller that loops never spins. */
    if (!ok || g_rx.mask == 0) WaitForSingleObject(g_rx.wake, RX_UNARMED_WAIT_MS);
    return 0;
}

int port_queued(port_handle_t h, uint32_t* count, int* error) {
    if (!port_handle_valid(h)) {
        *error = ERROR_INVALID_HANDLE;
        return -1;
    }
    DWORD errors = 0;
    COMSTAT stat = {};
    if (!ClearCommError(handle_of(h), &errors, &stat)) {
        *error = last_error();
        return -1;
    }
    *count = stat.cbInQue;
    return 0;
}

PortIoResult port_read(port_handle_t ph, uint8_t* buf, uint32_t n) {
    if (!port_handle_valid(ph)) return io_result(PortIoStatus::Refused, 0, ERROR_INVALID_HANDLE);
    const HANDLE h = handle_of(ph);
    UiIo* io = ui_io();
    if (io->event == nullptr) return io_result(PortIoStatus::WaitSetupFailed, 0, last_error());
    DWORD got = 0;
    if (ReadFile(h, buf, n, &got, &io->ov)) return io_result(PortIoStatus::Done, got);
    if (GetLastError() != ERROR_IO_PENDING) return io_result(PortIoStatus::Refused, 0, last_error());

    const DWORD w = WaitForSingleObject(io->event, READ_PENDING_WAIT_MS);
    if (w != WAIT_OBJECT_0) {
        const int error = last_error();
        got = cancel_and_wait(h, &io->ov);
        if (w == WAIT_TIMEOUT) return io_result(PortIoStatus::WaitTimedOut, got);
        return io_result(PortIoStatus::WaitFailed, got, error, static_cast<int>(w));
    }
    if (!GetOverlappedResult(h, &io->ov, &got, FALSE))
        return io_result(PortIoStatus::ResultFailed, got, last_error());
    return io_result(PortIoStatus::Done, got);
}

PortIoResult port_write(port_handle_t ph, const uint8_t* data, uint32_t n, uint32_t timeout_ms) {
    if (!port_handle_valid(ph)) return io_result(PortIoStatus::Refused, 0, ERROR_INVALID_HANDLE);
    const HANDLE h = handle_of(ph);
    UiIo* io = ui_io();
    if (io->event == nullptr) return io_result(PortIoStatus::WaitSetupFailed, 0, last_error());
    DWORD done = 0;
    if (WriteFile(h, data, n, &done, &io->ov)) return io_result(PortIoStatus::Done, done);
    if (GetLastError() != ERROR_IO_PENDING) return io_result(PortIoStatus::Refused, 0, last_error());

    const DWORD w = WaitForSingleObject(io->event, timeout_ms);
    if (w != WAIT_OBJECT_0) {
        const int error = last_error();
        done = cancel_and_wait(h, &io->ov);
        if (w == WAIT_TIMEOUT) return io_result(PortIoStatus::WaitTimedOut, done);
        return io_result(PortIoStatus::WaitFailed, done, error, static_cast<int>(w));
    }
    if (!GetOverlappedResult(h, &io->ov, &done, FALSE))
        return io_result(PortIoStatus::ResultFailed, done, last_error());
    return io_result(PortIoStatus::Done, done);
}

void port_cancel_write(port_handle_t h) {
    if (!port_handle_valid(h)) return;
    CancelIo(handle_of(h));
    PurgeComm(handle_of(h), PURGE_TXABORT | PURGE_TXCLEAR);
}

int port_close(port_handle_t h, int* error) {
    if (!port_handle_valid(h)) {
        *error = ERROR_INVALID_HANDLE;
        return -1;
    }
    if (g_rx.port == h) rx_wait_end();
    if (g_rx.armed == h) g_rx.armed = PORT_HANDLE_NONE;
    if (!CloseHandle(handle_of(h))) {
        *error = last_error();
        return -1;
    }
    return 0;
}

PortErrorKind port_error_kind(int error) {
    switch (error) {
    case ERROR_ACCESS_DENIED: return PortErrorKind::AccessDenied;
    case ERROR_INVALID_HANDLE: return PortErrorKind::InvalidHandle;
    case ERROR_BAD_COMMAND: return PortErrorKind::BadCommand;
    case ERROR_GEN_FAILURE:
    case ERROR_NOT_READY:
    case ERROR_DEVICE_NOT_CONNECTED: return PortErrorKind::DeviceFailed;
    case ERROR_OPERATION_ABORTED: return PortErrorKind::Cancelled;
    case ERROR_IO_INCOMPLETE: return PortErrorKind::Incomplete;
    default: return PortErrorKind::Other;
    }
}
