#include "ErrorRecord.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace tolvik {

std::string BuildErrorRecord(std::string_view code, std::string_view arg1, std::string_view arg2,
                             std::string_view arg3, std::string_view arg4)
{
    std::string record;
    record.reserve(code.size() + arg1.size() + arg2.size() + arg3.size() + arg4.size() + 5);
    record += code;
    for (std::string_view arg : {arg1, arg2, arg3, arg4}) {
        record += kSeparator;
        record += arg.substr(0, kMaxRecordArgument);
    }
    record += kSeparator;
    return record;
}

long NumberInBuffer(const char* buffer)
{
    if (!buffer)
        return 0;
    // As atol on the 32-bit platform hosts were written for: out-of-range
    // numbers stop at the 32-bit limits on every platform.
    long long value = std::strtoll(buffer, nullptr, 10);
    if (value > INT32_MAX)
        value = INT32_MAX;
    if (value < INT32_MIN)
        value = INT32_MIN;
    return static_cast<long>(value);
}

void WriteErrorRecord(char* buffer, std::string_view code, std::string_view arg1,
                      std::string_view arg2, std::string_view arg3, std::string_view arg4)
{
    if (!buffer)
        return;
    const std::string record = BuildErrorRecord(code, arg1, arg2, arg3, arg4);
    std::memcpy(buffer, record.c_str(), record.size() + 1);
}

}  // namespace tolvik
