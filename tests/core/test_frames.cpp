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

Bytes build(int (*fn)(uint8_t*, size_t)) {
    uint8_t out[64];
    const int n = fn(out, sizeof out);
    return n < 0 ? Bytes{} : Bytes(out, out + n);
}

Bytes register_read(int step) {
    uint8_t out[16];
    const int n = frames_build_register_read(step, out, sizeof out);
    return n < 0 ? Bytes{} : Bytes(out, out + n);
}

Bytes info_frame(const char* type, const char* year, const char* month, const char* day) {
    uint8_t out[FRAME_INFO_LEN];
    const int n = frames_build_info_frame(type, year, month, day, out, sizeof out);
    return n < 0 ? Bytes{} : Bytes(out, out + n);
}

} // namespace

TEST(Frames, fixed_requests_repeat_their_tag_as_last_byte) {
    EXPECT_EQ(build(frames_build_info_request), (Bytes{0x8E, 0x00, 0x00, 0x8E}));
    EXPECT_EQ(build(frames_build_param_read_request), (Bytes{0x81, 0x00, 0x00, 0x81}));
    uint8_t small[3];
    EXPECT_EQ(frames_build_info_request(small, sizeof small), -1);
    EXPECT_EQ(frames_build_param_read_request(nullptr, 4), -1);
}

TEST(Frames, register_read_requests_carry_the_step_code_and_length_plus_code_as_checksum) {
    EXPECT_EQ(register_read(0), (Bytes{0xAF, 0xFA, 0x00, 0x0A, 0x38, 0x00, 0x00, 0x00, 0x00, 0x42}));
    EXPECT_EQ(register_read(7), (Bytes{0xAF, 0xFA, 0x00, 0x0A, 0x54, 0x00, 0x00, 0x00, 0x00, 0x5E}));
    const uint8_t codes[8] = {0x38, 0x3D, 0x3F, 0x50, 0x51, 0x52, 0x53, 0x54};
    for (int step = 0; step < 8; ++step) {
        const Bytes f = register_read(step);
        ASSERT_EQ(f.size(), 10u);
        EXPECT_EQ(f[4], codes[step]);
        EXPECT_EQ(f[9], static_cast<uint8_t>(0x0A + codes[step]));
    }
    EXPECT_TRUE(register_read(-1).empty());
    EXPECT_TRUE(register_read(8).empty()); /* the ninth timer call asks for nothing */
}

TEST(Frames, register_write_frames_are_big_endian_with_the_plain_sum_from_the_length_field) {
    uint8_t f[10];
    ASSERT_EQ(frames_build_register_frame(0x12, 80, 3000, f, sizeof f), 10);
    EXPECT_EQ(Bytes(f, f + 10), (Bytes{0xAF, 0xFA, 0x00, 0x0A, 0x12, 0x00, 0x50, 0x0B, 0xB8, 0x2F}));
    ASSERT_EQ(frames_build_register_frame(0x48, 0xFFFF, 0x8000, f, sizeof f), 10);
    EXPECT_EQ(f[9], static_cast<uint8_t>(0x0A + 0x48 + 0xFF + 0xFF + 0x80));
    EXPECT_EQ(frames_build_register_frame(0x01, 1, 1, f, 9), -1);
}

TEST(Frames, info_frame_pads_the_type_with_spaces_and_cuts_it_at_twenty) {
    const Bytes f = info_frame("ABC", "2026", "01", "15");
    ASSERT_EQ(f.size(), 30u);
    EXPECT_EQ(f[0], 0x8E);
    EXPECT_EQ(std::string(f.begin() + 1, f.begin() + 21), "ABC" + std::string(17, ' '));
    EXPECT_EQ(std::string(f.begin() + 21, f.begin() + 29), "20260115");
    unsigned sum = 0;
    for (int i = 0; i < 29; ++i)
        sum += f[i];
    EXPECT_EQ(f[29], static_cast<uint8_t>(sum - 1));
    EXPECT_TRUE(frames_check_info_frame(f.data(), f.size()));

    const Bytes twenty = info_frame("ABCDEFGHIJKLMNOPQRST", "2026", "01", "15");
    EXPECT_EQ(std::string(twenty.begin() + 1, twenty.begin() + 21), "ABCDEFGHIJKLMNOPQRST");
    EXPECT_EQ(info_frame("ABCDEFGHIJKLMNOPQRSTUVWXY", "2026", "01", "15"), twenty);
    EXPECT_TRUE(info_frame(nullptr, "2026", "01", "15").empty());
}

