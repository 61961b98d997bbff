#include "HandleTable.h"

#include <unordered_map>

namespace tolvik {

namespace {

struct HandleTable {
    std::mutex mutex;
    std::unordered_map<std::uint32_t, std::shared_ptr<HandleRecord>> live;
    std::uint32_t next = 1;
};

HandleTable& Table()
{
    static HandleTable table;
    return table;
}

}  // namespace

std::uint32_t CreateHandle(std::unique_ptr<CAttributeList> list,
                           std::optional<FileFingerprint> fingerprint)
{
    auto record = std::make_shared<HandleRecord>();
    record->rows = list->rows;
    record->columns = list->columns;
    record->list = std::move(list);
    record->fingerprint = std::move(fingerprint);

    HandleTable& table = Table();
    std::lock_guard<std::mutex> lock(table.mutex);
    // Tokens count up and skip 0 and any token still live after a wrap-around.
    for (std::uint64_t tries = 0; tries <= 0xFFFFFFFFull; ++tries) {
        std::uint32_t token = table.next++;
        if (token == 0 || table.live.count(token))
            continue;
        table.live.emplace(token, std::move(record));
        return token;
    }
    return 0;
}

std::shared_ptr<HandleRecord> FindHandle(std::uint32_t token)
{
    HandleTable& table = Table();
    std::lock_guard<std::mutex> lock(table.mutex);
    auto it = table.live.find(token);
    return it == table.live.end() ? nullptr : it->second;
}

std::shared_ptr<HandleRecord> ReleaseHandle(std::uint32_t token)
{
    HandleTable& table = Table();
    std::lock_guard<std::mutex> lock(table.mutex);
    auto it = table.live.find(token);
    if (it == table.live.end())
        return nullptr;
    std::shared_ptr<HandleRecord> record = std::move(it->second);
    table.live.erase(it);
    return record;
}

}  // namespace tolvik
