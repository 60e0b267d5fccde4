/* The parameter table: its rows place every parameter in the 35-byte block. */
#include "params/param_table.h"

#include <gtest/gtest.h>

#include <vector>

TEST(ParamTable, rows_are_in_index_order_and_lookup_refuses_other_indices) {
    for (int i = 0; i < PARAM_COUNT; ++i)
        EXPECT_EQ(params_table_row(i), &parameterTable[i]) << i;
    EXPECT_EQ(params_table_row(-1), nullptr);
    EXPECT_EQ(params_table_row(46), nullptr);
}

TEST(ParamTable, every_bit_of_the_block_belongs_to_exactly_one_row_and_only_the_known_bytes_are_shared) {
    uint8_t covered[PARAM_BLOCK_BYTES] = {};
    int users[PARAM_BLOCK_BYTES] = {};
    for (const ParameterDescriptor& r : parameterTable) {
        EXPECT_EQ(r.index, &r - parameterTable);
        for (int k = 0; k < r.byteCount; ++k) {
            const int b = params_row_byte(r, k);
            ASSERT_LT(b, PARAM_BLOCK_BYTES);
            EXPECT_EQ(covered[b] & params_row_mask(r, k), 0) << "row " << r.index << " overlaps in byte " << b;
            covered[b] = static_cast<uint8_t>(covered[b] | params_row_mask(r, k));
            ++users[b];
        }
    }
    std::vector<int> shared;
    for (int b = 0; b < PARAM_BLOCK_BYTES; ++b) {
        EXPECT_EQ(covered[b], 0xFF) << "byte " << b;
        if (users[b] > 1) shared.push_back(b);
    }
    EXPECT_EQ(shared, (std::vector<int>{15, 16, 19, 20, 21, 24, 25, 26, 27, 28, 32, 34}));
    EXPECT_TRUE(params_table_uses_byte(34));
    EXPECT_FALSE(params_table_uses_byte(35));
}
