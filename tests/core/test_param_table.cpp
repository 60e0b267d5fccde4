/* The parameter table: its rows place every parameter in the 35-byte block. */
#include "params/param_table.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(ParamTable, rows_are_in_index_order_and_lookup_refuses_other_indices) {
    for (int i = 0; i < PARAM_COUNT; ++i) {
        EXPECT_EQ(parameterTable[i].index, i);
        EXPECT_EQ(params_table_row(i), &parameterTable[i]);
    }
    EXPECT_EQ(params_table_row(-1), nullptr);
    EXPECT_EQ(params_table_row(46), nullptr);
}

TEST(ParamTable, unnamed_slots_carry_null_and_their_defaults) {
    const int rows[] = {9, 17, 19, 24, 26, 33, 38, 42, 45};
    const int defaults[] = {13, 0, 0, 0, 0, 0, 1, 1, 1};
    int nulls = 0;
    for (const ParameterDescriptor& r : parameterTable)
        nulls += strcmp(r.name, "NULL") == 0;
    EXPECT_EQ(nulls, 9);
    for (int k = 0; k < 9; ++k) {
        EXPECT_STREQ(parameterTable[rows[k]].name, "NULL") << rows[k];
        EXPECT_EQ(parameterTable[rows[k]].defaultValue, defaults[k]) << rows[k];
    }
}

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
    EXPECT_TRUE(params_table_uses_byte(34));
    EXPECT_FALSE(params_table_uses_byte(35));
}

TEST(ParamTable, shared_bytes_are_the_known_ones) {
    int users[PARAM_BLOCK_BYTES] = {};
    for (const ParameterDescriptor& r : parameterTable)
        for (int k = 0; k < r.byteCount; ++k)
            ++users[params_row_byte(r, k)];
    const int shared[] = {15, 16, 19, 20, 21, 24, 25, 26, 27, 28, 32, 34};
    int n = 0;
    for (int b = 0; b < PARAM_BLOCK_BYTES; ++b)
        n += users[b] > 1;
    EXPECT_EQ(n, 12);
    for (int b : shared)
        EXPECT_GT(users[b], 1) << b;
}
