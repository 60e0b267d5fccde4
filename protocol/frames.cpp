#include "protocol/frames.h"

#include "common/debug_log.h"

#include <cstdio>
#include <cstring>

uint8_t frames_block_checksum(const uint8_t* bytes, size_t n) {
    uint8_t sum = 0;
    for (size_t i = 0; bytes != nullptr && i < n; ++i)
        sum = static_cast<uint8_t>(sum + bytes[i]);
    return static_cast<uint8_t>(sum - 1);
}

int buildWriteFrame(const uint8_t* block, uint8_t* frame, size_t cap) {
    if (block == nullptr || frame == nullptr || cap < FRAME_PARAM_BLOCK_LEN) {
        dbg_log("[Error] buildWriteFrame(): no block or frame room %zu\n", cap);
        return -1;
    }
    frame[0] = FRAME_PARAM_BLOCK_TAG;
    frame[1] = FRAME_PARAM_WRITE_CMD;
    memcpy(frame + 2, block, FRAME_PARAM_BLOCK_DATA);
    frame[FRAME_PARAM_BLOCK_LEN - 1] = frames_block_checksum(frame, FRAME_PARAM_BLOCK_LEN - 1);

    char dump[64 + FRAME_PARAM_BLOCK_LEN * 3];
    int n = snprintf(dump, sizeof dump, "\n[DEBUG] buildWriteFrame() Write Frame: ");
    for (size_t i = 0; i < FRAME_PARAM_BLOCK_LEN && n > 0 && static_cast<size_t>(n) < sizeof dump; ++i)
        n += snprintf(dump + n, sizeof dump - static_cast<size_t>(n), "%02X ", frame[i]);
    dbg_log("%s\n", dump);
    return static_cast<int>(FRAME_PARAM_BLOCK_LEN);
}
