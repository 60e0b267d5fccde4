#include "serial/comHandle.h"
#include "serial/serial_link.h"

#include "common/clock.h"
#include "common/debug_log.h"
#include "common/platform.h"
#include "common/text_format.h"
#include "serial/Serial.h"
#include "serial/discovery.h"
#include "serial/rx_ring.h"

#include <cstdio>
#include <system_error>

namespace {
SerialLinkState g_link; /* the port object's destructor stops the notifier at the process end */
} // namespace

SerialLinkState& serial_link() { return g_link; }

const SerialLinkState& serial_link_state() { return g_link; }

namespace {

constexpr size_t DUMP_LINE_SIZE = 512; /* the hex dump of a write is cut to one line of this size */

/* NOTE: thread creation reports failure as null, never as this value, so the "Build Thread Fail"
 * box cannot appear; the check stays as the tool has always made it, and a null start is only
 * logged. */
std::thread* const THREAD_HANDLE_ALL_ONES = reinterpret_cast<std::thread*>(~uintptr_t{0});

void* as_ptr(port_handle_t h) { return reinterpret_cast<void*>(h); }

std::thread* start_notifier() {
    try {
        return new std::thread(rx_notifier_run);
    } catch (const std::system_error& e) {
        dbg_log("[Error] notifier thread not started: %s\n", e.what());
        return nullptr;
    }
}

/* Waits for the notifier thread to leave its loop (threadRunning is already 0) and frees it.
 * Returns 0, or the error number when it could not be joined (it is then left to end alone). */
int stop_notifier(std::thread* t) {
    int error = 0;
    try {
        if (t->joinable()) t->join();
    } catch (const std::system_error& e) {
        error = e.code().value();
        t->detach();
    }
    delete t;
    return error;
}

void log_write_dump(const uint8_t* bytes, int length) {
    char head[64];
    snprintf(head, sizeof head, "\n[SerialOpen] Data to send (%d bytes): ", length);
    char line[DUMP_LINE_SIZE];
    text_hex_dump(line, sizeof line, head, bytes, static_cast<size_t>(length));
    dbg_log("%s", line);
    dbg_log("\n");
}

} // namespace

cCommunication::~cCommunication() { SerialStopNotifier(); }

void SerialStopNotifier() {
    serial_link().g_comm.threadRunning = 0;
    port_wake_rx_wait(serial_link().g_io_handle); /* its wait has no time limit */
    if (serial_link().g_comm.hThreadEvent != nullptr && serial_link().g_comm.hThreadEvent != THREAD_HANDLE_ALL_ONES) {
        stop_notifier(serial_link().g_comm.hThreadEvent);
        serial_link().g_comm.hThreadEvent = nullptr;
    }
}

int OpenDevice(int index) {
    if (index < 0 || index >= serial_port_table_mut().portCount) return 0;
    const port_handle_t h = SerialOpen(serial_port_table_mut().portNames[index]);
    if (h != PORT_HANDLE_NONE) {
        serial_link().g_io_handle = h;
        dbg_log("[Success] File: comHandle: OpenDevice(): Open Device successfully!\n");
        return 1;
    }
    serial_ports_forget_default();
    serial_link().g_io_handle = PORT_HANDLE_INVALID;
    return 0;
}

port_handle_t SerialOpen(const char* name) {
    if (serial_link().g_comm.hThreadEvent != nullptr || port_handle_valid(serial_link().g_comm.hCom)) {
        /* Callers close before they open; never leave a second notifier thread behind. */
        dbg_log("[warning] SerialOpen: a port is still open, closing it first\n");
        SerialClose();
    }
    int error = 0;
    const port_handle_t h = port_open(name, &error);
    if (h == PORT_HANDLE_INVALID) {
        if (serial_link().openErrorShown == 0) {
            serial_link().openErrorShown = 1;
            platform_message_box("Can't Open This Comport", "Seiral Open Error", MsgBoxIcon::Exclamation);
        }
        dbg_log("[warning] hCom Failed: %p\n", as_ptr(h));
        return PORT_HANDLE_NONE;
    }
    serial_link().g_comm.hCom = h;
    dbg_log("[SerialOpen] Opened hCom: %p\n", as_ptr(h));

    const PortLineSettings settings = {SERIAL_BAUD,          SERIAL_DATA_BITS,     SERIAL_STOP_BITS,      true,
                                       SERIAL_RX_QUEUE_SIZE, SERIAL_TX_QUEUE_SIZE, SERIAL_COMM_TIMEOUT_MS};
    port_configure(h, settings);

    if (port_arm_rx_wait(h, &error) != 0)
        platform_message_box("Build Event Mask Fail!", "Error", MsgBoxIcon::Exclamation);

    /* The notifier reads the I/O handle, so it is set before the thread starts; OpenDevice sets
     * it again. */
    serial_link().g_io_handle = h;
    serial_link().g_comm.threadRunning = 1;
    serial_link().g_comm.hThreadEvent = start_notifier();
    if (serial_link().g_comm.hThreadEvent == THREAD_HANDLE_ALL_ONES)
        platform_message_box("Build Thread Fail", "Error", MsgBoxIcon::Exclamation);

    dbg_log("[SerialOpen] Opened hThreadEvent: %p\n", static_cast<void*>(serial_link().g_comm.hThreadEvent));
    dbg_log("[Information]Exiting SerialOpen, hThreadEvent: %p, hCom: %p\n", static_cast<void*>(serial_link().g_comm.hThreadEvent),
            as_ptr(serial_link().g_comm.hCom));
    serial_link().g_comm.threadRunning = 1;
    return serial_link().g_comm.hCom;
}