TEST(Frames, block_frame_carries_tag_command_data_and_sum_minus_one_and_logs_its_dump) {
    uint8_t block[35];
    for (int i = 0; i < 35; ++i)
        block[i] = static_cast<uint8_t>(i * 7);
    uint8_t frame[38];
    LogCapture log;
    ASSERT_EQ(buildWriteFrame(block, frame, sizeof frame), 38);
    EXPECT_EQ(frame[0], 0x26);
    EXPECT_EQ(frame[1], 0x40);
    EXPECT_EQ(memcmp(frame + 2, block, 35), 0);
    unsigned data_sum = 0;
    for (uint8_t b : block)
        data_sum += b;
    EXPECT_EQ(frame[37], static_cast<uint8_t>(data_sum + 0x40 + 0x25)); /* the servo maker's own form */
    EXPECT_TRUE(frames_check_block_frame(frame, 38));
    EXPECT_TRUE(log.contains("[DEBUG] buildWriteFrame() Write Frame: 26 40 00 07 0E "));
    EXPECT_EQ(buildWriteFrame(block, frame, 37), -1);
    EXPECT_EQ(buildWriteFrame(nullptr, frame, 38), -1);
}

TEST(Frames, block_checksum_of_bytes_summing_to_zero_is_ff) {
    const uint8_t bytes[] = {0x80, 0x80};
    EXPECT_EQ(frames_block_checksum(bytes, 2), 0xFF);
    EXPECT_EQ(frames_block_checksum(nullptr, 0), 0xFF);
}

TEST(Frames, each_checksum_rule_refuses_a_frame_carrying_its_neighbours_rule) {
    /* Version report: plain sum accepted, the block rule (sum - 1) refused. */
    uint8_t v[14] = {0x8F, '1', '7', 0x12, 0x34, 0xDE, 0xAD, 0xBE, 0xEF, 0x01, 0x02, 0x03, 0x04, 0};
    v[13] = frames_version_checksum(v, 13);
    EXPECT_TRUE(frames_check_version_report(v, 14));
    v[13] = frames_block_checksum(v, 13);
    EXPECT_FALSE(frames_check_version_report(v, 14));

    /* Block frames: the plain sum (the version rule) refused. */
    Bytes info = info_frame("SERVO", "2026", "01", "15");
    info[29] = frames_version_checksum(info.data(), 29);
    EXPECT_FALSE(frames_check_info_frame(info.data(), info.size()));
    uint8_t block[35] = {}, frame[38];
    buildWriteFrame(block, frame, sizeof frame);
    frame[37] = frames_version_checksum(frame, 37);
    EXPECT_FALSE(frames_check_block_frame(frame, 38));

    /* Register reply: the sum starts at the length field; one taken from the tag is refused. */
    uint8_t r[9] = {0xAF, 0x38, 0x00, 0x09, 0x00, 0x50, 0x0B, 0xB8, 0};
    r[8] = frames_register_checksum(r, 8);
    EXPECT_EQ(r[8], static_cast<uint8_t>(0x09 + 0x50 + 0x0B + 0xB8));
    EXPECT_TRUE(frames_check_register_reply(r, 9));
    r[8] = frames_version_checksum(r, 8);
    EXPECT_FALSE(frames_check_register_reply(r, 9));
    r[8] = frames_block_checksum(r + 2, 6);
    EXPECT_FALSE(frames_check_register_reply(r, 9));
}

TEST(Frames, refused_frames) {
    /* An information reply whose type starts at 0x80 or above, checksum right. */
    Bytes info = info_frame("SERVO", "2026", "01", "15");
    info[1] = 0x80;
    info[29] = frames_block_checksum(info.data(), 29);
    EXPECT_FALSE(frames_check_info_frame(info.data(), info.size()));
    info[1] = 0x7F;
    info[29] = frames_block_checksum(info.data(), 29);
    EXPECT_TRUE(frames_check_info_frame(info.data(), info.size()));
    EXPECT_FALSE(frames_check_info_frame(info.data(), 29));

    /* A register reply whose length field is 10 (a request's), checksum matching. */
    uint8_t r[9] = {0xAF, 0x00, 0x00, 0x0A, 0x00, 0x01, 0x00, 0x02, 0};
    r[8] = frames_register_checksum(r, 8);
    EXPECT_FALSE(frames_check_register_reply(r, 9));
    r[3] = 0x09;
    r[8] = frames_register_checksum(r, 8);
    EXPECT_TRUE(frames_check_register_reply(r, 9));
    r[0] = 0xAE;
    EXPECT_FALSE(frames_check_register_reply(r, 9));
    EXPECT_FALSE(frames_check_register_reply(nullptr, 9));
}
