/* Packing and unpacking between the 35-byte block, the working values and the panel. Expected
 * bytes are worked out by hand from the table, row by row. */
#include "params/param_values.h"
#include "protocol/frames.h"
#include "tests/fakes/common/log_capture.h"
#include "tests/fakes/core/fake_panel.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

/* The defaults packed over an all-zero block:
 *  0-1 gain 65, brake 50; 2-13 pulses and angles big-endian (2000 07D0, 1500 05DC, 1000 03E8,
 *  3500 0DAC, 2048 0800, 596 0254); 14 stall time 3; 15 row 9 (13) is overwritten by row 10
 *  (1 << 4) = 0x10; 16 forces 0; 17-18 speed 200 = 00C8; 19 deadband 3 -> (3+2)<<4 | 3 = 0x53,
 *  then row 15 (6 << 4) ORed = 0x73; 20 time 5; 21 0x80 | 100 = 0xE4; 22 100; 23 10;
 *  24 slow start 1 has no high nibble = 0; 25 5 << 4; 26 2 << 4 | 5; 27 motor, arm, sens 1 = 0x31;
 *  28 slow start low nibble 1 << 4 | stall angle 3 = 0x13; 29 12; 30-31 0; 32 bits 0-3 and bit 4
 *  = 0x1F; 33 72; 34 1 << 4 | 3 = 0x13. */
const uint8_t DEFAULT_BLOCK[PARAM_BLOCK_BYTES] = {
    0x41, 0x32, 0x07, 0xD0, 0x05, 0xDC, 0x03, 0xE8, 0x0D, 0xAC, 0x08, 0x00, 0x02, 0x54, 0x03, 0x10, 0x00, 0x00,
    0xC8, 0x73, 0x05, 0xE4, 0x64, 0x0A, 0x00, 0x50, 0x25, 0x31, 0x13, 0x0C, 0x00, 0x00, 0x1F, 0x48, 0x13,
};

class Packing : public ::testing::Test {
  protected:
    void SetUp() override {
        params_reset();
        fake_panel_reset();
        params_load_defaults();
    }
    /* Packs values over the block through prepare-for-write, as a write or save does. */
    void pack(const int32_t* values, const uint8_t* start_block = nullptr) {
        memcpy(paramArray, values, sizeof(int32_t) * PARAM_COUNT);
        if (start_block != nullptr) memcpy(parmeterBuff, start_block, PARAM_BLOCK_BYTES);
        params_prepare_write(4 * PARAM_COUNT);
    }
    std::vector<uint8_t> block() const { return std::vector<uint8_t>(parmeterBuff, parmeterBuff + PARAM_BLOCK_BYTES); }
    void unpack_block(const uint8_t* bytes) {
        memcpy(g_param_image, bytes, PARAM_BLOCK_BYTES);
        params_unpack(PARAM_COUNT);
    }
    LogCapture log;
};

} // namespace

TEST_F(Packing, defaults_pack_into_the_hand_worked_block) {
    pack(defaultValues);
    EXPECT_EQ(block(), std::vector<uint8_t>(DEFAULT_BLOCK, DEFAULT_BLOCK + PARAM_BLOCK_BYTES));
    EXPECT_EQ(params_packed_high_byte(), 34);
    EXPECT_TRUE(log.contains("[Debug] int2Byte() [REG27] value: 0x31"));
}

TEST_F(Packing, unpacking_the_default_block_shows_which_defaults_do_not_survive) {
    unpack_block(DEFAULT_BLOCK);
    for (int i = 0; i < PARAM_COUNT; ++i) {
        if (i == 9 || i == 15) continue;
        EXPECT_EQ(parameterValues[i], defaultValues[i]) << "row " << i;
    }
    EXPECT_EQ(parameterValues[9], 0);  /* the low nibble of byte 15 is never written from values */
    EXPECT_EQ(parameterValues[15], 7); /* deadband 3 + 2 with 6 ORed on top */
}

TEST_F(Packing, all_zero_image_unpacks_to_zero_even_below_a_table_minimum) {
    uint8_t zero[PARAM_BLOCK_BYTES] = {};
    parameterValues[29] = 5;
    unpack_block(zero);
    for (int i = 0; i < PARAM_COUNT; ++i)
        EXPECT_EQ(parameterValues[i], 0) << i;
}

