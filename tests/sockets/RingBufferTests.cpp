#include "RingBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

TEST(RingBuffer, BytesKeepTheirOrderAtEveryPlaceOfTheWrap) {
    constexpr std::size_t kCapacity = 7;
    for (std::size_t start = 0; start < kCapacity; ++start) {
        for (std::size_t size = 0; size <= kCapacity; ++size) {
            RingBuffer ring(kCapacity);
            const std::string lead = std::string(start, '-') + "+";
            ASSERT_TRUE(ring.Write(lead.data(), lead.size()) && ring.Remove(start));
            const std::string bytes = std::string("abcdefg").substr(0, std::min(size, kCapacity - 1));
            ASSERT_TRUE(ring.Write(bytes.data(), bytes.size()));
            EXPECT_EQ(ring.GetFree(), kCapacity - 1 - bytes.size());
            std::string taken(bytes.size() + 1, '\0');
            ASSERT_TRUE(ring.Read(taken.data(), taken.size()));
            EXPECT_EQ(taken, "+" + bytes) << "start " << start;
            EXPECT_EQ(ring.GetLength(), 0U);
        }
    }
}

TEST(RingBuffer, WhatDoesNotFitOrIsNotThereChangesNothing) {
    RingBuffer ring(4);
    char taken[5] = {};
    EXPECT_TRUE(ring.Write("abc", 3));
    EXPECT_FALSE(ring.Write("de", 2));
    EXPECT_FALSE(ring.Read(taken, 4));
    EXPECT_FALSE(ring.Remove(4));
    EXPECT_TRUE(ring.Read(taken, 3));
    EXPECT_STREQ(taken, "abc");
}

}  // namespace
