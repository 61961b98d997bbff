// The table interface exactly as a host sees it: only tolvik32.h and the library.
#include <cstring>
#include <thread>

#include "CapiSupport.h"

namespace {

using namespace tolvik::test;

class TableExports : public HostTable {
protected:
    void Open(uint16_t rowCount, uint16_t columnCount)
    {
        ASSERT_EQ(NewTable(rowCount, columnCount), -1);
        ASSERT_NE(handle, 0u);
    }
    // Result and text of one cell.
    std::pair<int32_t, std::string> Get(uint16_t row, uint16_t col)
    {
        char value[128] = "untouched";
        uint16_t length = 999;
        int32_t result = IntpGetAttrValue(&handle, &row, &col, value, &length);
        if (result || std::strcmp(value, "...") == 0) {
            EXPECT_EQ(length, std::strlen(value));
        }
        return {result, value};
    }

    ShownBoxes boxes;
};

TEST_F(TableExports, IdentificationBytes)
{
    char name[64];
    uint8_t info[16];
    std::memset(info, 0xEE, sizeof info);
    EXPECT_EQ(TolvikDLLIDRequest(name, info), -1);
    EXPECT_STREQ(name, "Tolvik File Management Library");
    const uint8_t expected[16] = {0xEE, 0xEE, 0xEE, 0xEE, 1, 0,    1,    10,
                                  0,    0,    0,    1,    0, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(std::memcmp(info, expected, sizeof expected), 0);
}

TEST_F(TableExports, NewTableIsEmptyCellsReadAsDots)
{
    Open(2, 3);
    EXPECT_EQ(Get(1, 2), std::make_pair(0, std::string("...")));
    EXPECT_EQ(Put(1, 2, "Pump1"), -1);
    EXPECT_EQ(Get(1, 2), std::make_pair(-1, std::string("Pump1")));
    EXPECT_EQ(Put(1, 2,
                  ".."
                  "."),
              -1);
    EXPECT_EQ(Get(1, 2), std::make_pair(0, std::string("...")));
    EXPECT_EQ(Put(0, 0, ""), -1);  // the empty string is a value, not an empty cell
    EXPECT_EQ(Get(0, 0), std::make_pair(-1, std::string("")));
}

TEST_F(TableExports, DotsEmptyACellWhateverTheirCase)
{
    Open(1, 1);
    Set(0, 0, "x");
    // "..." has no letters, so only its exact form qualifies.
    EXPECT_EQ(Put(0, 0, "...."), -1);
    EXPECT_EQ(Get(0, 0).second, "....");
    EXPECT_EQ(Put(0, 0, "..."), -1);
    EXPECT_EQ(Get(0, 0).first, 0);
}

struct Bound {
    uint16_t row, col;
    int32_t result;
};
class TableBounds : public TableExports, public ::testing::WithParamInterface<Bound> {};

TEST_P(TableBounds, GetAndSetCheckColumnThenIndex)
{
    Open(2, 3);  // six cells
    const Bound b = GetParam();
    // A new cell reads as "..."; a refused get leaves the buffer alone.
    EXPECT_EQ(Get(b.row, b.col), std::make_pair(0, std::string(b.result ? "..." : "untouched")));
    EXPECT_EQ(Put(b.row, b.col, "v"), b.result);
    EXPECT_EQ(Get(b.row, b.col).first, b.result);
}

INSTANTIATE_TEST_SUITE_P(Cells, TableBounds,
                         ::testing::Values(Bound{0, 0, -1}, Bound{1, 2, -1},
                                           // column equal to `columns`, though index 3 exists
                                           Bound{0, 3, 0}, Bound{0, 65535, 0},
                                           // index past the last cell
                                           Bound{3, 0, 0}, Bound{65535, 2, 0}));

TEST_F(TableExports, SetOnRowPastEndAddsExactlyOneRowEvenWithBadColumn)
{
    Open(2, 3);
    EXPECT_EQ(Put(2, 3, "x"), 0);        // bad column, but row 2 now exists
    EXPECT_EQ(Get(2, 2).second, "...");  // and is empty
    EXPECT_EQ(Put(2, 1, "y"), -1);       // row 2 is no longer past the end
    EXPECT_EQ(Get(3, 0).first, 0);       // no row 3 was added
    EXPECT_EQ(Put(4, 0, "z"), 0);        // two past the end: refused, nothing added
    EXPECT_EQ(Put(3, 0, "w"), -1);
    EXPECT_EQ(Get(3, 0).second, "w");
}

TEST_F(TableExports, EmptyTableRejectsEveryIndexButGrows)
{
    Open(0, 2);
    EXPECT_EQ(Get(0, 0).first, 0);
    EXPECT_EQ(Put(0, 1, "a"), -1);
    EXPECT_EQ(Get(0, 1).second, "a");
    uint32_t none = 0;
    uint16_t r = 0, c = 0;
    EXPECT_EQ(IntpSetAttrValue(&none, &r, &c, const_cast<char*>("x")), 0);
}

TEST_F(TableExports, OverflowShowsOneBoxPerCallAndKeepsCounts)
{
    ASSERT_EQ(NewTable(10001, 10), -1);  // 100010 cells asked, 100000 fit
    ASSERT_NE(handle, 0u);
    ASSERT_EQ(boxes.List().size(), 1u);
    EXPECT_EQ(boxes.List()[0],
              "Internal error in CAttributeList::AddAttribute. List overflow!|Tolvik32.DLL|16");
    EXPECT_EQ(Get(9999, 9).first, 0);  // the last cell that fit
    EXPECT_EQ(Put(9999, 9, "end"), -1);
    EXPECT_EQ(Put(10000, 0, "x"), 0);  // counted, but never stored
    // The row just past the counted rows still grows the table, with a box.
    EXPECT_EQ(Put(10001, 0, "x"), 0);
    EXPECT_EQ(boxes.List().size(), 2u);
    // A thousand by a thousand asks once, not 900000 times.
    IntpCloseRead(&handle);
    ASSERT_EQ(NewTable(1000, 1000), -1);
    EXPECT_EQ(boxes.List().size(), 3u);
}

TEST_F(TableExports, ProductPastSignedRangeAsksForNoCells)
{
    ASSERT_EQ(NewTable(65535, 65535), -1);
    EXPECT_TRUE(boxes.List().empty());
    EXPECT_EQ(Get(0, 0).first, 0);
}

TEST_F(TableExports, StaleAndDoubleClosedHandlesAreRefused)
{
    Open(1, 1);
    uint32_t stale = handle;
    EXPECT_EQ(IntpCloseRead(&handle), -1);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(IntpCloseRead(&handle), 0);  // null handle
    EXPECT_EQ(IntpCloseRead(&stale), 0);   // closed token
    uint16_t r = 0, c = 0;
    char value[16];
    EXPECT_EQ(IntpGetAttrValue(&stale, &r, &c, value, &r), 0);
    EXPECT_EQ(IntpSetAttrValue(&stale, &r, &c, value), 0);
    uint32_t never = 0xDEADBEEF;
    EXPECT_EQ(IntpCloseRead(&never), 0);
    EXPECT_EQ(never, 0xDEADBEEFu);

    // A new table never gets the old token back.
    Open(1, 1);
    EXPECT_NE(handle, stale);
}

TEST_F(TableExports, CodePagePairs)
{
    EXPECT_EQ(TolvikSetCodePages(437, 1252), -1);
    EXPECT_EQ(TolvikSetCodePages(850, 1252), -1);
    EXPECT_EQ(TolvikSetCodePages(1252, 437), 0);
    EXPECT_EQ(TolvikSetCodePages(0, 0), -1);
}

TEST_F(TableExports, HandlesWorkFromSeveralThreads)
{
    std::vector<std::thread> threads;
    std::vector<int> failures(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &failures] {
            for (int i = 0; i < 200; ++i) {
                uint32_t h = 0;
                uint16_t rows = 3, cols = 3, r = 1, c = 2, len = 0;
                IntpOpenWrite(&h, &rows, &cols);
                std::string text = std::to_string(t * 1000 + i);
                char out[32];
                if (IntpSetAttrValue(&h, &r, &c, text.data()) != -1 ||
                    IntpGetAttrValue(&h, &r, &c, out, &len) != -1 || text != out ||
                    IntpCloseRead(&h) != -1)
                    ++failures[t];
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures, std::vector<int>(4, 0));
}

}  // namespace
