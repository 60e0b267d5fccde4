/* Frames of both families: byte vectors as the servo expects them, worked out by hand, and the
 * three checksum rules kept apart. */
#include "protocol/frames.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes built(int n, const uint8_t* out) {
    return n < 0 ? Bytes{} : Bytes(out, out + n);
}

Bytes register_read(int step) {
    uint8_t out[16];
    return built(frames_build_register_read(step, out, sizeof out), out);
}

Bytes info_frame(const char* type) {
    uint8_t out[FRAME_INFO_LEN];
    return built(frames_build_info_frame(type, "2026", "01", "15", out, sizeof out), out);
}

} // namespace

TEST(Frames, requests_carry_their_codes_and_checksums) {
    uint8_t out[64];
    EXPECT_EQ(built(frames_build_info_request(out, sizeof out), out), (Bytes{0x8E, 0x00, 0x00, 0x8E}));
    EXPECT_EQ(built(frames_build_param_read_request(out, sizeof out), out), (Bytes{0x81, 0x00, 0x00, 0x81}));
    EXPECT_EQ(frames_build_info_request(out, 3), -1);

    /* Register reads: the step's code, and length plus code as checksum. */
    EXPECT_EQ(register_read(0), (Bytes{0xAF, 0xFA, 0x00, 0x0A, 0x38, 0x00, 0x00, 0x00, 0x00, 0x42}));
    EXPECT_EQ(register_read(7), (Bytes{0xAF, 0xFA, 0x00, 0x0A, 0x54, 0x00, 0x00, 0x00, 0x00, 0x5E}));
    EXPECT_TRUE(register_read(8).empty()); /* the ninth timer call asks for nothing */

    /* Register writes: big-endian words, the plain sum from the length field. */
    EXPECT_EQ(built(frames_build_register_frame(0x12, 80, 3000, out, 10), out),
              (Bytes{0xAF, 0xFA, 0x00, 0x0A, 0x12, 0x00, 0x50, 0x0B, 0xB8, 0x2F}));
    ASSERT_EQ(frames_build_register_frame(0x48, 0xFFFF, 0x8000, out, 10), 10);
    EXPECT_EQ(out[9], static_cast<uint8_t>(0x0A + 0x48 + 0xFF + 0xFF + 0x80));
}

TEST(Frames, info_and_block_frames_end_with_their_sum_minus_one) {
    const Bytes f = info_frame("ABC");
    ASSERT_EQ(f.size(), 30u);
    EXPECT_EQ(f[0], 0x8E);
    EXPECT_EQ(std::string(f.begin() + 1, f.begin() + 29), "ABC" + std::string(17, ' ') + "20260115");
    EXPECT_EQ(f[29], 0x04); /* 142 + "ABC" 198 + 17 blanks 544 + date 401 = 0x505, minus one */
    EXPECT_EQ(info_frame("ABCDEFGHIJKLMNOPQRSTUVWXY"), info_frame("ABCDEFGHIJKLMNOPQRST"));

    uint8_t block[35], frame[38];
    for (int i = 0; i < 35; ++i)
        block[i] = static_cast<uint8_t>(i * 7);
    ASSERT_EQ(buildWriteFrame(block, frame, sizeof frame), 38);
    EXPECT_EQ(Bytes(frame, frame + 5), (Bytes{0x26, 0x40, 0, 7, 14}));
    EXPECT_EQ(frame[36], 238);
    EXPECT_EQ(frame[37], 0xAA); /* 26 + 40 + data sum 7 x 595 = 0x1045, minus one */
    EXPECT_EQ(buildWriteFrame(block, frame, 37), -1);
}

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