int SerialWrite(const uint8_t* bytes, int length) {
    if (length < 0 || (bytes == nullptr && length > 0)) {
        dbg_log("[Error] SerialWrite: no data (length %d)\n", length);
        return -3;
    }
    log_write_dump(bytes, length);

    if (serial_link().g_serial_sending != 0) {
        int retries = 0;
        while (serial_link().g_serial_sending != 0 && retries < SERIAL_BUSY_RETRIES) {
            clock_sleep_ms(SERIAL_BUSY_RETRY_MS);
            ++retries;
        }
        if (serial_link().g_serial_sending != 0) {
            dbg_log("[Warning] SerialWrite: Port busy after %d retries\n", retries);
            return -7;
        }
    }
    const port_handle_t h = serial_link().g_io_handle;
    if (!port_handle_valid(h)) return -1;

    serial_link().g_serial_sending = 1;
    const uint32_t n = static_cast<uint32_t>(length);
    const PortIoResult r = port_write(h, bytes, n, SERIAL_WRITE_TIMEOUT_MS);
    int result = 0;
    switch (r.status) {
    case PortIoStatus::Done:
        if (r.count != n) {
            dbg_log("[Warning] SerialWrite: Partial write, expected=%d, actual=%u\n", length, r.count);
            result = -6;
        } else {
            dbg_log("\n[Success] SerialWrite: Complete write, expected=%d, actual=%u, g_serial_sending=%d\n", length,
                    r.count, serial_link().g_serial_sending);
            result = static_cast<int>(r.count);
        }
        break;
    case PortIoStatus::WaitSetupFailed:
        result = -2;
        break;
    case PortIoStatus::Refused:
        dbg_log("[Error] SerialWrite: WriteFile failed, error=%d\n", r.error);
        result = -3;
        break;
    case PortIoStatus::WaitTimedOut:
        dbg_log("[Error] SerialWrite: Wait timeout\n");
        port_cancel_write(h);
        result = -5;
        break;
    case PortIoStatus::WaitFailed:
        dbg_log("[Error] SerialWrite: Wait failed, result=%d, error=%d\n", r.wait_result, r.error);
        port_cancel_write(h);
        result = -4;
        break;
    case PortIoStatus::ResultFailed:
        dbg_log("[Error] SerialWrite: GetOverlappedResult failed, error=%d,bytesWritten:%u\n", r.error, r.count);
        result = -4;
        break;
    }
    serial_link().g_serial_sending = 0;
    return result;
}

void SerialClose() {
    dbg_log("[SerialClose] Entering SerialClose, hThreadEvent: %p, hCom: %p\n", static_cast<void*>(serial_link().g_comm.hThreadEvent),
            as_ptr(serial_link().g_comm.hCom));
    serial_link().g_comm.threadRunning = 0;
    port_wake_rx_wait(serial_link().g_io_handle); /* the notifier's wait has no time limit */
    if (serial_link().g_comm.hThreadEvent != nullptr && serial_link().g_comm.hThreadEvent != THREAD_HANDLE_ALL_ONES) {
        const int error = stop_notifier(serial_link().g_comm.hThreadEvent);
        if (error == 0)
            dbg_log("[SerialClose] Closed hThreadEvent: %p\n", static_cast<void*>(serial_link().g_comm.hThreadEvent));
        else
            dbg_log("[Error] Failed to close hThreadEvent: %p, Error: %d\n", static_cast<void*>(serial_link().g_comm.hThreadEvent),
                    error);
        serial_link().g_comm.hThreadEvent = nullptr;
    }
    clock_sleep_ms(SERIAL_CLOSE_PAUSE_MS);
    if (serial_link().g_comm.hCom != PORT_HANDLE_INVALID) {
        int error = 0;
        if (port_close(serial_link().g_comm.hCom, &error) == 0)
            dbg_log("[SerialClose] Closed hCom: %p\n", as_ptr(serial_link().g_comm.hCom));
        else
            dbg_log("[Error] Failed to close hCom: %p, Error: %d\n", as_ptr(serial_link().g_comm.hCom), error);
        serial_link().g_comm.hCom = PORT_HANDLE_INVALID;
    }
    clock_sleep_ms(SERIAL_CLOSE_PAUSE_MS);
    dbg_log("[SerialClose] Exiting SerialClose\n");
    ResetComState();
}

void ResetComState() {
    serial_link().g_io_handle = PORT_HANDLE_INVALID;
    rx_ring_reset();
    dbg_log("[Information] Exiting ResetComState()\n");
}
