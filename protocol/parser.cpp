#include "protocol/protocol_state.h"

#include "common/debug_log.h"
#include "common/lang.h"
#include "common/prompt.h"
#include "common/text_format.h"
#include "params/panel_fields.h"
#include "params/param_values.h"
#include "common/screen_port.h"
#include "serial/rx_ring.h"

#include <cstdio>
#include <cstring>

namespace {
ProtocolState g_protocol;
} // namespace

ProtocolState& protocol_state() { return g_protocol; }

int32_t protocol_mode() { return g_protocol.mode; }

namespace {

/* Echo reference of a parameter read: the request 81 00 00 81. */
const uint8_t PARAM_READ_ECHO[FRAME_PARAM_READ_LEN] = {FRAME_PARAM_READ_TAG, 0x00, 0x00, FRAME_PARAM_READ_TAG};
const uint8_t INFO_READ_ECHO[FRAME_INFO_REQUEST_LEN] = {FRAME_INFO_TAG, 0x00, 0x00, FRAME_INFO_TAG};

constexpr int LAST_REGISTER_STEP = FRAME_REGISTER_READ_STEPS - 1;
constexpr size_t INFO_TEXT_SIZE = 64; /* a field's text: 20 bytes, each at most 3 once made valid UTF-8 */

ProtocolState& S() {
    return protocol_state();
}

void arm_echo(const uint8_t* ref, int32_t len, int32_t room) {
    S().echo_ref = ref;
    S().echo_len = len < 0 ? 0 : (len > room ? room : len); /* never matched beyond the reference */
    S().echo_index = 0;
}

void disarm_echo() {
    S().echo_ref = nullptr;
    S().echo_index = 0;
}

/* ---- read parameters: block frame ---- */

void block_frame_complete(uint8_t byte) {
    ProtocolState& s = S();
    if (static_cast<uint8_t>(byte + 1) != s.block_checksum) { /* dropped silently; the mode stays 1 */
        s.param_state = 0;
        return;
    }
    s.block_checksum = 0;
    show_prompt(lang_text("Read  Parameter successfully!", "读取参数成功!"));
    if (s.first_read) {
        s.first_read_block[0] = FRAME_PARAM_WRITE_CMD;
        memcpy(s.first_read_block + 1, s.block_data, FRAME_PARAM_BLOCK_DATA);
        s.first_read = 0;
    }
    params_take_block(s.block_data, FRAME_PARAM_BLOCK_DATA);
    params_set_source(PARAM_SOURCE_BLOCK);
    s.mode = MODE_IDLE;
    s.param_state = 0;
}

/* ---- read parameters: register replies ---- */

/* Every reply, matched or not, uses up its read step; the eighth ends the read with success. */
void register_step_tail() {
    ProtocolState& s = S();
    if (s.read_step == LAST_REGISTER_STEP) {
        s.read_step = 0;
        s.read_cache_count = 0;
        show_prompt(lang_text("Read  Parameter successfully!", "读取参数成功!"));
        params_set_source(PARAM_SOURCE_REGISTER);
        s.mode = MODE_IDLE;
    } else {
        ++s.read_step;
    }
    s.reg_frame_pos = 0;
    s.reg_checksum = 0;
    s.param_state = 0;
}

/* Shows the values a reply of this step carries, in the order of their bytes; a 16-bit word is
 * divided by its wire factor. The last step carries single bytes: soft start, then the direction
 * switch (which only 0 or 1 changes). */
void fill_register_step(int step, const uint8_t* f) {
    if (step < 0 || step > LAST_REGISTER_STEP) return;
    const uint8_t* data = f + 4;
    for (int byte = 0; byte < READ_CACHE_BYTES; ++byte) {
        for (int v = 0; v < REG_VALUE_COUNT; ++v) {
            const RegisterFamilyValue& r = register_family_values[v];
            if (r.read_step != step || r.read_byte != byte) continue;
            const int32_t wire = r.single_byte ? data[byte] : (data[byte] << 8 | data[byte + 1]);
            register_value_show(v, wire / r.scale);
        }
    }
}

void register_reply_complete(uint8_t byte) {
    ProtocolState& s = S();
    const uint8_t sum = frames_register_checksum(s.reg_frame, static_cast<size_t>(s.reg_frame_len) - 1);
    if (sum != byte) {
        dbg_log("Checksum mismatch\n");
        memset(s.reg_frame, 0, sizeof s.reg_frame);
        s.mode = MODE_IDLE;
        s.param_state = 0;
        register_step_tail();
        return;
    }
    s.reg_frame[s.reg_frame_pos++] = byte;
    const uint8_t* f = s.reg_frame;
    const uint16_t data0 = static_cast<uint16_t>(f[4] << 8 | f[5]);
    const uint16_t data1 = static_cast<uint16_t>(f[6] << 8 | f[7]);
    dbg_log("DATA0: %d, DATA1: %d\n", data0, data1);

    if (s.read_cache_count >= READ_CACHE_ENTRIES) {
        dbg_log("ReadCacheBuff is full! Data discarded.\n");
        s.read_cache_count = 0;
    } else {
        uint8_t* entry = protocol_state().ReadCacheBuff[s.read_cache_count];
        memcpy(entry, f + 4, READ_CACHE_BYTES);
        dbg_log("Stored specific bytes [%d]: %02X %02X %02X %02X\n", s.read_cache_count, entry[0], entry[1], entry[2],
                entry[3]);
        ++s.read_cache_count;
    }

    fill_register_step(s.read_step, f);
    for (int v = 0; v < REG_VALUE_COUNT; ++v)
        s.last_read[v] = static_cast<uint8_t>(register_value_shown(v) & 0xFF);
    register_step_tail();
}

void read_params_byte(uint8_t byte) {
    ProtocolState& s = S();
    switch (s.param_state) {
    case 0:
        if (byte == FRAME_REGISTER_TAG) {
            s.reg_frame_pos = 0;
            s.reg_checksum = 0;
            s.reg_frame[s.reg_frame_pos++] = byte;
            s.param_state = 4;
        } else if (byte == FRAME_PARAM_BLOCK_TAG) {
            s.block_count = FRAME_PARAM_BLOCK_TAG; /* the tag is the frame length */
            s.block_checksum = FRAME_PARAM_BLOCK_TAG;
            s.param_state = 1;
        }
        break;
    case 1: /* the command byte: counted, not checked */
        s.block_checksum = static_cast<uint8_t>(s.block_checksum + byte);
        s.block_count -= 3;
        s.block_index = 0;
        s.param_state = 2;
        break;
    case 2:
        s.block_checksum = static_cast<uint8_t>(s.block_checksum + byte);
        s.block_data[s.block_index] = byte;
        ++s.block_index; /* 8 bits, so it stays inside block_data whatever the count */
        if (s.block_index == s.block_count) s.param_state = 3;
        break;
    case 3:
        block_frame_complete(byte);
        break;
    case 4:
        s.reg_frame[s.reg_frame_pos++] = byte;
        if (s.reg_frame_pos == 4) {
            s.reg_frame_len = s.reg_frame[2] * 256 + s.reg_frame[3];
            if (s.reg_frame_len == static_cast<int32_t>(FRAME_REGISTER_REPLY_LEN)) {
                s.param_state = 5;
            } else { /* the read ends; the user is not told */
                s.reg_frame_pos = 0;
                s.reg_checksum = 0;
                s.read_step = 0;
                /* The next read starts again at step 0, so its replies are kept from entry 0 on:
                 * a write takes a value's bytes from the entry of its step. */
                s.read_cache_count = 0;
                dbg_log("Invalid frame length! Reset.\n");
                s.mode = MODE_IDLE;
                s.param_state = 0;
            }
        }
        break;
    case 5:
        s.reg_frame[s.reg_frame_pos++] = byte;
        if (s.reg_frame_pos == 8) s.param_state = 6;
        break;
    case 6:
        register_reply_complete(byte);
        break;
    default:
        s.param_state = 0;
        break;
    }
}

/* ---- write parameters, version report, information write ---- */

void write_ack_byte(uint8_t byte) {
    ProtocolState& s = S();
    if (s.block_write_pending != WRITE_PENDING_BLOCK) return;
    if (byte != FRAME_ACK_BYTE) {
        s.block_count = 0;
        return;
    }
    if (++s.block_count == FRAME_ACK_COUNT) {
        s.block_count = 0;
        s.mode = MODE_IDLE;
        s.block_write_pending = WRITE_PENDING_NONE;
        show_prompt(lang_text("Write Parameter successfully!", "写入参数成功!"));
    }
}

void version_byte(uint8_t byte) {
    ProtocolState& s = S();
    if (s.version_count < 0 || s.version_count >= static_cast<int32_t>(FRAME_VERSION_LEN)) s.version_count = 0;
    s.version_buf[s.version_count++] = byte;
    switch (s.version_state) {
    case 0:
        if (s.version_buf[0] == FRAME_VERSION_TAG)
            s.version_state = 1;
        else
            s.version_count = 0;
        break;
    case 1:
        if (s.version_count == static_cast<int32_t>(FRAME_VERSION_LEN) - 1) s.version_state = 2;
        break;
    default: {
        s.version_state = 0;
        s.version_count = 0;
        const uint8_t* v = s.version_buf;
        if (frames_version_checksum(v, FRAME_VERSION_LEN - 1) != v[FRAME_VERSION_LEN - 1]) return;
        char dump[16 + FRAME_VERSION_LEN * 3];
        text_hex_dump(dump, sizeof dump, "\nCRC: ", v, FRAME_VERSION_LEN);
        dbg_log("%s\n", dump);
        char version[8];
        const char raw[3] = {static_cast<char>(v[1]), static_cast<char>(v[2]), '\0'};
        text_sanitize_utf8(version, sizeof version, raw);
        const unsigned param_sum = static_cast<unsigned>(v[3] << 8 | v[4]);
        const unsigned long program_sum = static_cast<unsigned long>(v[5]) << 24 |
                                          static_cast<unsigned long>(v[6]) << 16 |
                                          static_cast<unsigned long>(v[7]) << 8 | v[8];
        const unsigned long crc = static_cast<unsigned long>(v[9]) << 24 | static_cast<unsigned long>(v[10]) << 16 |
                                  static_cast<unsigned long>(v[11]) << 8 | v[12];
        char text[160];
        snprintf(text, sizeof text,
                 "Version: %s \nParameter Checksum: 0x%04x\nProgram Checksum: 0x%08lx\nProgram CRC: 0x%08lx", version,
                 param_sum, program_sum, crc);
        show_prompt(text);
        break;
    }
    }
}

void info_write_reply(uint8_t) {
    /* The first byte past the echo is the servo's answer, whatever it says. */
    show_prompt(lang_text("Write Information successfully!", "写入信息成功!"));
    S().mode = MODE_IDLE;
    memset(protocol_state().g_servo_info_rx_buf, 0, sizeof protocol_state().g_servo_info_rx_buf);
    memset(protocol_state().g_servo_info_tx_buf, 0, sizeof protocol_state().g_servo_info_tx_buf);
}

/* Field text from frame bytes: stops at a space or a NUL, made valid UTF-8 for the screen. */
void field_text(char* out, size_t cap, const uint8_t* bytes, size_t n, bool stop_at_space) {
    char raw[FRAME_INFO_TYPE_LEN + 1];
    size_t len = 0;
    while (len < n && len < FRAME_INFO_TYPE_LEN && bytes[len] != 0 && !(stop_at_space && bytes[len] == ' ')) {
        raw[len] = static_cast<char>(bytes[len]);
        ++len;
    }
    raw[len] = '\0';
    text_sanitize_utf8(out, cap, raw);
}

} // namespace

