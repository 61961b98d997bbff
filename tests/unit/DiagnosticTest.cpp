#include "core/Diagnostic.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "api/Frame.h"

using namespace tolvik;

namespace {

std::size_t Separators(const std::string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), kSeparator));
}

TEST(Diagnostic, RecordsHaveACodeAndFourArgumentsEachEndedBySeparator)
{
    EXPECT_EQ(Diagnostic().RecordText(), "0\x1a\x1a\x1a\x1a\x1a");
    EXPECT_EQ(Diagnostic::NotOpened(ResultCode::kMissing, "C:\\P\\X.MDL").RecordText(),
              "4\x1a"
              "C:\\P\\X.MDL\x1a\x1a\x1a\x1a");

    Diagnostic finding = Diagnostic::Finding("X.MDL");
    finding.code = ResultCode::kContent;
    finding.expected = {"}", "NEWLINE"};
    finding.located = true;
    finding.token = "PUMP";
    finding.line = 5;
    EXPECT_EQ(finding.RecordText(),
              "2\x1aX.MDL\x1a}\x1aNEWLINE\x1aPUMP\x1a"
              "5\x1a\x1a\x1a\x1a\x1a");

    // A stub nests the section's message, or the whole record of storing it.
    Diagnostic stub;
    stub.code = ResultCode::kContent;
    stub.file = "S in T.tse";
    stub.inner = std::make_shared<const Diagnostic>(finding);
    EXPECT_EQ(stub.RecordText(),
              "2\x1aS in T.tse\x1aX.MDL\x1a}\x1aNEWLINE\x1aPUMP\x1a"
              "5\x1a\x1a\x1a\x1a");
    stub.innerRecord = true;
    EXPECT_EQ(stub.RecordText(), "2\x1aS in T.tse\x1a" + finding.RecordText() + "\x1a\x1a\x1a");
}

TEST(Diagnostic, LongRecordsAreCutToTheBoundKeepingEveryArgumentsSeparator)
{
    const std::string longName(5000, 'n');
    // Just within the bound a record is exact; past it, the long argument is
    // cut and the record still has its code and five separators.
    const std::string fits(kMaxRecord - 1 - 6, 'f');
    EXPECT_EQ(BuildRecord(ResultCode::kMissing, fits).size(), kMaxRecord - 1);
    EXPECT_EQ(BuildRecord(ResultCode::kMissing, fits + "x").size(), kMaxRecord - 1);

    const std::string cut = BuildRecord(ResultCode::kContent, longName, "short", longName);
    EXPECT_EQ(cut.size(), kMaxRecord - 1);
    EXPECT_EQ(Separators(cut), 5u);
    EXPECT_NE(cut.find("\x1ashort\x1a"), std::string::npos);  // a short argument stays whole

    Diagnostic finding = Diagnostic::Finding(longName);
    finding.code = ResultCode::kNoAccess;
    finding.expected = {longName};
    EXPECT_LE(finding.RecordText().size(), kMaxRecord - 1);
}

TEST(Diagnostic, FlagsLeftInTheBufferReadLikeAtol)
{
    EXPECT_EQ(NumberInBuffer("1024"), 1024);
    EXPECT_EQ(NumberInBuffer("  1792xyz"), 1792);
    EXPECT_EQ(NumberInBuffer("+256"), 256);
    EXPECT_EQ(NumberInBuffer("abc"), 0);
    EXPECT_EQ(NumberInBuffer(nullptr), 0);
    // Out of the 32-bit range the number stops at the limit, whatever the
    // platform's long: 2^32 + 128 does not read as 128.
    EXPECT_EQ(NumberInBuffer("4294967424"), 2147483647);
    EXPECT_EQ(NumberInBuffer("-99999999999"), -2147483647 - 1);
}

}  // namespace
