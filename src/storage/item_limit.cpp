#include "storage/item_limit.h"

#include <sstream>

#include "storage/name_folding.h"
#include "storage/server_path.h"
#include "storage/storage_error.h"
#include "storage/task_text.h"

namespace rampart {
namespace {

constexpr std::string_view kServerPathKey = "RETURN_ServerPath=";

std::string Folded(std::string_view path) {
    std::string folded = FoldCase(path);
    return folded.ends_with('\\') ? folded : folded + '\\';
}

}  // namespace

ItemLimit::ItemLimit(Catalog& catalog, int64_t most, bool isPaid)
    : m_catalog(catalog), m_most(most), m_isPaid(isPaid), m_isNear(catalog.RecordBound() >= most) {
    if (!m_isNear) {
        return;  // the usual case costs nothing
    }
    std::istringstream rows(m_catalog.QueryTasks("", false));
    for (std::string line; std::getline(rows, line);) {
        if (line.starts_with(kServerPathKey)) {
            line.erase(0, kServerPathKey.size());
            while (line.ends_with('\r') || line.ends_with('\n')) {
                line.pop_back();
            }
            const std::string path = PercentDecode(line);
            m_tasks.emplace(Folded(path), Hold{path});
        }
    }
}

void ItemLimit::Add(std::string_view folder, std::string_view name) {
    const std::string place = m_isNear ? Folded(folder) : std::string();
    for (auto& [task, hold] : m_tasks) {
        if (!place.starts_with(task)) {
            continue;
        }
        StoredRecord known;
        try {
            m_catalog.FindRecord(JoinServerPath(folder, name), known);
        } catch (const StorageError& error) {
            if (error.code() != kNotFound) {
                throw;
            }
            ++hold.added;
            continue;
        }
        if ((known.flags & kRecordGone) != 0) {
            ++hold.added;
        }
    }
}

void ItemLimit::Require() const {
    for (const auto& [task, hold] : m_tasks) {
        if (hold.added > 0 && CountItems(hold.path, m_most - hold.added) > m_most - hold.added) {
            throw StorageError(m_isPaid ? kItemLimit : kFreeItemLimit,
                               ServiceCodeText(m_isPaid ? kItemLimit : kFreeItemLimit));
        }
    }
}

// Counts no further than one more than `enough`.
int64_t ItemLimit::CountItems(const std::string& path, int64_t enough) const {
    int64_t count = 0;
    try {
        m_catalog.ListTree(
            path, [&](const std::string&, const StoredRecord& folder, std::span<const StoredRecord> records) {
                if ((folder.flags & kRecordGone) == 0) {
                    for (const StoredRecord& record : records) {
                        count += (record.flags & kRecordGone) == 0 ? 1 : 0;
                    }
                }
                return count <= enough;
            });
    } catch (const StorageError& error) {
        if (error.code() != kNotFound) {
            throw;
        }
    }
    return count;
}

}  // namespace rampart