void protocol_reset() { g_protocol = ProtocolState{}; }

void protocol_take_received() {
    rx_take_received(process_servo_info_data);
}

void protocol_drop_echo() { disarm_echo(); }

bool protocol_busy() {
    return protocol_state().mode == MODE_READ_INFO || protocol_state().mode == MODE_WRITE_INFO || protocol_state().read_timer != nullptr ||
           protocol_state().write_timer != nullptr;
}

void handle_servo_info_frame() {
    ProtocolState& s = S();
    dbg_log("\n[information] handle_servo_info_frame - 处理完整舵机信息帧\n");
    char dump[32 + INFO_RX_BUF_SIZE * 3];
    const size_t stored = s.info_rx_count < 0 ? 0
                          : static_cast<size_t>(s.info_rx_count) > INFO_RX_BUF_SIZE
                              ? INFO_RX_BUF_SIZE
                              : static_cast<size_t>(s.info_rx_count);
    text_hex_dump(dump, sizeof dump, "接收到的原始数据: ", protocol_state().g_servo_info_rx_buf, stored);
    dbg_log("%s\n", dump);

    const int offset = s.self_receive ? static_cast<int>(FRAME_INFO_REQUEST_LEN) : 0;
    const int len = static_cast<int>(stored) - offset;
    if (s.self_receive)
        dbg_log("[handle_servo_info_frame] 自发自收模式，跳过前4字节，实际数据长度: %d\n", len);
    else
        dbg_log("[handle_servo_info_frame] 非自发自收模式，使用全部数据，长度: %d\n", len);
    if (len <= 0) {
        dbg_log("[Error] 接收到的数据长度无效!");
        return;
    }

    const uint8_t* f = protocol_state().g_servo_info_rx_buf + offset; /* offset + 30 <= 34: always inside the buffer */
    if (f[1] >= FRAME_INFO_TYPE_REFUSED) {
        dbg_log("[Error] g_servo_info_rx_buf[1] = %02X\n", f[1]);
        show_error("读取信息失败！"); /* Chinese in both languages, as the servo makers' tools show it */
    } else {
        const uint8_t sum = frames_block_checksum(f, FRAME_INFO_LEN - 1);
        dbg_log("[Debug] 校验和计算: 数据长度=%d, 计算值=%02X, 接收值=%02X\n", len, sum, f[FRAME_INFO_LEN - 1]);
        if (sum != f[FRAME_INFO_LEN - 1]) {
            dbg_log("[Error] 校验失败! 计算值: %02X, 接收值: %02X\n", sum, f[FRAME_INFO_LEN - 1]);
            dbg_log("[Error] 舵机信息校验失败!");
        } else {
            char type[INFO_TEXT_SIZE], year[INFO_TEXT_SIZE], month[INFO_TEXT_SIZE], day[INFO_TEXT_SIZE];
            field_text(type, sizeof type, f + FRAME_INFO_TYPE_OFFSET, FRAME_INFO_TYPE_LEN, true);
            field_text(year, sizeof year, f + FRAME_INFO_YEAR_OFFSET, FRAME_INFO_YEAR_LEN, false);
            field_text(month, sizeof month, f + FRAME_INFO_MONTH_OFFSET, FRAME_INFO_MONTH_DAY_LEN, false);
            field_text(day, sizeof day, f + FRAME_INFO_DAY_OFFSET, FRAME_INFO_MONTH_DAY_LEN, false);
            info_field_set(InfoField::Type, type);
            info_field_set(InfoField::Year, year);
            info_field_set(InfoField::Month, month);
            info_field_set(InfoField::Day, day);
            show_prompt(lang_text("Servo information read successfully!", "舵机信息读取成功!"));
            dbg_log("[Success] 舵机信息: 型号=[%s], 日期=%s-%s-%s\n", type, year, month, day);
        }
    }
    memset(protocol_state().g_servo_info_rx_buf, 0, sizeof protocol_state().g_servo_info_rx_buf);
    s.info_rx_state = 0;
    s.info_rx_count = 0;
    s.mode = MODE_IDLE;
}

