/* The parameter table's rows over the 35-byte block, and packing and unpacking between the block,
 * the working values and the panel. Expected bytes are worked out by hand from the table. */
#include "params/param_table.h"
#include "tests/core/core_test_support.h"

#include <cstring>
#include <vector>

namespace {

class Packing : public CoreFixture {
  protected:
    void SetUp() override {
        CoreFixture::SetUp();
        params_load_defaults();
        memcpy(values, params_state().defaultValues, sizeof values);
    }
    /* Packs values over the block through prepare-for-write, as a write or save does. */
    static void pack(const int32_t* v) {
        params_set_array(v, PARAM_COUNT);
        params_prepare_write(4 * PARAM_COUNT);
    }
    int32_t values[PARAM_COUNT];
};

} // namespace

TEST(ParamTable, every_bit_of_the_block_belongs_to_exactly_one_row) {
    uint8_t covered[PARAM_BLOCK_BYTES] = {};
    for (const ParameterDescriptor& r : parameterTable) {
        for (int k = 0; k < r.byteCount; ++k) {
            const int b = params_row_byte(r, k);
            ASSERT_LT(b, PARAM_BLOCK_BYTES);
            EXPECT_EQ(covered[b] & params_row_mask(r, k), 0) << "row " << r.index << " overlaps in byte " << b;
            covered[b] = static_cast<uint8_t>(covered[b] | params_row_mask(r, k));
        }
    }
    for (int b = 0; b < PARAM_BLOCK_BYTES; ++b)
        EXPECT_EQ(covered[b], 0xFF) << "byte " << b;
}

TEST_F(Packing, defaults_pack_into_the_hand_worked_block_and_not_all_of_them_unpack_back) {
    pack(params_state().defaultValues);
    servo_bytes::Bytes expected = servo_bytes::DEFAULT_BLOCK; /* the simulator's block, but: */
    expected[15] = 0x10; /* row 10's 1 << 4; row 9's 13 would go to the low nibble */
    expected[19] = 0x73; /* the deadband 3 as (3 + 2) << 4 | 3 with row 15's 6 << 4 ORed on */
    EXPECT_EQ(servo_bytes::Bytes(params_state().parmeterBuff, params_state().parmeterBuff + 35), expected);
    params_unpack(expected.data(), PARAM_COUNT);
    for (int i = 0; i < PARAM_COUNT; ++i)
        if (i != 9 && i != 15) {
            EXPECT_EQ(params_state().parameterValues[i], params_state().defaultValues[i]) << "row " << i;
        }
    EXPECT_EQ(params_state().parameterValues[9], 0);  /* the low nibble of byte 15 is never written from values */
    EXPECT_EQ(params_state().parameterValues[15], 7); /* deadband 3 + 2 with 6 ORed on top */
}

