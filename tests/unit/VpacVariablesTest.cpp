#include "sections/VpacVariablesParser.h"

#include <gtest/gtest.h>

#include "SectionTestSupport.h"

using namespace tolvik;
using namespace tolvik::test;

namespace {

class VpacVariablesFile : public ::testing::TestWithParam<std::string> {};
TEST_P(VpacVariablesFile, Case)
{
    RunCase<CVpacVariablesParser>("vars", GetParam());
}
INSTANTIATE_TEST_SUITE_P(Vars, VpacVariablesFile, ::testing::ValuesIn(CaseNames("vars")),
                         CaseTestName);

TEST(VpacVariables, AStoredVpacStubReadsBackIntoTheRowsThatWroteIt)
{
    ExpectStubCycle(RenderVpacStub, ReadVpacStub, "R|A|0|1.5|c\nI|B( 3 )|3|1, 2|\nx|C|11|...|\n",
                    "{Variables\n  R A               = 1.5   ; c\n  I B( 3 )          = 1, 2\n"
                    "  x C\n}\n",
                    "{Variables\n}\n");
}

TEST(VpacVariables, ABareEmbeddedTextIsFramedBeforeItIsRead)
{
    EXPECT_EQ(WrapVpacStub("  R A\n"), "{ Variables \n  R A\n\n}");
    EXPECT_EQ(WrapVpacStub("{Variables\n  R A\n}\n"), "{Variables\n  R A\n}\n");
    std::unique_ptr<CAttributeList> read;
    std::string message;
    ASSERT_TRUE(ReadVpacStub("  R A\n  I B", read, message)) << Visible(message);
    EXPECT_EQ(Dump(read.get()), "R|A|0|...|\nI|B|3|...|\n");
}

}  // namespace
