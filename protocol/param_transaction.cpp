#include "protocol/param_transaction.h"

#include "common/clock.h"
#include "common/debug_log.h"
#include "common/lang.h"
#include "common/prompt.h"
#include "common/text_format.h"
#include "params/param_values.h"
#include "protocol/frames.h"
#include "protocol/protocol_state.h"
#include "serial/comHandle.h"

#include <cstring>

namespace {

struct StallCheck {
    int row;
    const char* en;
    const char* zh;
};
const StallCheck STALL_CHECKS[3] = {
    {PARAM_STALL_TIME1, "Error writing \"Time1\" parameter!\nPlease enter a number between 0 and 10000",
     "写入\"堵转1时间\"参数错误!\n请输入 0 - 10000 之间的数字"},
    {PARAM_STALL_TIME2, "Error writing \"Time2\" parameter!\nPlease enter a number between 0 and 10000",
     "写入\"堵转2时间\"参数错误!\n请输入 0 - 10000 之间的数字"},
    {PARAM_STALL_TIME3, "Error writing \"Time3\" parameter!\nPlease enter a number between 0 and 10000",
     "写入\"堵转3时间\"参数错误!\n请输入 0 - 10000 之间的数字"},
};

/* The servo's own bytes for a value, as its read reply carried them (one byte each for RS and LS,
 * sent with a zero high byte). */
uint16_t cached_word(int value) {
    const RegisterFamilyValue& r = register_family_values[value];
    const uint8_t* e = protocol_state().ReadCacheBuff[r.read_step];
    if (r.single_byte) return e[r.read_byte];
    return static_cast<uint16_t>(e[r.read_byte] << 8 | e[r.read_byte + 1]);
}

/* Wire word of one value. A value equal to its last-read value goes as the servo's own bytes, so
 * a remainder lost by the read's division is not lost on the servo. Two comparisons differ, as
 * servos in the field expect: MD is compared after scaling, and MP follows LP's outcome. */
uint16_t value_word(int value, bool& lp_unchanged) {
    if (value < 0 || value >= REG_VALUE_COUNT) return 0;
    const int32_t shown = register_value_shown(value);
    bool unchanged;
    if (value == REG_MP) {
        unchanged = lp_unchanged;
    } else {
        const int64_t compared = value == REG_MD ? static_cast<int64_t>(shown) * REG_POWER_SCALE : shown;
        unchanged = compared == protocol_state().last_read[value]; /* 8 bits: a value above 255 never matches */
    }
    if (value == REG_LP) lp_unchanged = unchanged;
    if (unchanged) return cached_word(value);
    return static_cast<uint16_t>(static_cast<uint32_t>(register_value_wire(value, shown)) & 0xFFFFu);
}

void send_param_read_request() {
    uint8_t request[FRAME_PARAM_READ_LEN];
    const int len = frames_build_param_read_request(request, sizeof request);
    SerialWrite(request, len); /* results are not examined: a closed port simply gets nothing */
}

/* Block family: 81 00 00 81, 40 ms, then the panel packed into one block frame. */
int write_block_family() {
    ProtocolState& s = protocol_state();
    send_param_read_request();
    clock_sleep_ms(PARAM_WRITE_SLEEP_MS);

    getParametersFromUI();
    dbg_log("\n[DEBUG] 1.界面的参数: \n");
    for (int i = 0; i < PARAM_COUNT; ++i)
        dbg_log("partmp[%d] = %d\n", i, params_state().paramArray[i]);
    for (const StallCheck& c : STALL_CHECKS) {
        if (params_state().paramArray[c.row] > STALL_TIME_WRITE_MAX) {
            show_error(lang_text(c.en, c.zh));
            return PARAM_CMD_STALL_TIME;
        }
    }

    params_prepare_write(static_cast<int>(sizeof(int32_t)) * PARAM_COUNT);
    dbg_log("\n[DEBUG] 2.转换后的parmeterBuff: \n");
    for (size_t i = 0; i < FRAME_PARAM_BLOCK_DATA; ++i)
        dbg_log("parmeterBuff[%d] = %d(0x%02X)\n", static_cast<int>(i), params_state().parmeterBuff[i], params_state().parmeterBuff[i]);
    const int len = buildWriteFrame(params_state().parmeterBuff, s.block_frame, sizeof s.block_frame);
    dbg_log("[Debug] 3. buildWriteFrame() = %d\n", len);
    char dump[64 + FRAME_PARAM_BLOCK_LEN * 3];
    text_hex_dump(dump, sizeof dump, "\n[Debug] 4.Send parmeterBuff:", s.block_frame,
                  len > 0 ? static_cast<size_t>(len) : 0);
    dbg_log("%s\n", dump);

    s.block_frame_len = len > 0 ? len : 0; /* the echo to remove in mode 2 */
    SerialWrite(s.block_frame, len);
    s.block_write_pending = WRITE_PENDING_BLOCK;
    return PARAM_CMD_STARTED;
}

} // namespace

