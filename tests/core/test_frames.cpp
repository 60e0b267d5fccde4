/* The three checksum rules kept apart: each refuses a frame that carries a neighbour's rule. (The
 * frames themselves are compared byte for byte with hand-written ones where they go out on the
 * pseudo-terminal, in the transaction tests.) */
#include "protocol/frames.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes built(int n, const uint8_t* out) {
    return n < 0 ? Bytes{} : Bytes(out, out + n);
}

Bytes info_frame(const char* type) {
    uint8_t out[FRAME_INFO_LEN];
    return built(frames_build_info_frame(type, "2026", "01", "15", out, sizeof out), out);
}

} // namespace

TEST(Frames, each_checksum_rule_refuses_a_frame_carrying_its_neighbours_rule) {
    Bytes info = info_frame("SERVO");
    EXPECT_TRUE(frames_check_info_frame(info.data(), info.size()));
    info[29] = frames_version_checksum(info.data(), 29); /* the plain sum */
    EXPECT_FALSE(frames_check_info_frame(info.data(), info.size()));

    uint8_t block[35] = {}, frame[38];
    buildWriteFrame(block, frame, sizeof frame);
    EXPECT_TRUE(frames_check_block_frame(frame, 38));
    frame[37] = frames_version_checksum(frame, 37);
    EXPECT_FALSE(frames_check_block_frame(frame, 38));

    /* Register reply: the sum starts at the length field; one taken from the tag is refused. */
    uint8_t r[9] = {0xAF, 0x38, 0x00, 0x09, 0x00, 0x50, 0x0B, 0xB8, 0};
    r[8] = static_cast<uint8_t>(0x09 + 0x50 + 0x0B + 0xB8);
    EXPECT_TRUE(frames_check_register_reply(r, 9));
    r[8] = frames_version_checksum(r, 8);
    EXPECT_FALSE(frames_check_register_reply(r, 9));
    r[8] = frames_block_checksum(r + 2, 6);
    EXPECT_FALSE(frames_check_register_reply(r, 9));
}
