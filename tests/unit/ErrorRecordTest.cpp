#include "api/ErrorRecord.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(ErrorRecord, CodeThenFourArgumentsEachEndedBySeparator)
{
    EXPECT_EQ(tolvik::BuildErrorRecord("0"), std::string("0\x1a\x1a\x1a\x1a\x1a"));
    EXPECT_EQ(tolvik::BuildErrorRecord("4", "C:\\P\\X.MDL"),
              std::string("4\x1a"
                          "C:\\P\\X.MDL\x1a\x1a\x1a\x1a"));
    EXPECT_EQ(tolvik::BuildErrorRecord("2", "loc", "msg"),
              std::string("2\x1aloc\x1amsg\x1a\x1a\x1a"));
    char buffer[32];
    std::memset(buffer, 'z', sizeof buffer);
    tolvik::WriteErrorRecord(buffer, "101");
    EXPECT_STREQ(buffer, "101\x1a\x1a\x1a\x1a\x1a");
}

TEST(ErrorRecord, FlagsLeftInTheBufferReadLikeAtol)
{
    EXPECT_EQ(tolvik::NumberInBuffer("1024"), 1024);
    EXPECT_EQ(tolvik::NumberInBuffer("  1792xyz"), 1792);
    EXPECT_EQ(tolvik::NumberInBuffer("+256"), 256);
    EXPECT_EQ(tolvik::NumberInBuffer("abc"), 0);
    EXPECT_EQ(tolvik::NumberInBuffer(""), 0);
    EXPECT_EQ(tolvik::NumberInBuffer(nullptr), 0);
    // Out of the 32-bit range the number stops at the limit, whatever the
    // platform's long: 2^32 + 128 does not read as 128.
    EXPECT_EQ(tolvik::NumberInBuffer("4294967424"), 2147483647);
    EXPECT_EQ(tolvik::NumberInBuffer("-99999999999"), -2147483647 - 1);
}
