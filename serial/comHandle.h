/**
 * The serial port object: one port at a time, opened and configured for the servo link
 * (115200 baud, 8 data bits, no parity, 2 stop bits), written with a bounded blocking write and
 * closed again. Opening starts the receive notifier thread (serial/rx_ring.h); closing stops it
 * and empties the receive ring. Everything here runs on the UI thread.
 */
#pragma once

#include "serial/port.h"

#include <atomic>
#include <cstdint>
#include <thread>

constexpr uint32_t SERIAL_BAUD = 115200;
constexpr uint8_t SERIAL_DATA_BITS = 8;
constexpr uint8_t SERIAL_STOP_BITS = 2;
constexpr uint32_t SERIAL_RX_QUEUE_SIZE = 10240; /* driver queues, where the platform has them */
constexpr uint32_t SERIAL_TX_QUEUE_SIZE = 10240;
constexpr uint32_t SERIAL_COMM_TIMEOUT_MS = 5000; /* all five comm time-outs, where the platform has them */
constexpr uint32_t SERIAL_WRITE_TIMEOUT_MS = 1000;
constexpr int SERIAL_BUSY_RETRIES = 50; /* SerialWrite waits up to 50 x 10 ms for a previous write */
constexpr uint32_t SERIAL_BUSY_RETRY_MS = 10;
constexpr uint32_t SERIAL_CLOSE_PAUSE_MS = 100; /* SerialClose pauses twice */

/* The port and its notifier thread. */
class cCommunication {
public:
    /* Stops the notifier thread (the port itself is left to the process end). */
    virtual ~cCommunication();

    std::atomic<int32_t> threadRunning{0}; /* 1 while the notifier thread is to keep running */
    std::thread* hThreadEvent = nullptr;   /* the notifier thread (the name is the program's own) */
    port_handle_t hCom = PORT_HANDLE_NONE; /* the open port; PORT_HANDLE_INVALID once closed */
};


/* Stops the notifier thread and leaves the port open, as the port object's destructor does; for
 * the program's end, before the window system it posts to goes away. */
void SerialStopNotifier();

/* The serial link's state under the names the program uses. The serial link's own files change
 * it (serial/serial_link.h); everything else reads it through serial_link_state(). */
struct SerialLinkState {
    cCommunication g_comm; /* the one port object */
    /* Copy of hCom used by every read, write and receive wait (the notifier thread reads it). */
    std::atomic<port_handle_t> g_io_handle{PORT_HANDLE_NONE};
    int g_serial_sending = 0; /* 1 while SerialWrite has a write outstanding (no re-entry) */
    int openErrorShown = 0;   /* 1 once "Can't Open This Comport" was shown; the hot-plug monitor clears it */
};

/* The state, read-only. */
const SerialLinkState& serial_link_state();

/* Opens port `index` of the port table (serial/Serial.h). Returns 1 on success; 0 when the index
 * is out of range (nothing changed) or the open failed (autoPortIndex becomes -1). */
int OpenDevice(int index);

/* Opens and configures the named port and starts the notifier thread. Returns the port handle,
 * or 0 when the port could not be opened (the user is told once until openErrorShown is cleared). */
port_handle_t SerialOpen(const char* name);

/* Writes length bytes. Returns length when all went out, else:
 *  -1 port not open, -2 the bounded wait could not be set up, -3 write refused at once,
 *  -4 failed while waiting, -5 1000 ms passed without completion, -6 partial write,
 *  -7 a previous write still outstanding after 50 x 10 ms. */
int SerialWrite(const uint8_t* bytes, int length);

/* Stops the notifier thread, closes the port and resets the receive state. Blocks about 200 ms.
 * Harmless when nothing is open. */
void SerialClose();

/* Marks the port closed and empties the receive ring (called by SerialClose). */
void ResetComState();
