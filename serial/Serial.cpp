#include "serial/Serial.h"
#include "serial/serial_link.h"

#include "common/clock.h"
#include "common/debug_log.h"
#include "common/lang.h"
#include "serial/comHandle.h"
#include "serial/discovery.h"
#include "common/screen_port.h"

#include <cstring>

namespace {
PortTable g_port_table;
} // namespace

const PortTable& serial_port_table() { return g_port_table; }

PortTable& serial_port_table_mut() { return g_port_table; }

namespace {

SerialPortsState g_ports;

/* Closes the port and shows it closed (white button, list enabled, "Open Port"). */
void close_port() {
    SerialClose();
    g_ports.isSerialOpen = 0;
    port_ui_closed();
    relabel_port_panel();
}

/* Opens port `index` of the list and shows it open (yellow button, list disabled, "Close Port").
 * False when it could not be opened; nothing is shown then. */
bool open_port(int index) {
    if (OpenDevice(index) != 1) return false;
    g_ports.isSerialOpen = 1;
    port_ui_opened();
    relabel_port_panel();
    return true;
}

void close_notice(prompt_box_t* notice) {
    if (*notice == nullptr) return;
    prompt_close(*notice);
    *notice = nullptr;
}

/* Plug-in seen and debounced: rebuild the list and open the selected port, or close an open
 * port (a new adapter while one is open closes it and does not reopen). */
void handle_plug_in() {
    if (g_ports.d_cnt > 0) dbg_log("WM_TIME: d_cnt: %d\n", g_ports.d_cnt);
    g_ports.noDeviceFlag = 0;
    dbg_log("File:Serial: updateSerialPortList(); Open: %d\n", serial_link().openErrorShown);
    updateddListWithoutOpen();
    dbg_log("updateSerialPortList(): before: isSerialOpen: %d\n", g_ports.isSerialOpen);

    if (g_ports.autoPortIndex == -1) {
        /* NOTE: cannot happen here (a port was just found); kept as the tool has it. */
        g_ports.noDeviceNotice = show_prompt_alert(lang_text("No Device Connection!", "没有设备连接!"));
        g_ports.noDeviceFlag = 1;
    } else if (g_ports.isSerialOpen == 0) {
        if (open_port(port_list_selected())) {
            serial_link().openErrorShown = 0;
            dbg_log("[Debug] updateSerialPortList():after: isSerialOpen: %d\n", g_ports.isSerialOpen);
            dbg_log("[Success] updateSerialPortList():Open_Device successfully!\n");
        } else {
            serial_link().openErrorShown = 0; /* the next failed attempt shows the box again */
            dbg_log("updateSerialPortList(): 打开串口失败\n");
        }
    } else {
        close_port();
        dbg_log("[Success] updateSerialPortList():Close_Device successfully!\n");
    }
    g_ports.deviceDisconnected = 1;
    close_notice(&g_ports.noDeviceNotice);
    close_notice(&g_ports.deviceRemovedNotice);
    dbg_log("[warning] deviceDisconnected：%d \n", g_ports.deviceDisconnected);
}

/* The last adapter is gone: close, show the empty list and tell the user. */
void handle_removal() {
    dbg_log("[warning] deviceDisconnected：%d 检测设备断开\n", g_ports.deviceDisconnected);
    close_port();
    g_ports.noDeviceFlag = 1;
    updateddListWithoutOpen();
    g_ports.deviceDisconnected = 0;
    g_ports.deviceRemovedNotice = show_prompt_alert(lang_text("Device removed!", "设备已弹出 !"));
}

/* Fewer adapters than before: an open port is closed and the first remaining port reopened. */
void handle_count_decrease(int newPortnumber) {
    dbg_log("[Debug] newPortnumber < oldPortCount 检测设备数量减少\n");
    dbg_log("[warning] deviceDisconnected: %d\n", g_ports.deviceDisconnected);
    if (g_ports.isSerialOpen == 0) {
        updateddListWithoutOpen();
        return;
    }
    SerialClose();
    g_ports.isSerialOpen = 0;
    updateddListWithoutOpen();
    if (newPortnumber <= 0) return;
    port_list_select(0);
    if (open_port(0)) {
        dbg_log("[warning]如果之前是连接状态，并且还有设备没有被占用，执行打开 deviceDisconnected: %d\n",
                g_ports.deviceDisconnected);
    } else {
        port_ui_closed();
        relabel_port_panel();
        show_error("打开串口失败!"); /* Chinese whatever the language, as the tool has it */
        dbg_log("[warning]如果之前是连接状态，并且还有设备但是被占用，执行关闭 deviceDisconnected: %d\n",
                g_ports.deviceDisconnected);
    }
}

} // namespace

int discover_ports() {
    g_ports.autoPortIndex = -1;
    serial_port_table_mut().portCount = 0;
    if (enumerate_com_ports() == 0) return 0;
    g_ports.autoPortIndex = 0; /* every listed port is a USB adapter's */
    return 1;
}