void detect_self_receive_pattern(uint8_t byte) {
    ProtocolState& s = S();
    if (s.info_rx_state == 0) {
        if (s.info_rx_count == 0 && byte == FRAME_INFO_TAG) {
            protocol_state().g_servo_info_rx_buf[0] = byte;
            s.info_rx_count = 1;
            s.info_rx_state = 1;
            dbg_log("[process_servo_info_data] 开始接收数据，第一个字节: 0x%02X\n", byte);
        }
        return;
    }
    if (s.info_rx_count < 0 || s.info_rx_count >= static_cast<int32_t>(INFO_RX_BUF_SIZE)) return;
    protocol_state().g_servo_info_rx_buf[s.info_rx_count++] = byte;
    if (s.info_rx_count == static_cast<int32_t>(FRAME_INFO_REQUEST_LEN)) {
        s.self_receive = memcmp(protocol_state().g_servo_info_rx_buf, INFO_READ_ECHO, FRAME_INFO_REQUEST_LEN) == 0 ? 1 : 0;
        dbg_log(s.self_receive ? "[detect_self_receive_pattern] 检测到自发自收模式\n"
                               : "[detect_self_receive_pattern] 非自发自收模式\n");
    }
    const int32_t complete = static_cast<int32_t>(s.self_receive ? INFO_RX_BUF_SIZE : FRAME_INFO_LEN);
    if (s.info_rx_count == complete) {
        handle_servo_info_frame();
        s.info_rx_state = 0;
        s.info_rx_count = 0;
    }
}

