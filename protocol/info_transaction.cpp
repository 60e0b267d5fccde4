#include "protocol/info_transaction.h"

#include "common/clock.h"
#include "common/debug_log.h"
#include "common/lang.h"
#include "common/prompt.h"
#include "common/text_format.h"
#include "params/panel_fields.h"
#include "protocol/frames.h"
#include "common/screen_port.h"
#include "protocol/protocol_state.h"
#include "serial/Serial.h"
#include "serial/comHandle.h"

#include <cstring>

namespace {

constexpr size_t FIELD_TEXT_SIZE = 64; /* the type holds 20 characters, the date fields a few */

const char* port_closed_text() {
    return lang_text("Please open the serial port first!", "请先打开串口！");
}

int refuse(int code, const char* text) {
    show_error(text);
    dbg_log("[Warning] servo information command refused (%d): %s\n", code, text);
    return code;
}

bool is_empty_or_00(const char* text) {
    return text[0] == '\0' || strcmp(text, "00") == 0;
}

} // namespace

int info_transaction_read() {
    if (serial_ports_state().isSerialOpen == 0) return refuse(INFO_PORT_CLOSED, port_closed_text());
    ProtocolState& s = protocol_state();
    s.info_rx_state = 0;
    s.info_rx_count = 0;
    s.self_receive = 0;
    memset(protocol_state().g_servo_info_rx_buf, 0, FRAME_INFO_LEN);
    /* An echo left half-matched by an earlier request would take the reply's first byte. */
    protocol_drop_echo();

    uint8_t request[FRAME_INFO_REQUEST_LEN];
    const int len = frames_build_info_request(request, sizeof request);
    SerialWrite(request, len); /* a failed write ends by time-out */
    s.mode = MODE_READ_INFO;
    s.start_ms = clock_ms32(); /* after the write: the time spent writing does not count */
    return INFO_SENT;
}

int info_transaction_write() {
    if (serial_ports_state().isSerialOpen == 0) return refuse(INFO_PORT_CLOSED, port_closed_text());

    char type[FIELD_TEXT_SIZE], year[FIELD_TEXT_SIZE], month[FIELD_TEXT_SIZE], day[FIELD_TEXT_SIZE];
    if (info_field_get(InfoField::Type, type, sizeof type) < 0 ||
        info_field_get(InfoField::Year, year, sizeof year) < 0 ||
        info_field_get(InfoField::Month, month, sizeof month) < 0 ||
        info_field_get(InfoField::Day, day, sizeof day) < 0)
        return refuse(INFO_FIELD_UNAVAILABLE, "请检查输入内容!");

    /* The order of the checks is what users have learnt; some messages exist in Chinese only. */
    if (type[0] == '\0') return refuse(INFO_TYPE_EMPTY, "应正确输入\"舵机型号\"!");
    if (strlen(month) != 2 || strlen(day) != 2)
        return refuse(INFO_MONTH_DAY_NOT_TWO,
                      lang_text("Month and day must be in two-digit format!", "月份和日期必须是两位数格式!"));
    const int32_t month_value = params_parse_int(month, nullptr);
    if (month_value < 1 || month_value > 12)
        return refuse(INFO_MONTH_OUT_OF_RANGE, lang_text("Month must be between 1-12!", "月份必须在1-12之间!"));
    if (year[0] == '\0') return refuse(INFO_YEAR_EMPTY, "应正确输入\"年\"(2000-2100)的数值!");
    if (strcmp(year, "1") == 0) return refuse(INFO_YEAR_IS_ONE, "应正确输入\"年\"的数值!");
    if (strlen(year) != 4)
        return refuse(INFO_YEAR_NOT_FOUR, lang_text("Year must be 4 digits!", "\"年\"的数值需要4位数字!"));
    if (is_empty_or_00(month))
        return refuse(INFO_MONTH_EMPTY, "应正确输入\"月\"的数值!"); /* cannot follow the two above */
    if (is_empty_or_00(day)) return refuse(INFO_DAY_EMPTY, "应正确输入\"日\"的数值!");

    uint8_t frame[FRAME_INFO_LEN];
    const int len = frames_build_info_frame(type, year, month, day, frame, sizeof frame);
    if (len < 0) return refuse(INFO_FIELD_UNAVAILABLE, "请检查输入内容!");

    ProtocolState& s = protocol_state();
    s.info_echo_base = len;
    memset(protocol_state().g_servo_info_rx_buf, 0, sizeof protocol_state().g_servo_info_rx_buf);
    memset(protocol_state().g_servo_info_tx_buf, 0, sizeof protocol_state().g_servo_info_tx_buf);
    memcpy(protocol_state().g_servo_info_tx_buf, frame, FRAME_INFO_LEN);
    char dump[40 + FRAME_INFO_LEN * 3];
    text_hex_dump(dump, sizeof dump, "\n[DEBUG] g_servo_info_tx_buf: ", frame, FRAME_INFO_LEN);
    dbg_log("%s\n", dump);

    /* Echoes of earlier requests must not eat this frame's echo, nor pass its first byte as the
     * servo's answer. */
    s.reg_echo_count = 0;
    s.reg_echo_entry = 0;
    s.reg_echo_pos = 0;
    protocol_drop_echo();

    SerialWrite(frame, len); /* a failed write ends by time-out */
    s.mode = MODE_WRITE_INFO;
    s.start_ms = clock_ms32();
    return INFO_SENT;
}

int info_transaction_check_timeout() {
    ProtocolState& s = protocol_state();
    if (s.mode != MODE_READ_INFO && s.mode != MODE_WRITE_INFO) return 0;
    if (clock_elapsed32(clock_ms32(), s.start_ms) <= INFO_TIMEOUT_MS) return 0;
    if (s.mode == MODE_READ_INFO) {
        show_error(lang_text("Servo information read timeout!", "舵机信息读取超时!"));
        memset(protocol_state().g_servo_info_rx_buf, 0, FRAME_INFO_LEN);
    } else {
        show_error(lang_text("Servo information write timeout!", "舵机信息写入超时!"));
        memset(protocol_state().g_servo_info_tx_buf, 0, sizeof protocol_state().g_servo_info_tx_buf);
        memset(protocol_state().g_servo_info_rx_buf, 0, sizeof protocol_state().g_servo_info_rx_buf);
    }
    s.info_rx_count = 0;
    s.mode = MODE_IDLE;
    protocol_drop_echo(); /* a write's echo may still wait for its last byte */
    return 1;
}