TEST_F(Packing, limits_shared_bytes_and_untouched_bits) {
    using Pairs = std::vector<std::pair<int, int32_t>>;
    struct Case {
        const char* label;
        Pairs start;  /* block bytes before packing (the rest 0) */
        Pairs change; /* rows changed from the defaults */
        Pairs expect; /* block bytes after packing */
    };
    const Case cases[] = {
        {"two-byte fields at and beyond their limits (only 16 bits fit)",
         {},
         {{2, 4096}, {4, 0}, {5, 4095}, {7, 70000}},
         {{2, 0x10}, {3, 0x00}, {6, 0x00}, {7, 0x00}, {8, 0x0F}, {9, 0xFF}, {12, 0x11}, {13, 0x70}}},
        {"deadband 14 is held at 13", {}, {{14, 14}, {15, 0}}, {{19, 0xFD}}},
        {"row 15 only adds bits to the deadband byte", {}, {{14, 0}, {15, 9}}, {{19, 0xB0}}},
        {"stall force nibbles share bytes 15 and 16; row 9 comes from the block only",
         {{15, 0x0A}, {16, 0xFF}},
         {{9, 5}, {10, 3}, {11, 0x1C}, {12, 17}},
         {{15, 0x3A}, {16, 0x1C}}},
        {"slow start 300: high part 0x20, low part from 300 x 16",
         {{24, 0x07}, {28, 0x05}},
         {{24, 0}, {34, 0}, {25, 300}},
         {{24, 0x27}, {28, 0xC5}}},
        {"byte 27 takes three fields and keeps its top bits",
         {{27, 0xC0}},
         {{30, 0x15}, {31, 0}, {32, 3}, {33, 0}},
         {{27, 0xE5}}},
        {"a cleared flag does not clear its bit; a 4-bit field takes the low 4 bits; 0xC0 field's bit 1 is bit 7",
         {{32, 0x1F}, {20, 0x30}},
         {{39, 0}, {16, 255}, {19, 2}},
         {{32, 0x1F}, {20, 0xBF}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        uint8_t start[PARAM_IMAGE_SIZE] = {};
        for (const auto& [byte, value] : c.start)
            start[byte] = static_cast<uint8_t>(value);
        params_set_block(start, PARAM_BLOCK_BYTES);
        memcpy(values, params_state().defaultValues, sizeof values);
        for (const auto& [row, value] : c.change)
            values[row] = value;
        pack(values);
        for (const auto& [byte, value] : c.expect)
            EXPECT_EQ(params_state().parmeterBuff[byte], value) << "byte " << byte;
    }
}

TEST_F(Packing, a_read_block_travels_back_unchanged_except_the_deadband_rule) {
    uint8_t ones[PARAM_IMAGE_SIZE];
    memset(ones, 0xFF, sizeof ones);
    params_set_block(ones, PARAM_BLOCK_BYTES);
    params_unpack(ones, PARAM_COUNT);
    EXPECT_EQ(params_state().parameterValues[25], 0xFF) << "slow start from its two high nibbles";
    int32_t read_back[PARAM_COUNT];
    memcpy(read_back, params_state().parameterValues, sizeof read_back);
    pack(read_back);
    for (int b = 0; b < PARAM_BLOCK_BYTES; ++b)
        EXPECT_EQ(params_state().parmeterBuff[b], b == 19 ? 0xFD : 0xFF) << "byte " << b;
}

TEST_F(Packing, update_par_shows_values_held_at_the_entry_limits) {
    values[0] = 300;
    values[5] = 5000;
    values[8] = 150;
    update_par(values, PARAM_COUNT);
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "255");
    EXPECT_EQ(fake_entry(PanelEntry::MaxAngle), "4096");
    EXPECT_EQ(fake_entry(PanelEntry::Stall1Time), "10000") << "hundredths of a second shown in ms";
    EXPECT_EQ(fake_entry(PanelEntry::OutputPower), "100");
    EXPECT_TRUE(fake_checked(PanelCheck::Direction));
    values[31] = 2; /* only 1 means inverted */
    update_par(values, PARAM_COUNT);
    EXPECT_FALSE(fake_checked(PanelCheck::Direction));
}

TEST_F(Packing, update_par_sets_levels_from_the_stall_times) {
    struct Case {
        int32_t t1, t2, t3;
        bool on[3];
        int zero_power; /* level whose power shows "0", 0 for none */
    };
    const Case cases[] = {
        {0, 5, 5, {false, false, false}, 1},
        {3, 5, 0, {true, true, false}, 3},
        {3, 5, 7, {true, true, true}, 0},
        {3, 0, 7, {true, false, false}, 2},
    };
    const PanelEntry powers[] = {PanelEntry::Stall1Power, PanelEntry::Stall2Power, PanelEntry::Stall3Power};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "times " << c.t1 << "/" << c.t2 << "/" << c.t3);
        fake_panel_reset();
        memcpy(values, params_state().defaultValues, sizeof values);
        values[8] = c.t1;
        values[36] = c.t2;
        values[37] = c.t3;
        values[10] = values[11] = values[12] = 9;
        update_par(values, PARAM_COUNT);
        for (int l = 0; l < 3; ++l) {
            EXPECT_EQ(fake_panel().checked[l], c.on[l]) << "level " << l + 1;
            EXPECT_EQ(fake_panel().level_shown[l], c.on[l]) << "level " << l + 1;
            EXPECT_EQ(fake_entry(powers[l]), c.zero_power == l + 1 ? "0" : "9") << "level " << l + 1;
        }
        EXPECT_TRUE(fake_panel().enabled[0]);
        EXPECT_EQ(fake_panel().enabled[1], c.on[0]);
        EXPECT_EQ(fake_panel().enabled[2], c.on[1]);
    }
}

TEST_F(Packing, panel_is_read_back_and_a_level_that_is_off_takes_the_later_levels_times_and_powers_with_it) {
    int32_t working[PARAM_COUNT];
    memcpy(working, params_state().defaultValues, sizeof working);
    update_par(working, PARAM_COUNT);
    working[43] = 99; /* a kept row comes from the working values */
    params_set_working(working);
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
    for (const auto& [row, value] : {std::pair<int, int32_t>{0, 0}, {31, 0}, {43, 99}, {2, 2000}})
        EXPECT_EQ(params_state().paramArray[row], value) << "row " << row;
    struct Case {
        const char* label;
        const char* time2;
        bool level1;
        int32_t t1, t2, t3, f1, f2, f3; /* rows 8, 36, 37, 10, 11, 12 */
    };
    const Case cases[] = {
        {"all levels on", "199", true, 2, 1, 9, 4, 5, 6},
        {"time 2 rounds down to 0: levels 2 and 3 off", "99", true, 2, 0, 0, 4, 0, 0},
        {"level 1 off: every time and power 0", "500", false, 0, 0, 0, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        fake_entry(PanelEntry::Stall2Time) = c.time2;
        fake_checked(PanelCheck::Level1) = c.level1;
        getParametersFromUI();
        const uint8_t zero[PARAM_IMAGE_SIZE] = {};
        params_set_block(zero, PARAM_BLOCK_BYTES);
        params_prepare_write(4 * PARAM_COUNT); /* what the servo gets */
        EXPECT_EQ(params_state().parmeterBuff[14], c.t1);
        EXPECT_EQ(params_state().parmeterBuff[30], c.t2);
        EXPECT_EQ(params_state().parmeterBuff[31], c.t3);
        EXPECT_EQ(params_state().parmeterBuff[15] >> 4, c.f1);
        EXPECT_EQ(params_state().parmeterBuff[16], c.f3 << 4 | c.f2);
    }
}
