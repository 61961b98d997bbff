#include "core/AttributeList.h"

#include <gtest/gtest.h>

#include <random>
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

// Cells and their texts live in blocks; whatever is added, replaced, grown
// or removed, in whatever sizes (up to texts longer than a block, and enough
// replacements to reclaim the dead texts), each cell reads as a plain list of
// strings says it should.
TEST_F(AttributeList, CellsReadAsAPlainListOfStringsWouldHoldThem)
{
    for (unsigned seed = 0; seed < 4; ++seed) {
        std::mt19937 random(seed);
        const auto pick = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
        const auto text = [&] {
            static const std::size_t sizes[] = {0, 1, 7, 40, 1000, 70000, 200000};
            std::string t(sizes[pick(seed % 2 == 0 ? 5 : 7)], '\0');
            for (char& c : t)
                c = static_cast<char>('a' + pick(26));
            return t;
        };
        CAttributeList list(20000);
        list.columns = 2;
        std::vector<std::string> model;
        for (int step = 0; step < 1200; ++step) {
            const std::size_t action = model.empty() ? 0 : pick(10);
            if (action < 4 && model.size() < 20000) {
                model.push_back(text());
                ASSERT_EQ(list.AddAttribute(model.back()), 1u);
            } else if (action < 7) {
                const std::size_t i = pick(model.size());
                model[i] = text();
                list.SetAttribute(static_cast<std::uint32_t>(i), model[i]);
            } else if (action < 9) {
                const std::size_t i = pick(model.size());
                const std::string more = text().substr(0, 50);
                model[i] += more;
                list.AppendToAttribute(static_cast<std::uint32_t>(i), more);
            } else {
                list.rows = static_cast<std::uint32_t>(model.size() / 2);
                const std::size_t row = pick(list.rows + 1);
                if (row < list.rows)
                    model.erase(model.begin() + static_cast<std::ptrdiff_t>(2 * row),
                                model.begin() + static_cast<std::ptrdiff_t>(2 * row + 2));
                list.RemoveRow(static_cast<std::uint32_t>(row));
            }
        }
        ASSERT_EQ(list.Count(), model.size()) << "seed " << seed;
        for (std::size_t i = 0; i < model.size(); ++i)
            ASSERT_EQ(*list.GetAttribute(static_cast<int>(i), -1), model[i])
                << "seed " << seed << ", cell " << i;
    }
}

}  // namespace
