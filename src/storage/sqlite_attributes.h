// The attributes that records name: each text of bytes is stored once, under a number made from it.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

#include "storage/sqlite_connection.h"

namespace rampart {

// On one connection; the caller holds a transaction.
class SqliteAttributes {
public:
    explicit SqliteAttributes(SqliteConnection& connection) : m_connection(connection) {}

    // The id of these bytes, which are stored if they are new; 0 for none.
    int64_t IdOf(const std::string& bytes);
    // kNotFound if there are none of that id.
    std::string Read(int64_t id);

private:
    SqliteConnection& m_connection;
    std::unordered_map<std::string, int64_t> m_known;  // of this transaction
};

}  // namespace rampart