int param_transaction_register_frame(int index, uint8_t* out, size_t cap) {
    if (index < 0 || index >= FRAME_REGISTER_WRITE_FRAMES) {
        dbg_log("[Error] param_transaction_register_frame: no write frame %d\n", index);
        return -1;
    }
    const RegisterWriteFrame& w = frames_register_write_table[index];
    bool lp_unchanged = false;
    const uint16_t data0 = value_word(w.data0, lp_unchanged); /* LP before MP: MP follows it */
    const uint16_t data1 = value_word(w.data1, lp_unchanged);
    return frames_build_register_frame(w.code, data0, data1, out, cap);
}

int param_transaction_read() {
    ProtocolState& s = protocol_state();
    send_param_read_request();
    clock_sleep_ms(PARAM_READ_SLEEP_MS); /* the block family's answer is in before the register requests go */
    protocol_timer_t timer = protocol_timer_start(REG_READ_PERIOD_MS, param_read_timer_cb);
    if (timer == nullptr) {
        dbg_log("创建定时器失败\n");
        return PARAM_CMD_TIMER_FAILED;
    }
    s.read_timer = timer;
    /* The parameter state and the read step are left as they are: a reply cut short by an
     * earlier read still counts. */
    s.mode = MODE_READ_PARAMS;
    s.block_count = 0;
    s.first_read = 1;
    return PARAM_CMD_STARTED;
}

int param_transaction_write() {
    ProtocolState& s = protocol_state();
    int result = PARAM_CMD_STARTED;
    switch (params_state().parameterSource) {
    case PARAM_SOURCE_BLOCK:
        result = write_block_family();
        if (result != PARAM_CMD_STARTED) return result;
        break;
    case PARAM_SOURCE_REGISTER: {
        protocol_timer_t timer = protocol_timer_start(REG_WRITE_PERIOD_MS, param_write_timer_cb);
        if (timer == nullptr) {
            dbg_log("创建定时器失败\n");
            return PARAM_CMD_TIMER_FAILED;
        }
        s.write_timer = timer;
        break;
    }
    default:
        /* Nothing is sent, yet the mode becomes 2 as for a write. */
        show_error(lang_text("Failed to write parameters\nplease read or import parameters first!!",
                             "写入参数失败，请先读取或导入参数!!"));
        result = PARAM_CMD_NO_SOURCE;
        break;
    }
    s.mode = MODE_WRITE_PARAMS;
    s.block_count = 0; /* the acknowledgement count */
    return result;
}

void param_read_timer_cb(protocol_timer_t timer) {
    ProtocolState& s = protocol_state();
    /* What came in since the last call is parsed first, against the echoes it belongs to: a late
     * UI thread must not let the next request's echo, or the end of the sequence, get ahead of a
     * reply that is already here. */
    protocol_take_received();
    const int n = s.reg_read_counter;
    if (n >= 0 && n < FRAME_REGISTER_READ_STEPS) {
        uint8_t request[FRAME_REGISTER_REQUEST_LEN];
        const int len = frames_build_register_read(n, request, sizeof request);
        if (s.reg_echo_count >= 0 && s.reg_echo_count < REG_ECHO_ENTRIES)
            memcpy(s.reg_echo[s.reg_echo_count++], request, sizeof request);
        ++s.reg_read_counter;
        SerialWrite(request, len);
        return;
    }
    protocol_timer_delete(timer);
    if (timer == s.read_timer) s.read_timer = nullptr;
    s.reg_read_counter = 0;
    s.reg_echo_count = 0;
    s.reg_echo_entry = 0;
    s.reg_echo_pos = 0;
}

void param_write_timer_cb(protocol_timer_t timer) {
    ProtocolState& s = protocol_state();
    protocol_take_received();
    const int k = s.reg_write_counter;
    if (k < FRAME_REGISTER_WRITE_FRAMES) {
        uint8_t frame[FRAME_REGISTER_REQUEST_LEN];
        const int len = param_transaction_register_frame(k, frame, sizeof frame);
        ++s.reg_write_counter;
        SerialWrite(frame, len);
        s.block_write_pending = WRITE_PENDING_REGISTER;
        return;
    }
    protocol_timer_delete(timer);
    if (timer == s.write_timer) s.write_timer = nullptr;
    s.reg_write_counter = 0;
    if (s.block_write_pending == WRITE_PENDING_REGISTER) {
        s.block_write_pending = WRITE_PENDING_NONE;
        show_prompt(lang_text("Write Parameter successfully!", "写入参数成功!"));
    }
}
