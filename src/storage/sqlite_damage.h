// The marks of damaged chunks, and of the files that use them.
#pragma once

#include <span>
#include <vector>

#include "storage/digest.h"
#include "storage/sqlite_connection.h"

namespace rampart {

// On one connection; the caller holds a transaction. Mark and Heal walk all records, which is dear and rare.
class SqliteDamage {
public:
    explicit SqliteDamage(SqliteConnection& connection) : m_connection(connection) {}

    bool Any();
    // These give the folders whose entries changed, each once.
    std::vector<int64_t> Mark(std::span<const Digest> digests);
    std::vector<int64_t> Heal(std::span<const Digest> digests);

private:
    SqliteConnection& m_connection;
};

}  // namespace rampart