void updateddListWithoutOpen() {
    dbg_log("[debug]updateddListWithoutOpen()\n");
    char remembered[PORT_SELECTED_TEXT_SIZE];
    port_list_selected_text(remembered, sizeof remembered);
    dbg_log("[debug]updateddListWithoutOpen() serial_count: %d\n", port_list_option_count());

    char options[PORT_OPTIONS_SIZE];
    size_t len = 0;
    options[0] = '\0';
    for (int i = 0; i < serial_port_table_mut().portCount; ++i) {
        const size_t name_len = strlen(serial_port_table_mut().portNames[i]);
        if (len + name_len + 1 >= sizeof options) {
            dbg_log("[warning]updateddListWithoutOpen() list full, %d of %d ports shown\n", i, serial_port_table_mut().portCount);
            break;
        }
        memcpy(options + len, serial_port_table_mut().portNames[i], name_len);
        len += name_len;
        options[len++] = '\n';
        options[len] = '\0';
    }
    port_list_set_options(options);

    int selection = 0;
    if (remembered[0] != '\0' && serial_port_table_mut().portCount >= 1) {
        for (int i = 0; i < serial_port_table_mut().portCount; ++i) {
            if (strstr(serial_port_table_mut().portNames[i], remembered) != nullptr) {
                selection = i;
                break;
            }
        }
    }
    if (port_list_selected() != selection) port_list_select(selection);

    dbg_log("[debug]updateddListWithoutOpen() Current number of ports: %d\n", g_ports.autoPortIndex);
    if (serial_port_table_mut().portCount == 0) {
        dbg_log("[debug]updateddListWithoutOpen() len: %d\n", 0);
        port_list_set_options(" "); /* never an empty drop-down */
    }
    lang_button_set_disabled(g_ports.noDeviceFlag == 1);
}

void hot_plug_check() {
    const int newPortnumber = serial_port_table_mut().portCount;
    const int autoPortIndexBefore = g_ports.autoPortIndex;

    discover_ports();
    g_ports.d_cnt = port_list_option_count();
    const uint32_t now = clock_ms32();

    if (g_ports.prevAutoPortIndex == -1 && g_ports.autoPortIndex != -1 && g_ports.deviceDisconnected == 0) {
        dbg_log("[Debug] deviceDisconnected：%d 检测设备接入\n", g_ports.deviceDisconnected);
        if (g_ports.plugFirstSeenTick == 0) g_ports.plugFirstSeenTick = now;
        if (clock_elapsed32(now, g_ports.plugFirstSeenTick) < PLUG_DEBOUNCE_MS) return; /* seen again next tick */
        g_ports.plugFirstSeenTick = 0;
        handle_plug_in();
    } else {
        /* An adapter that went away during its debounce starts a fresh one when it comes back. */
        if (g_ports.autoPortIndex == -1) g_ports.plugFirstSeenTick = 0;
        if (g_ports.prevAutoPortIndex != -1 && g_ports.autoPortIndex == -1 && g_ports.deviceDisconnected == 1) handle_removal();
    }

    if (newPortnumber > g_ports.oldPortCount) {
        dbg_log("[Debug] newPortnumber > oldPortCount 检测设备数量增加\n");
        updateddListWithoutOpen();
        dbg_log("[warning] deviceDisconnected: %d\n", g_ports.deviceDisconnected);
        g_ports.oldPortCount = newPortnumber;
    } else if (newPortnumber < g_ports.oldPortCount) {
        handle_count_decrease(newPortnumber);
        g_ports.oldPortCount = newPortnumber;
    }
    g_ports.prevAutoPortIndex = autoPortIndexBefore;
}

const char* port_button_caption(bool open) {
    return open ? lang_by_flag("#000000 Close Port#", "#000000 关闭端口#")
                : lang_by_flag("#000000 Open Port#", "#000000 打开端口#");
}

void port_button_click() {
    dbg_log("----- openSerial_event_handler() -----\n");
    dbg_log("[Debug] openSerial_event_handler(): isSerialOpen: %d\n", g_ports.isSerialOpen);
    if (g_ports.isSerialOpen == 1) {
        close_port();
        dbg_log("[Debug] Control_Serial_btn_event_cb(): comclose(): isSerialOpen: %d\n", g_ports.isSerialOpen);
        dbg_log("[Success] open_button_event_cb(): Close_Device successfully!\n");
    } else if (g_ports.isSerialOpen == 0) {
        const int selectedDeviceIndex = port_list_selected();
        dbg_log("[Infoemation] selectedDeviceIndex: %d\n", selectedDeviceIndex); /* sic */
        if (!open_port(selectedDeviceIndex)) {
            show_error(lang_text("Failed to open serial port!", "打开串口失败!"));
            dbg_log("[Error] Control_Serial_btn_event_cb() 打开串口失败\n");
            return;
        }
        dbg_log("[Debug] openSerial_event_handler(): Open_Device(): isSerialOpen: %d\n", g_ports.isSerialOpen);
        dbg_log("[Success] openSerial_event_handler():  Open_Device successfully!\n");
    } else {
        return;
    }
    dbg_log("*********************************************************************************************\n");
}

void serial_ports_reset() {
    memset(serial_port_table_mut().portNames, 0, sizeof serial_port_table_mut().portNames);
    serial_port_table_mut().portCount = 0;
    discovery_invalidate(); /* the kept scan's names were just cleared */
    g_ports = SerialPortsState{};
    serial_link().openErrorShown = 0;
    serial_link().g_serial_sending = 0;
}

const SerialPortsState& serial_ports_state() { return g_ports; }

void serial_ports_set_open(int open) { g_ports.isSerialOpen = open; }

void serial_ports_forget_default() { g_ports.autoPortIndex = -1; }