TEST_F(Packing, start_up_pass_leaves_only_the_derived_deadband) {
    params_startup_registers();
    for (int i = 0; i < PARAM_COUNT; ++i)
        EXPECT_EQ(parameterValues[i], i == 15 ? 2 : 0) << i;
    EXPECT_EQ(g_param_image[19], 0x20);
    EXPECT_EQ(parmeterBuff[19], 0); /* the block itself is not touched */
}

TEST_F(Packing, two_byte_fields_at_and_beyond_their_limits) {
    int32_t v[PARAM_COUNT];
    memcpy(v, defaultValues, sizeof v);
    v[2] = 4096; /* 0x1000 */
    v[4] = 0;
    v[5] = 4095;  /* 0x0FFF */
    v[7] = 70000; /* 0x11170: only 16 bits fit */
    pack(v);
    EXPECT_EQ(parmeterBuff[2], 0x10);
    EXPECT_EQ(parmeterBuff[3], 0x00);
    EXPECT_EQ(parmeterBuff[6], 0x00);
    EXPECT_EQ(parmeterBuff[7], 0x00);
    EXPECT_EQ(parmeterBuff[8], 0x0F);
    EXPECT_EQ(parmeterBuff[9], 0xFF);
    EXPECT_EQ(parmeterBuff[12], 0x11);
    EXPECT_EQ(parmeterBuff[13], 0x70);
}

TEST_F(Packing, deadband_is_limited_to_13_and_drives_the_high_nibble) {
    int32_t v[PARAM_COUNT];
    memcpy(v, defaultValues, sizeof v);
    v[15] = 0;
    for (int d : {14, 15}) {
        v[14] = d;
        pack(v);
        EXPECT_EQ(parmeterBuff[19], 0xFD) << d;
    }
    v[14] = 3;
    pack(v);
    EXPECT_EQ(parmeterBuff[19], 0x53);
    v[14] = 0;
    v[15] = 9; /* row 15 only adds bits */
    pack(v);
    EXPECT_EQ(parmeterBuff[19], 0x20 | 0x90);
}

TEST_F(Packing, stall_force_nibbles_share_bytes_15_and_16) {
    int32_t v[PARAM_COUNT];
    memcpy(v, defaultValues, sizeof v);
    uint8_t start[PARAM_BLOCK_BYTES] = {};
    start[15] = 0x0A; /* row 9's low nibble comes only from the block */
    start[16] = 0xFF;
    v[9] = 5;
    v[10] = 3;
    v[11] = 0x1C; /* only its low nibble is taken */
    v[12] = 17;   /* 17 x 16 = 0x110: the high nibble gets 1 */
    pack(v, start);
    EXPECT_EQ(parmeterBuff[15], 0x3A);
    EXPECT_EQ(parmeterBuff[16], 0x1C);
}

TEST_F(Packing, slow_start_splits_into_two_high_nibbles_and_keeps_the_low_ones) {
    int32_t v[PARAM_COUNT];
    memcpy(v, defaultValues, sizeof v);
    uint8_t start[PARAM_BLOCK_BYTES] = {};
    start[24] = 0x07;
    start[28] = 0x05;
    v[24] = 0;
    v[34] = 0;
    v[25] = 0xAB;
    pack(v, start);
    EXPECT_EQ(parmeterBuff[24], 0xA7);
    EXPECT_EQ(parmeterBuff[28], 0xB5);
    unpack_block(parmeterBuff);
    EXPECT_EQ(parameterValues[25], 0xAB);

    v[25] = 300; /* 0x12C: high part 0x20, low part from 300 x 16 = 0x12C0 */
    pack(v, start);
    EXPECT_EQ(parmeterBuff[24], 0x27);
    EXPECT_EQ(parmeterBuff[28], 0xC5);
}

TEST_F(Packing, reg27_takes_three_fields_and_keeps_its_top_bits) {
    int32_t v[PARAM_COUNT];
    memcpy(v, defaultValues, sizeof v);
    uint8_t start[PARAM_BLOCK_BYTES] = {};
    start[27] = 0xC0;
    v[30] = 0x15; /* sensitivity keeps 4 bits */
    v[31] = 0;
    v[32] = 3; /* direction bits keep bit 0 */
    v[33] = 0; /* the top bits are not written from values */
    pack(v, start);
    EXPECT_EQ(parmeterBuff[27], 0xE5);
    EXPECT_TRUE(log.contains("[Debug] int2Byte() [REG27] value: 0xE5"));
}

