#include "core/AttributeList.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"

using tolvik::CAttributeList;

namespace {

class AttributeList : public ::testing::Test {
protected:
    tolvik::test::ShownBoxes boxes;

    // A rows x columns table whose cells read "r,c".
    static CAttributeList Grid(std::uint32_t rows, std::uint32_t columns)
    {
        CAttributeList list(100);
        for (std::uint32_t r = 0; r < rows; ++r)
            for (std::uint32_t c = 0; c < columns; ++c)
                list.AddAttribute(std::to_string(r) + "," + std::to_string(c));
        list.rows = rows;
        list.columns = columns;
        return list;
    }
};

TEST_F(AttributeList, RefusesPastCapacityWithOneBoxPerCell)
{
    CAttributeList list(3);
    list.AddAttributes(5, "x");
    EXPECT_EQ(list.Count(), 3u);
    EXPECT_EQ(list.AddAttribute("y"), 0u);
    ASSERT_EQ(boxes.List().size(), 3u);
    EXPECT_EQ(boxes.List()[0],
              "Internal error in CAttributeList::AddAttribute. List overflow!|Tolvik32.DLL|16");
    EXPECT_EQ(list.Count(), 3u);
}

TEST_F(AttributeList, AddAttributesIgnoresCountsBelowOneAndFillsEmptyMarker)
{
    CAttributeList list(10);
    list.AddAttributes(0, "a");
    list.AddAttributes(-5, "a");
    EXPECT_EQ(list.Count(), 0u);
    list.AddAttributes(2, nullptr);
    EXPECT_EQ(*list.GetAttribute(1, -1), "\x1a");
}

TEST_F(AttributeList, GetAttributeByFlatIndexOrRowAndColumn)
{
    CAttributeList list = Grid(3, 4);
    EXPECT_EQ(*list.GetAttribute(7, -1), "1,3");
    EXPECT_EQ(*list.GetAttribute(1, 2), "1,2");
    EXPECT_EQ(list.GetAttribute(12, -1), nullptr);  // the first unused slot
    EXPECT_EQ(list.GetAttribute(-1, -1), nullptr);
    EXPECT_EQ(list.GetAttribute(3, 0), nullptr);
}

TEST_F(AttributeList, SetAndAppendReplaceOnlyExistingCells)
{
    CAttributeList list = Grid(1, 2);
    EXPECT_EQ(list.SetAttribute(1, "new"), 1u);
    EXPECT_EQ(list.AppendToAttribute(1, "er"), 1u);
    EXPECT_EQ(*list.GetAttribute(0, 1), "newer");
    EXPECT_EQ(list.SetAttribute(2, "x"), 0u);
    EXPECT_EQ(list.AppendToAttribute(2, "x"), 0u);
    EXPECT_EQ(list.Count(), 2u);
}

TEST_F(AttributeList, RemoveRowShiftsLaterRowsUp)
{
    CAttributeList list = Grid(3, 2);
    list.RemoveRow(0);
    EXPECT_EQ(list.rows, 2u);
    EXPECT_EQ(list.Count(), 4u);
    EXPECT_EQ(*list.GetAttribute(0, 0), "1,0");
    EXPECT_EQ(*list.GetAttribute(1, 1), "2,1");
    list.RemoveRow(5);  // no such row: nothing happens
    EXPECT_EQ(list.rows, 2u);
    EXPECT_EQ(list.Count(), 4u);
}

TEST_F(AttributeList, AddTextFillsTwoBlocksBelow32000)
{
    CAttributeList list(1);
    EXPECT_EQ(list.AddText(std::string(31990, 'a')), 1u);
    EXPECT_EQ(list.AddText(std::string(10, 'b')), 1u);  // 32000 would not fit
    EXPECT_EQ(list.FirstText().size(), 31990u);
    EXPECT_EQ(list.SecondText(), std::string(10, 'b'));
    EXPECT_EQ(list.AddText(std::string(31989, 'c')), 1u);
    EXPECT_EQ(list.AddText("d"), 0u);
    EXPECT_EQ(list.SecondText().size(), 31999u);
    EXPECT_TRUE(boxes.List().empty());
}

}  // namespace
