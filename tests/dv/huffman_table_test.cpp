// The caller-built DV lookup tables: list checks and the table they give.
#include <gtest/gtest.h>

#include <vector>

#include "vekvc.h"

namespace {

TEST(DvHuffmanTable, BuildsBothLookups) {
    // Width 3: "1" -> 7, "010" -> -2. Width 1: "0" -> 5.
    const Vek32s first[] = {3, 2, 1, 0b1, 7, 3, 0b010, -2};
    const Vek32s second[] = {1, 1, 1, 0, 5};
    Vek32u* table = nullptr;
    ASSERT_EQ(vekiInitAllocHuffmanTable_DV_32u(first, second, &table), vekStsOk);
    const Vek32u e7 = 7u << 8 | 1, em2 = static_cast<Vek32u>(-2) << 8 | 3, e5 = 5u << 8 | 1;
    const std::vector<Vek32u> want = {3, 1, 0, 0, em2, 0, e7, e7, e7, e7, e5, 0};
    EXPECT_EQ(std::vector<Vek32u>(table, table + want.size()), want);

    // The segment decoder walks its own table: passing this one changes nothing.
    std::vector<Vek8u> seg(400, 0x5A);
    std::vector<Vek16s> a(64 * 30), b(64 * 30);
    std::vector<Vek32u> pa(30), pb(30);
    ASSERT_EQ(vekiHuffmanDecodeSegment_DV_8u16s(seg.data(), table, table, a.data(), pa.data()), vekStsOk);
    ASSERT_EQ(vekiHuffmanDecodeSegment_DV_8u16s(seg.data(), nullptr, nullptr, b.data(), pb.data()), vekStsOk);
    EXPECT_EQ(a, b);
    EXPECT_EQ(pa, pb);
    EXPECT_EQ(vekiFreeHuffmanTable_DV_32u(table), vekStsOk);
}

TEST(DvHuffmanTable, RejectsBadArguments) {
    const Vek32s good[] = {4, 1, 2, 0b11, 9};
    Vek32u* table = reinterpret_cast<Vek32u*>(&table);
    Vek32u* const untouched = table;
    EXPECT_EQ(vekiInitAllocHuffmanTable_DV_32u(nullptr, good, &table), vekStsNullPtrErr);
    EXPECT_EQ(vekiInitAllocHuffmanTable_DV_32u(good, nullptr, &table), vekStsNullPtrErr);
    EXPECT_EQ(vekiInitAllocHuffmanTable_DV_32u(good, good, nullptr), vekStsNullPtrErr);
    EXPECT_EQ(vekiFreeHuffmanTable_DV_32u(nullptr), vekStsNullPtrErr);
    const std::vector<std::vector<Vek32s>> bad = {
        {0, 0},            // width below 1
        {17, 0},           // width above 16
        {4, -1},           // negative count
        {4, 1, 5, 0, 1},   // code longer than the width
        {4, 1, 0, 0, 1},   // zero length
        {4, 1, 2, 4, 1},   // code does not fit its length
    };
    for (const auto& list : bad) {
        EXPECT_EQ(vekiInitAllocHuffmanTable_DV_32u(list.data(), good, &table), vekStsBadArgErr) << list[0];
        EXPECT_EQ(vekiInitAllocHuffmanTable_DV_32u(good, list.data(), &table), vekStsBadArgErr) << list[0];
    }
    EXPECT_EQ(table, untouched);
}

}  // namespace