TEST_F(Packing, partial_fields_only_add_bits_to_the_block) {
    int32_t v[PARAM_COUNT];
    memcpy(v, defaultValues, sizeof v);
    uint8_t start[PARAM_BLOCK_BYTES] = {};
    start[32] = 0x1F;
    start[20] = 0xF0;
    v[39] = 0;   /* a cleared flag does not clear its bit */
    v[16] = 255; /* 4-bit field: the low 4 bits are deposited */
    v[19] = 2;   /* 0xC0 field: value bit 1 lands in bit 7 */
    pack(v, start);
    EXPECT_EQ(parmeterBuff[32], 0x1F);
    EXPECT_EQ(parmeterBuff[20], 0xFF);
    memset(start, 0, sizeof start);
    v[16] = 0;
    v[17] = 0;
    v[18] = 0;
    pack(v, start);
    EXPECT_EQ(parmeterBuff[20], 0x80);
}

TEST_F(Packing, a_read_block_travels_back_unchanged_except_the_deadband_rule) {
    uint8_t ones[PARAM_IMAGE_SIZE];
    memset(ones, 0xFF, sizeof ones);
    memcpy(parmeterBuff, ones, sizeof ones);
    unpack_block(parmeterBuff);
    pack(parameterValues);
    for (int b = 0; b < PARAM_IMAGE_SIZE; ++b)
        EXPECT_EQ(parmeterBuff[b], b == 19 ? 0xFD : 0xFF) << "byte " << b;
}

TEST_F(Packing, block_frame_carries_command_data_and_checksum) {
    uint8_t frame[FRAME_PARAM_BLOCK_LEN];
    ASSERT_EQ(buildWriteFrame(DEFAULT_BLOCK, frame, sizeof frame), 38);
    EXPECT_EQ(frame[0], 0x26);
    EXPECT_EQ(frame[1], 0x40);
    EXPECT_EQ(memcmp(frame + 2, DEFAULT_BLOCK, 35), 0);
    EXPECT_EQ(frame[37], 0x76); /* 0x26 + 0x40 + data sum 0x11 (mod 256) - 1 */
    EXPECT_TRUE(log.contains("\n[DEBUG] buildWriteFrame() Write Frame: 26 40 41 32 07 D0 "));
    EXPECT_EQ(buildWriteFrame(DEFAULT_BLOCK, frame, 37), -1);
    EXPECT_EQ(buildWriteFrame(nullptr, frame, sizeof frame), -1);
    const uint8_t zero_sum[3] = {0x80, 0x80, 0x00};
    EXPECT_EQ(frames_block_checksum(zero_sum, 3), 0xFF);
}

/* ---- update_par ---- */

TEST_F(Packing, update_par_writes_entries_and_clamps_in_the_array) {
    int32_t v[PARAM_COUNT];
    memcpy(v, defaultValues, sizeof v);
    v[0] = 300;
    v[5] = 5000;
    v[8] = 150;
    update_par(v, PARAM_COUNT);
    EXPECT_EQ(v[0], 255);
    EXPECT_EQ(v[5], 4096);
    EXPECT_EQ(v[8], 100);
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "255");
    EXPECT_EQ(fake_entry(PanelEntry::MaxAngle), "4096");
    EXPECT_EQ(fake_entry(PanelEntry::Stall1Time), "10000");
    EXPECT_EQ(fake_entry(PanelEntry::MinAngle), "596");
    EXPECT_EQ(fake_entry(PanelEntry::Deadband), "3");
    EXPECT_EQ(fake_entry(PanelEntry::SoftStart), "1");
    EXPECT_EQ(fake_entry(PanelEntry::OutputPower), "100");
    EXPECT_TRUE(fake_checked(PanelCheck::Direction));
    EXPECT_TRUE(log.contains("par[0] = 300"));
    v[31] = 2; /* only 1 means inverted */
    update_par(v, PARAM_COUNT);
    EXPECT_FALSE(fake_checked(PanelCheck::Direction));
}

