/**
 * Port discovery, the port list and the hot-plug monitor.
 *
 * Discovery finds the serial ports of present USB devices and keeps their names in portNames;
 * the first one is the default port (autoPortIndex). The hot-plug check runs on every 5 ms tick:
 * it opens the selected port about 100 ms after an adapter is plugged in, closes the port and
 * tells the user when the last adapter is pulled, and rebuilds the list (reopening the first
 * port if one was open) when the number of adapters changes. The port button opens and closes
 * the port by hand. What these show goes through the screen port. UI thread only.
 */
#pragma once

#include "common/prompt.h"

#include <cstdint>

constexpr int MAX_PORTS = 1024;
constexpr int PORT_NAME_SIZE = 1024;
constexpr int PORT_OPTIONS_SIZE = 2048;      /* the drop-down's option text */
constexpr int PORT_SELECTED_TEXT_SIZE = 256; /* the remembered selection */
constexpr uint32_t PLUG_DEBOUNCE_MS = 100;

/* The present USB serial ports as discovery last found them. Discovery writes it
 * (serial/discovery.h); everything else reads it through serial_port_table(). */
struct PortTable {
    char portNames[MAX_PORTS][PORT_NAME_SIZE] = {}; /* "/dev/ttyUSB0", "COM3": entry i for port i */
    int portCount = 0;                              /* valid entries (the hot-plug log calls it newPortnumber) */
};

/* The port table, read-only. */
const PortTable& serial_port_table();
/* The port list's and the hot-plug monitor's state, under the names the program has always used.
 * Other modules read it through serial_ports_state(). */
struct SerialPortsState {
    /* Default port chosen by discovery (discovery keeps only USB adapters, so the first one); -1
     * when there is none. */
    int autoPortIndex = -1;
    int isSerialOpen = 0;       /* 1 while the screen treats the port as open */
    int deviceDisconnected = 0; /* despite its name: 1 once a plug-in was handled, 0 once a removal was */
    int noDeviceFlag = 0;       /* 1 after a removal; disables the language button */
    int prevAutoPortIndex = -1; /* autoPortIndex as it stood when the previous check began */
    int oldPortCount = 0;       /* port count remembered by the previous check */
    uint32_t plugFirstSeenTick = 0; /* start of the plug-in debounce; 0 = not started */
    prompt_box_t noDeviceNotice = nullptr;
    prompt_box_t deviceRemovedNotice = nullptr;
    int d_cnt = 0; /* option count of the drop-down, sampled by each check for the log */
};

/* The state, read-only. */
const SerialPortsState& serial_ports_state();

/* Records that the port was opened (1) or closed (0) by a caller that did so itself: the port
 * button and the hot-plug monitor record their own; the command-line tool opens a port by path. */
void serial_ports_set_open(int open);

/* Drops discovery's default port after a failed open (OpenDevice). */
void serial_ports_forget_default();

/* Refills portNames, portCount and autoPortIndex. Returns 1 if at least one port was found. */
int discover_ports();

/* Fills portNames and portCount with the present USB serial ports in natural name order
 * (ttyACM0, ttyUSB0, ttyUSB1, ttyUSB10). Returns 1 if portCount >= 1. Cheap when nothing
 * changed: a full scan runs only after a change notification, or at least every 50 ms. */
int enumerate_com_ports();

/* Rebuilds the drop-down from portNames (every name ends with a newline, so one empty option
 * follows the ports), keeps the previous selection where a port still matches it, and enables
 * or disables the language button by noDeviceFlag. Never opens or closes the port. */
void updateddListWithoutOpen();

/* The hot-plug check of one tick (logged as updateSerialPortList). */
void hot_plug_check();

/* Caption of the port button for an open (true) or a closed port, in the language of the flag
 * ("#000000 关闭端口#" / "#000000 Close Port#", "#000000 打开端口#" / "#000000 Open Port#"). */
const char* port_button_caption(bool open);

/* What a click on the port button does: closes the open port, or opens the selected one (an
 * error box when that fails). */
void port_button_click();

/* Back to the state of a fresh start (tests call it between cases; the port must be closed). */
void serial_ports_reset();
