/* Frames of both families: byte vectors as the servo expects them, the three checksum rules kept
 * apart, and the frames a receiver must refuse. */
#include "protocol/frames.h"
#include "tests/fakes/common/log_capture.h"

#include <gtest/gtest.h>

#include <cstring>
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
    EXPECT_EQ(frames_build_param_read_request(nullptr, 4), -1);

    /* Register reads: the step's code, and length plus code as checksum. */
    EXPECT_EQ(register_read(0), (Bytes{0xAF, 0xFA, 0x00, 0x0A, 0x38, 0x00, 0x00, 0x00, 0x00, 0x42}));
    EXPECT_EQ(register_read(7), (Bytes{0xAF, 0xFA, 0x00, 0x0A, 0x54, 0x00, 0x00, 0x00, 0x00, 0x5E}));
    EXPECT_EQ(register_read(3), (Bytes{0xAF, 0xFA, 0x00, 0x0A, 0x50, 0x00, 0x00, 0x00, 0x00, 0x5A}));
    EXPECT_TRUE(register_read(-1).empty());
    EXPECT_TRUE(register_read(8).empty()); /* the ninth timer call asks for nothing */

    /* Register writes: big-endian words, the plain sum from the length field. */
    EXPECT_EQ(built(frames_build_register_frame(0x12, 80, 3000, out, 10), out),
              (Bytes{0xAF, 0xFA, 0x00, 0x0A, 0x12, 0x00, 0x50, 0x0B, 0xB8, 0x2F}));
    ASSERT_EQ(frames_build_register_frame(0x48, 0xFFFF, 0x8000, out, 10), 10);
    EXPECT_EQ(out[9], static_cast<uint8_t>(0x0A + 0x48 + 0xFF + 0xFF + 0x80));
    EXPECT_EQ(frames_build_register_frame(0x01, 1, 1, out, 9), -1);
}

TEST(Frames, info_frame_pads_the_type_with_spaces_and_cuts_it_at_twenty) {
    const Bytes f = info_frame("ABC");
    ASSERT_EQ(f.size(), 30u);
    EXPECT_EQ(f[0], 0x8E);
    EXPECT_EQ(std::string(f.begin() + 1, f.begin() + 29), "ABC" + std::string(17, ' ') + "20260115");
    EXPECT_EQ(f[29], 0x04); /* 142 + "ABC" 198 + 17 blanks 544 + date 401 = 0x505, minus one */

    const Bytes twenty = info_frame("ABCDEFGHIJKLMNOPQRST");
    EXPECT_EQ(std::string(twenty.begin() + 1, twenty.begin() + 21), "ABCDEFGHIJKLMNOPQRST");
    EXPECT_EQ(info_frame("ABCDEFGHIJKLMNOPQRSTUVWXY"), twenty);
    EXPECT_TRUE(info_frame(nullptr).empty());
}

TEST(Frames, block_frame_carries_tag_command_data_and_sum_minus_one_and_logs_its_dump) {
    uint8_t block[35], frame[38];
    for (int i = 0; i < 35; ++i)
        block[i] = static_cast<uint8_t>(i * 7);
    LogCapture log;
    ASSERT_EQ(buildWriteFrame(block, frame, sizeof frame), 38);
    EXPECT_EQ(frame[0], 0x26);
    EXPECT_EQ(frame[1], 0x40);
    EXPECT_EQ(memcmp(frame + 2, block, 35), 0);
    EXPECT_EQ(frame[37], 0xAA); /* 26 + 40 + data sum 7 x 595 = 0x1045, minus one */
    EXPECT_TRUE(log.contains("\n[DEBUG] buildWriteFrame() Write Frame: 26 40 00 07 0E "));
    EXPECT_EQ(buildWriteFrame(block, frame, 37), -1);
    EXPECT_EQ(buildWriteFrame(nullptr, frame, 38), -1);
    const uint8_t zero_sum[] = {0x80, 0x80};
    EXPECT_EQ(frames_block_checksum(zero_sum, 2), 0xFF);
    EXPECT_EQ(frames_block_checksum(nullptr, 0), 0xFF);
}
