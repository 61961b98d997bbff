#include <gtest/gtest.h>

#include "textfile/Charset.h"
#include "textfile/SourceFile.h"

using namespace tolvik;

namespace {

// A text in memory is OEM on the way in and on the way out: a line copied
// through comes out with the bytes it went in with.
TEST(SourceFileInMemory, ACopiedLineKeepsItsOemBytes)
{
    ASSERT_TRUE(SetCodePages(437, 1252));
    CSourceFile text("{Strings\n  ; gr\x81n \x84\n}", true, kWrite, false);
    text.ReadLine();
    const std::string asRead = text.lineBuffer;
    text.CopyCurrentLine();
    SetCodePages(0, 0);
    EXPECT_EQ(asRead, "  ; gr\xfcn \xe4\n");
    EXPECT_EQ(text.outputText, "  ; gr\x81n \x84\n");
}

}  // namespace
