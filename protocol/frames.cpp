#include "protocol/frames.h"

#include "common/debug_log.h"
#include "common/text_format.h"

#include <cstring>

const uint8_t frames_register_read_codes[FRAME_REGISTER_READ_STEPS] = {0x38, 0x3D, 0x3F, 0x50, 0x51, 0x52, 0x53, 0x54};

const RegisterWriteFrame frames_register_write_table[FRAME_REGISTER_WRITE_FRAMES] = {
    {0x01, REG_KP, REG_VALUE_NONE}, {0x05, REG_KD, REG_VALUE_NONE},
    {0x12, REG_OD, REG_OT},         {0x18, REG_MD, REG_VALUE_NONE},
    {0x40, REG_VALUE_NONE, REG_LA}, {0x41, REG_VALUE_NONE, REG_MA},
    {0x42, REG_VALUE_NONE, REG_CA}, {0x43, REG_VALUE_NONE, REG_DZ},
    {0x44, REG_VALUE_NONE, REG_RS}, {0x45, REG_VALUE_NONE, REG_LS},
    {0x48, REG_LP, REG_MP},         {0x46, REG_VALUE_NONE, REG_VALUE_NONE}, /* closes the sequence */
};

namespace {

bool room(const void* out, size_t cap, size_t need, const char* what) {
    if (out != nullptr && cap >= need) return true;
    dbg_log("[Error] %s: no room for %zu bytes (have %zu)\n", what, need, out == nullptr ? 0 : cap);
    return false;
}

uint8_t plain_sum(const uint8_t* bytes, size_t n) {
    uint8_t sum = 0;
    for (size_t i = 0; bytes != nullptr && i < n; ++i)
        sum = static_cast<uint8_t>(sum + bytes[i]);
    return sum;
}

/* Copies up to n bytes of text, padding with spaces to n. */
void put_padded(uint8_t* out, const char* text, size_t n) {
    const size_t len = strnlen(text, n);
    memcpy(out, text, len);
    memset(out + len, ' ', n - len);
}

} // namespace

uint8_t frames_block_checksum(const uint8_t* bytes, size_t n) {
    return static_cast<uint8_t>(plain_sum(bytes, n) - 1);
}

uint8_t frames_version_checksum(const uint8_t* bytes, size_t n) {
    return plain_sum(bytes, n);
}

uint8_t frames_register_checksum(const uint8_t* frame, size_t len_before_checksum) {
    if (frame == nullptr || len_before_checksum < 3) return 0;
    return plain_sum(frame + 2, len_before_checksum - 2);
}

int frames_build_info_request(uint8_t* out, size_t cap) {
    if (!room(out, cap, FRAME_INFO_REQUEST_LEN, "frames_build_info_request")) return -1;
    const uint8_t request[FRAME_INFO_REQUEST_LEN] = {FRAME_INFO_TAG, 0x00, 0x00, FRAME_INFO_TAG};
    memcpy(out, request, sizeof request);
    return static_cast<int>(FRAME_INFO_REQUEST_LEN);
}

int frames_build_param_read_request(uint8_t* out, size_t cap) {
    if (!room(out, cap, FRAME_PARAM_READ_LEN, "frames_build_param_read_request")) return -1;
    const uint8_t request[FRAME_PARAM_READ_LEN] = {FRAME_PARAM_READ_TAG, 0x00, 0x00, FRAME_PARAM_READ_TAG};
    memcpy(out, request, sizeof request);
    return static_cast<int>(FRAME_PARAM_READ_LEN);
}

int frames_build_register_frame(uint8_t code, uint16_t data0, uint16_t data1, uint8_t* out, size_t cap) {
    if (!room(out, cap, FRAME_REGISTER_REQUEST_LEN, "frames_build_register_frame")) return -1;
    out[0] = FRAME_REGISTER_TAG;
    out[1] = FRAME_REGISTER_REQUEST_MARK;
    out[2] = 0x00;
    out[3] = static_cast<uint8_t>(FRAME_REGISTER_REQUEST_LEN);
    out[4] = code;
    out[5] = static_cast<uint8_t>(data0 >> 8);
    out[6] = static_cast<uint8_t>(data0 & 0xFF);
    out[7] = static_cast<uint8_t>(data1 >> 8);
    out[8] = static_cast<uint8_t>(data1 & 0xFF);
    out[9] = frames_register_checksum(out, FRAME_REGISTER_REQUEST_LEN - 1);
    return static_cast<int>(FRAME_REGISTER_REQUEST_LEN);
}

int frames_build_register_read(int step, uint8_t* out, size_t cap) {
    if (step < 0 || step >= FRAME_REGISTER_READ_STEPS) {
        dbg_log("[Error] frames_build_register_read: no read step %d\n", step);
        return -1;
    }
    return frames_build_register_frame(frames_register_read_codes[step], 0, 0, out, cap);
}

int frames_build_info_frame(const char* type, const char* year, const char* month, const char* day, uint8_t* out,
                            size_t cap) {
    if (type == nullptr || year == nullptr || month == nullptr || day == nullptr) {
        dbg_log("[Error] frames_build_info_frame: a text is missing\n");
        return -1;
    }
    if (!room(out, cap, FRAME_INFO_LEN, "frames_build_info_frame")) return -1;
    out[0] = FRAME_INFO_TAG;
    put_padded(out + FRAME_INFO_TYPE_OFFSET, type, FRAME_INFO_TYPE_LEN);
    put_padded(out + FRAME_INFO_YEAR_OFFSET, year, FRAME_INFO_YEAR_LEN);
    put_padded(out + FRAME_INFO_MONTH_OFFSET, month, FRAME_INFO_MONTH_DAY_LEN);
    put_padded(out + FRAME_INFO_DAY_OFFSET, day, FRAME_INFO_MONTH_DAY_LEN);
    out[FRAME_INFO_LEN - 1] = frames_block_checksum(out, FRAME_INFO_LEN - 1);
    return static_cast<int>(FRAME_INFO_LEN);
}

int buildWriteFrame(const uint8_t* block, uint8_t* frame, size_t cap) {
    if (block == nullptr || frame == nullptr || cap < FRAME_PARAM_BLOCK_LEN) {
        dbg_log("[Error] buildWriteFrame(): no block or frame room %zu\n", cap);
        return -1;
    }
    frame[0] = FRAME_PARAM_BLOCK_TAG;
    frame[1] = FRAME_PARAM_WRITE_CMD;
    memcpy(frame + 2, block, FRAME_PARAM_BLOCK_DATA);
    /* The servo sums the data, the command and the tag minus one: the block rule. */
    frame[FRAME_PARAM_BLOCK_LEN - 1] = frames_block_checksum(frame, FRAME_PARAM_BLOCK_LEN - 1);

    char dump[64 + FRAME_PARAM_BLOCK_LEN * 3];
    text_hex_dump(dump, sizeof dump, "\n[DEBUG] buildWriteFrame() Write Frame: ", frame, FRAME_PARAM_BLOCK_LEN);
    dbg_log("%s\n", dump);
    return static_cast<int>(FRAME_PARAM_BLOCK_LEN);
}