void process_servo_info_data(uint8_t byte) {
    ProtocolState& s = S();

    /* 1. Echo of a block-family frame. The reference is armed afresh on the byte after any
     * mismatch, so every byte outside an echo is compared with the reference's first byte: a
     * payload byte equal to it is swallowed and matching resumes from there. Servos and their
     * adapters in the field were tuned against exactly this. */
    if (s.mode != MODE_IDLE && s.echo_ref == nullptr) {
        switch (s.mode) {
        case MODE_READ_PARAMS:
            arm_echo(PARAM_READ_ECHO, FRAME_PARAM_READ_LEN, FRAME_PARAM_READ_LEN);
            break;
        case MODE_WRITE_PARAMS:
            arm_echo(s.block_frame, s.block_frame_len, FRAME_PARAM_BLOCK_LEN);
            break;
        case MODE_WRITE_INFO: /* one byte beyond the frame: a 0x00 right after the echo is swallowed too */
            arm_echo(protocol_state().g_servo_info_tx_buf, s.info_echo_base + INFO_ECHO_EXTRA, INFO_TX_AREA_SIZE);
            break;
        case MODE_READ_INFO: /* the information read sorts out its echo itself */
            detect_self_receive_pattern(byte);
            return;
        default:
            break;
        }
    }
    if (s.echo_ref != nullptr) {
        if (s.echo_index < s.echo_len && byte == s.echo_ref[s.echo_index]) {
            dbg_log("[Debug] 跳过自发自收字节: index=%d, byte=0x%02X\n", s.echo_index, byte);
            if (++s.echo_index >= s.echo_len) {
                dbg_log("[Success] 自发自收数据剔除完成\n");
                disarm_echo();
            }
            return;
        }
        disarm_echo();
    }

    /* 2. Echo of the register read requests, in sending order. */
    if (s.reg_echo_entry >= 0 && s.reg_echo_entry < s.reg_echo_count && s.reg_echo_count <= REG_ECHO_ENTRIES) {
        if (byte == s.reg_echo[s.reg_echo_entry][s.reg_echo_pos]) {
            if (++s.reg_echo_pos == static_cast<int32_t>(FRAME_REGISTER_REQUEST_LEN)) {
                s.reg_echo_pos = 0;
                ++s.reg_echo_entry;
            }
            return;
        }
        s.reg_echo_entry = 0;
        s.reg_echo_pos = 0;
    }

    /* 3. */
    dbg_log("%02X ", byte);

    /* 4. */
    switch (s.mode) {
    case MODE_READ_PARAMS:
        read_params_byte(byte);
        break;
    case MODE_WRITE_PARAMS:
        write_ack_byte(byte);
        break;
    case MODE_VERSION_QUERY:
        version_byte(byte);
        break;
    case MODE_WRITE_INFO:
        info_write_reply(byte);
        break;
    default: /* idle: dropped */
        break;
    }
}