TEST_F(Packing, update_par_sets_levels_from_the_stall_times) {
    struct Case {
        int32_t t1, t2, t3;
        bool on1, on2, on3;
        int zero_power; /* level whose power shows "0", 0 for none */
    };
    const Case cases[] = {
        {3, 0, 0, true, false, false, 2}, {0, 5, 5, false, false, false, 1}, {3, 5, 0, true, true, false, 3},
        {3, 5, 7, true, true, true, 0},   {3, 0, 7, true, false, false, 2},
    };
    const PanelEntry powers[] = {PanelEntry::Stall1Power, PanelEntry::Stall2Power, PanelEntry::Stall3Power};
    for (const Case& c : cases) {
        fake_panel_reset();
        int32_t v[PARAM_COUNT];
        memcpy(v, defaultValues, sizeof v);
        v[8] = c.t1;
        v[36] = c.t2;
        v[37] = c.t3;
        v[10] = v[11] = v[12] = 9;
        update_par(v, PARAM_COUNT);
        const bool on[] = {c.on1, c.on2, c.on3};
        for (int l = 0; l < 3; ++l) {
            EXPECT_EQ(fake_panel().checked[l], on[l]) << c.t1 << c.t2 << c.t3 << " level " << l + 1;
            EXPECT_EQ(fake_panel().level_shown[l], on[l]) << c.t1 << c.t2 << c.t3 << " level " << l + 1;
            EXPECT_EQ(fake_entry(powers[l]), c.zero_power == l + 1 ? "0" : "9") << c.t1 << c.t2 << c.t3;
        }
        EXPECT_TRUE(fake_panel().enabled[0]);
        EXPECT_EQ(fake_panel().enabled[1], c.on1);
        EXPECT_EQ(fake_panel().enabled[2], c.on2);
    }
}

/* ---- getParametersFromUI ---- */

TEST_F(Packing, panel_is_read_back_with_level_and_power_rules) {
    update_par(defaultValues, PARAM_COUNT);
    parameterValues[43] = 99; /* a kept row comes from the working values */
    fake_entry(PanelEntry::Gain) = "abc";
    fake_entry(PanelEntry::Stall1Time) = "250";
    fake_entry(PanelEntry::Stall2Time) = "199";
    fake_entry(PanelEntry::Stall3Time) = "900";
    fake_entry(PanelEntry::Stall1Power) = "4";
    fake_entry(PanelEntry::Stall2Power) = "5";
    fake_entry(PanelEntry::Stall3Power) = "6";
    fake_checked(PanelCheck::Level1) = fake_checked(PanelCheck::Level2) = fake_checked(PanelCheck::Level3) = true;
    fake_checked(PanelCheck::Direction) = false;
    EXPECT_EQ(getParametersFromUI(), 46);
    EXPECT_EQ(paramArray[0], 0);
    EXPECT_EQ(paramArray[8], 2);
    EXPECT_EQ(paramArray[36], 1);
    EXPECT_EQ(paramArray[37], 9);
    EXPECT_EQ(paramArray[10], 4);
    EXPECT_EQ(paramArray[12], 6);
    EXPECT_EQ(paramArray[31], 0);
    EXPECT_EQ(paramArray[43], 99);
    EXPECT_EQ(paramArray[2], 2000);
    EXPECT_TRUE(log.contains("[Debug] paramArray[43] =  99"));

    fake_entry(PanelEntry::Stall2Time) = "99"; /* rounds down to 0: levels 2 and 3 go off */
    getParametersFromUI();
    EXPECT_EQ(paramArray[36], 0);
    EXPECT_EQ(paramArray[37], 0);
    EXPECT_EQ(paramArray[10], 4);
    EXPECT_EQ(paramArray[11], 0);
    EXPECT_EQ(paramArray[12], 0);

    fake_checked(PanelCheck::Level1) = false; /* level 1 off: every time and power is 0 */
    fake_entry(PanelEntry::Stall2Time) = "500";
    getParametersFromUI();
    EXPECT_EQ(paramArray[8], 0);
    EXPECT_EQ(paramArray[36], 0);
    EXPECT_EQ(paramArray[10], 0);
}
