// The exports that need no file handler: identification, new tables, cell
// access, discarding a table, and the extension settings.
#include <cstring>

#include "../core/AttributeList.h"
#include "../textfile/Charset.h"
#include "../textfile/Platform.h"
#include "Frame.h"
#include "HandleTable.h"
#include "tolvik32.h"

using namespace tolvik;

namespace {

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
    if (!record.list)
        return false;
    if (col >= record.columns)
        return false;
    index = static_cast<std::uint32_t>(row) * record.columns + col;
    const std::uint32_t count = record.list->Count();
    return count != 0 && index <= count - 1;
}

// Runs `use` on the live table behind `handle`, locked; 0 for a null, closed
// or unknown handle.
template <class Use>
std::int32_t WithTable(const std::uint32_t* handle, Use use)
{
    return TableExport(kFalse, [&]() {
        if (!handle || *handle == 0)
            return kFalse;
        std::shared_ptr<HandleRecord> record = FindHandle(*handle);
        if (!record)
            return kFalse;
        std::lock_guard<std::mutex> lock(record->mutex);
        return record->list ? use(*record) : kFalse;
    });
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
    // A table that could not be made leaves no handle; the result is -1 all
    // the same, as hosts have always seen it.
    return TableExport(kTrue, [&]() {
        if (handle)
            *handle = 0;
        const std::uint16_t rowCount = rows ? *rows : 0;
        const std::uint16_t colCount = cols ? *cols : 0;
        auto list = std::make_unique<CAttributeList>(kTableCapacity);
        // The product is taken as a signed 32-bit number, as hosts have always
        // seen it: a product past 2^31 asks for no cells at all.
        const auto cells =
            static_cast<std::int32_t>(static_cast<std::uint32_t>(rowCount) * colCount);
        // Cells beyond the capacity are refused; the overflow box says so once.
        for (std::int32_t i = 0; i < cells; ++i)
            list->AddAttribute(kEmptyCell);
        list->rows = rowCount;
        list->columns = colCount;
        if (handle)
            *handle = CreateHandle(std::move(list));
        return kTrue;
    });
}

TOLVIK_API int32_t TOLVIK_CALL IntpGetAttrValue(uint32_t* handle, uint16_t* row, uint16_t* col,
                                                char* value, uint16_t* length)
{
    if (!row || !col || !value)
        return kFalse;
    return WithTable(handle, [&](HandleRecord& record) {
        const CAttributeList& list = *record.list;

        // A table that holds a text body answers with the whole text.
        if (!list.FirstText().empty()) {
            const std::string& first = list.FirstText();
            const std::string& second = list.SecondText();
            std::memcpy(value, first.data(), first.size());
            std::memcpy(value + first.size(), second.c_str(), second.size() + 1);
            if (length)
                *length = static_cast<std::uint16_t>(first.size() + second.size());
            return kTrue;
        }

        std::uint32_t index = 0;
        if (!CellIndex(record, *row, *col, index))
            return kFalse;
        const std::string_view cell = *list.GetAttribute(static_cast<int>(index), -1);
        if (cell == kEmptyCell) {
            std::memcpy(value, kEmptyCellForHost, sizeof kEmptyCellForHost);
            if (length)
                *length = 3;
            return kFalse;
        }
        if (!cell.empty())
            std::memcpy(value, cell.data(), cell.size());
        value[cell.size()] = '\0';
        if (length)
            *length = static_cast<std::uint16_t>(cell.size());
        return kTrue;
    });
}

TOLVIK_API int32_t TOLVIK_CALL IntpSetAttrValue(uint32_t* handle, uint16_t* row, uint16_t* col,
                                                char* value)
{
    if (!row || !col)
        return kFalse;
    return WithTable(handle, [&](HandleRecord& record) {
        CAttributeList& list = *record.list;

        // The row just past the end grows the table by one row before anything
        // is checked, so a call with a bad column still adds the row.
        if (*row == record.rows) {
            list.AddAttributes(static_cast<int>(record.columns), nullptr);
            ++list.rows;
            ++record.rows;
        }
        std::uint32_t index = 0;
        if (!CellIndex(record, *row, *col, index) || !value)
            return kFalse;
        list.SetAttribute(index,
                          IsEmptyCellText(value) ? std::string(kEmptyCell) : std::string(value));
        return kTrue;
    });
}

TOLVIK_API int32_t TOLVIK_CALL IntpCloseRead(uint32_t* handle)
{
    return TableExport(kFalse, [&]() {
        if (!handle || *handle == 0)
            return kFalse;
        std::shared_ptr<HandleRecord> record = ReleaseHandle(*handle);
        if (!record)
            return kFalse;
        *handle = 0;
        return kTrue;
    });
}

TOLVIK_API void TOLVIK_CALL TolvikSetMessageHook(TolvikMessageHook hook)
{
    SetMessageHook(hook);
}

TOLVIK_API int32_t TOLVIK_CALL TolvikSetCodePages(uint32_t oem, uint32_t ansi)
{
    return SetCodePages(oem, ansi) ? kTrue : kFalse;
}

static_assert(TOLVIK_OPTION_DETECT_CONFLICTS == kDetectConflicts);

TOLVIK_API int32_t TOLVIK_CALL TolvikSetOptions(uint32_t options)
{
    return SetOptions(options) ? kTrue : kFalse;
}

TOLVIK_API int32_t TOLVIK_CALL TolvikGetDiagnostic(uint32_t level, uint32_t field, uint32_t index,
                                                   char* buffer, uint32_t size)
{
    return TableExport(kFalse, [&]() -> std::int32_t {
        const Diagnostic* d = LastDiagnostic();
        bool record = true;  // the level is a whole record, not a message
        for (; d && level > 0; --level) {
            record = d->innerRecord;
            d = d->inner.get();
        }
        if (!d)
            return kFalse;
        std::string text;
        switch (field) {
            case TOLVIK_FIELD_CODE:
                if (!record)
                    return kFalse;
                text = CodeText(d->code);
                break;
            case TOLVIK_FIELD_FILE:
                text = d->file;
                break;
            case TOLVIK_FIELD_EXPECTED:
                if (index >= d->expected.size())
                    return kFalse;
                text = d->expected[index];
                break;
            case TOLVIK_FIELD_TOKEN:
                if (!d->located)
                    return kFalse;
                text = d->token;
                break;
            case TOLVIK_FIELD_LINE:
                if (!d->located)
                    return kFalse;
                text = std::to_string(d->line);
                break;
            default:
                return kFalse;
        }
        if (buffer && size > 0) {
            const std::size_t n = text.size() < size - 1 ? text.size() : size - 1;
            std::memcpy(buffer, text.data(), n);
            buffer[n] = '\0';
        }
        constexpr std::size_t kLargest = 0x7FFFFFFE;
        return static_cast<std::int32_t>((text.size() < kLargest ? text.size() : kLargest) + 1);
    });
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
