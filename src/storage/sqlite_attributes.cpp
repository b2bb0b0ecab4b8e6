#include "storage/sqlite_attributes.h"

#include "storage/digest.h"
#include "storage/storage_error.h"

namespace rampart {

int64_t SqliteAttributes::IdOf(const std::string& bytes) {
    if (bytes.empty()) {
        return 0;
    }
    const auto [known, isNew] = m_known.try_emplace(bytes, 0);
    if (!isNew) {
        return known->second;
    }
    int64_t id = ShortName(bytes);
    SqliteStatement insert = m_connection.Prepare("INSERT OR IGNORE INTO attribute(id, bytes) VALUES(?, ?)");
    SqliteStatement query = m_connection.Prepare("SELECT bytes FROM attribute WHERE id=?");
    // A number that other bytes have taken already leads on to the next one.
    for (;; id = static_cast<int64_t>(static_cast<uint64_t>(id) + 1)) {
        if (id == 0) {
            continue;
        }
        insert.Bind(1, id).BindBlob(2, bytes).Run();
        query.Bind(1, id);
        const bool ours = query.Step() && query.Bytes(0) == bytes;
        query.Reset();
        if (ours) {
            return known->second = id;
        }
    }
}

std::string SqliteAttributes::Read(int64_t id) {
    SqliteStatement query = m_connection.Prepare("SELECT bytes FROM attribute WHERE id=?");
    query.Bind(1, id);
    if (!query.Step()) {
        throw StorageError(kNotFound, "no attributes " + std::to_string(id));
    }
    return std::string(query.Bytes(0));
}

}  // namespace rampart
