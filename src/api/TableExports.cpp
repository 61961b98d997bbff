// The exports that need no file handler: identification, new tables, cell
// access, discarding a table, and the two extension settings.
#include <cstring>

#include "../textfile/Charset.h"
#include "../textfile/Platform.h"
#include "AttributeList.h"
#include "HandleTable.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

constexpr std::int32_t kTrue = -1;
constexpr std::int32_t kFalse = 0;
constexpr char kEmptyCellForHost[] = "...";

bool IsEmptyCellText(const char* value)
{
    return EqualsNoCase(value, kEmptyCellForHost);
}

// Cell index for (row, col), or false when the column or the index is out of
// range. The row count itself is not consulted.
bool CellIndex(const HandleRecord& record, std::uint16_t row, std::uint16_t col,
               std::uint32_t& index)
{
    if (col >= record.columns)
        return false;
    index = static_cast<std::uint32_t>(row) * record.columns + col;
    const std::uint32_t count = record.list->Count();
    return count != 0 && index <= count - 1;
}

}  // namespace

extern "C" {

TOLVIK_API int32_t TOLVIK_CALL TolvikDLLIDRequest(char* name, uint8_t* info)
{
    static constexpr char kName[] = "Tolvik File Management Library";
    if (name)
        std::memcpy(name, kName, sizeof kName);
    if (info) {
        info[4] = 1;
        info[5] = 0;
        info[6] = 1;
        const std::uint32_t version = 10;  // little-endian, unaligned
        info[7] = static_cast<uint8_t>(version & 0xFF);
        info[8] = static_cast<uint8_t>((version >> 8) & 0xFF);
        info[9] = static_cast<uint8_t>((version >> 16) & 0xFF);
        info[10] = static_cast<uint8_t>((version >> 24) & 0xFF);
        info[11] = 1;
        info[12] = 0;
    }
    return kTrue;
}

TOLVIK_API int32_t TOLVIK_CALL IntpOpenWrite(uint32_t* handle, uint16_t* rows, uint16_t* cols)
{
    const std::uint16_t rowCount = rows ? *rows : 0;
    const std::uint16_t colCount = cols ? *cols : 0;
    auto list = std::make_unique<CAttributeList>(kTableCapacity);
    // The product is taken as a signed 32-bit number, as hosts have always seen
    // it: a product past 2^31 asks for no cells at all.
    const auto cells = static_cast<std::int32_t>(static_cast<std::uint32_t>(rowCount) * colCount);
    if (cells > 0) {
        // Cells beyond the capacity are each refused with the overflow box.
        for (std::int32_t i = 0; i < cells; ++i)
            list->AddAttribute(kEmptyCell);
    }
    list->rows = rowCount;
    list->columns = colCount;
    if (handle)
        *handle = CreateHandle(std::move(list));
    return kTrue;
}

TOLVIK_API int32_t TOLVIK_CALL IntpGetAttrValue(uint32_t* handle, uint16_t* row, uint16_t* col,
                                                char* value, uint16_t* length)
{
    if (!handle || *handle == 0 || !row || !col || !value)
        return kFalse;
    std::shared_ptr<HandleRecord> record = FindHandle(*handle);
    if (!record)
        return kFalse;
    std::lock_guard<std::mutex> lock(record->mutex);
    const CAttributeList& list = *record->list;

    // A table that holds a text body answers with the whole text.
    if (!list.FirstText().empty()) {
        const std::string text = list.FirstText() + list.SecondText();
        std::memcpy(value, text.c_str(), text.size() + 1);
        if (length)
            *length = static_cast<std::uint16_t>(text.size());
        return kTrue;
    }

    std::uint32_t index = 0;
    if (!CellIndex(*record, *row, *col, index))
        return kFalse;
    const std::string& cell = *list.GetAttribute(static_cast<int>(index), -1);
    if (cell == kEmptyCell) {
        std::memcpy(value, kEmptyCellForHost, sizeof kEmptyCellForHost);
        if (length)
            *length = 3;
        return kFalse;
    }
    std::memcpy(value, cell.c_str(), cell.size() + 1);
    if (length)
        *length = static_cast<std::uint16_t>(cell.size());
    return kTrue;
}

TOLVIK_API int32_t TOLVIK_CALL IntpSetAttrValue(uint32_t* handle, uint16_t* row, uint16_t* col,
                                                char* value)
{
    if (!handle || *handle == 0 || !row || !col)
        return kFalse;
    std::shared_ptr<HandleRecord> record = FindHandle(*handle);
    if (!record)
        return kFalse;
    std::lock_guard<std::mutex> lock(record->mutex);
    CAttributeList& list = *record->list;

    // The row just past the end grows the table by one row before anything is
    // checked, so a call with a bad column still adds the row.
    if (*row == record->rows) {
        list.AddAttributes(static_cast<int>(record->columns), nullptr);
        ++list.rows;
        ++record->rows;
    }
    std::uint32_t index = 0;
    if (!CellIndex(*record, *row, *col, index) || !value)
        return kFalse;
    list.SetAttribute(index, IsEmptyCellText(value) ? std::string(kEmptyCell) : std::string(value));
    return kTrue;
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseRead(uint32_t* handle)
{
    if (!handle || *handle == 0)
        return kFalse;
    std::shared_ptr<HandleRecord> record = ReleaseHandle(*handle);
    if (!record)
        return kFalse;
    *handle = 0;
    return kTrue;
}

TOLVIK_API void TOLVIK_CALL TolvikSetMessageHook(TolvikMessageHook hook)
{
    SetMessageHook(hook);
}

TOLVIK_API int32_t TOLVIK_CALL TolvikSetCodePages(uint32_t oem, uint32_t ansi)
{
    return SetCodePages(oem, ansi) ? kTrue : kFalse;
}

#if defined(_WIN32)
// The message-filter entry that hosts of the original extension library look
// up; it has nothing to filter.
TOLVIK_API int32_t TOLVIK_CALL _FilterDllMsg(void* /*message*/)
{
    return 0;
}
#endif

}  // extern "C"
