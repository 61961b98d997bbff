#include "Diagnostic.h"

#include <algorithm>
#include <array>

namespace tolvik {

namespace {

// A message never grows past this; a longer token or list is cut short.
constexpr std::size_t kMaxMessage = 2047;

// Appends `item` and the separator, shortening `item` so the message stays
// within its limit.
void AppendItem(std::string& message, std::string_view item)
{
    const std::size_t room = message.size() < kMaxMessage ? kMaxMessage - message.size() : 0;
    if (room == 0)
        return;
    message += item.substr(0, room - 1);
    message += kSeparator;
}

}  // namespace

Diagnostic Diagnostic::NotOpened(ResultCode code, std::string file)
{
    Diagnostic d;
    d.code = code;
    d.file = std::move(file);
    return d;
}

Diagnostic Diagnostic::Finding(std::string file)
{
    Diagnostic d;
    d.file = std::move(file);
    d.message = true;
    return d;
}

std::string Diagnostic::MessageText() const
{
    std::string text = file;
    text += kSeparator;
    for (const std::string& item : expected)
        AppendItem(text, item);
    if (located) {
        AppendItem(text, token);
        AppendItem(text, std::to_string(line));
    }
    return text;
}

std::string Diagnostic::RecordText() const
{
    if (code == ResultCode::kOk || code == ResultCode::kNoRequest)
        return BuildRecord(code);
    if (inner)
        return BuildRecord(code, file, innerRecord ? inner->RecordText() : inner->MessageText());
    if (message)
        return BuildRecord(code, MessageText());
    return BuildRecord(code, file);
}

std::string_view CodeText(ResultCode code)
{
    switch (code) {
        case ResultCode::kOk:
            return "0";
        case ResultCode::kContent:
            return "2";
        case ResultCode::kNoAccess:
            return "3";
        case ResultCode::kMissing:
            return "4";
        case ResultCode::kWrongKind:
            return "5";
        case ResultCode::kNoRequest:
            return "101";
    }
    return "2";
}

std::string BuildRecord(ResultCode code, std::string_view arg1, std::string_view arg2,
                        std::string_view arg3, std::string_view arg4)
{
    const std::string_view codeText = CodeText(code);
    std::array<std::string_view, 4> args = {arg1, arg2, arg3, arg4};
    const std::size_t fixed = codeText.size() + args.size() + 1;  // code and five separators
    const std::size_t room = kMaxRecord - 1 - fixed;
    std::size_t total = 0;
    for (std::string_view arg : args)
        total += arg.size();
    if (total > room) {
        // The largest share every argument may keep: short arguments stay
        // whole, and what they leave is shared by the long ones.
        std::array<std::size_t, 4> sizes{};
        for (std::size_t i = 0; i < args.size(); ++i)
            sizes[i] = args[i].size();
        std::sort(sizes.begin(), sizes.end());
        std::size_t left = room;
        std::size_t share = 0;
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            share = left / (sizes.size() - i);
            if (sizes[i] > share)
                break;
            left -= sizes[i];
            share = sizes[i];
        }
        for (std::string_view& arg : args)
            arg = arg.substr(0, share);
    }
    std::string record;
    record.reserve(fixed + std::min(total, room));
    record += codeText;
    for (std::string_view arg : args) {
        record += kSeparator;
        record += arg;
    }
    record += kSeparator;
    return record;
}

}  // namespace tolvik
