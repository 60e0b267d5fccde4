/* The parameter table: its rows place every parameter in the 35-byte block. */
#include "params/param_table.h"

#include <gtest/gtest.h>

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
