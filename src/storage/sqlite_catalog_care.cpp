// What keeps a catalog well: marks of damaged chunks, and copies of it.
#include "storage/sqlite_catalog.h"
#include "storage/sqlite_damage.h"
#include "storage/sqlite_schema.h"

namespace rampart {
namespace {

constexpr int kCopyCacheKibibytes = 16384;

int64_t Touched(SqliteConnection& connection, const std::vector<int64_t>& folders) {
    if (folders.empty()) {
        return 0;
    }
    SqliteTree tree(connection);
    const int64_t sequence = tree.RaiseSequence();
    for (const int64_t folder : folders) {
        tree.TouchFolder(folder, 0, sequence);
    }
    return sequence;
}

std::vector<std::string> Texts(SqliteConnection& connection, const char* sql) {
    std::vector<std::string> texts;
    SqliteStatement query = connection.Prepare(sql);
    while (query.Step()) {
        texts.emplace_back(query.Bytes(0));
    }
    return texts;
}

// "CREATE TABLE record(" becomes "CREATE TABLE copy.record(".
std::string IntoCopy(const std::string& sql, const char* kind) {
    const size_t at = sql.find(kind) + std::string_view(kind).size();
    return sql.substr(0, at) + " copy." + sql.substr(at + 1);
}

void FillCopy(SqliteConnection& connection) {
    for (const std::string& sql :
         Texts(connection,
               "SELECT sql FROM main.sqlite_master WHERE type='table' AND name NOT LIKE "
               "'sqlite^_%' ESCAPE '^'")) {
        connection.Execute(IntoCopy(sql, "TABLE").c_str());
    }
    for (const std::string& name :
         Texts(connection,
               "SELECT name FROM main.sqlite_master WHERE type='table' AND name<>'chunk' AND name "
               "NOT LIKE 'sqlite^_stat%' ESCAPE '^'")) {
        const std::string clear = "DELETE FROM copy." + name;
        const std::string fill = "INSERT INTO copy." + name + " SELECT * FROM main." + name;
        connection.Execute(clear.c_str());
        connection.Execute(fill.c_str());
    }
    for (const std::string& sql :
         Texts(connection, "SELECT sql FROM main.sqlite_master WHERE type='index' AND sql IS NOT NULL")) {
        connection.Execute(IntoCopy(sql, "INDEX").c_str());
    }
    const int64_t version = connection.Number("PRAGMA main.user_version");
    connection.Execute(("PRAGMA copy.application_id=" + std::to_string(kCatalogApplicationId) +
                        "; PRAGMA copy.user_version=" + std::to_string(version))
                           .c_str());
}

}  // namespace

int64_t SqliteCatalog::MarkDamaged(std::span<const Digest> digests) {
    return Write([&](SqliteConnection& connection) {
        return Touched(connection, SqliteDamage(connection).Mark(digests));
    });
}

int64_t SqliteCatalog::MarkSound(std::span<const Digest> digests) {
    return Write([&](SqliteConnection& connection) {
        return Touched(connection, SqliteDamage(connection).Heal(digests));
    });
}

std::vector<Digest> SqliteCatalog::DamagedChunks() {
    return Read([&](SqliteConnection& connection) {
        std::vector<Digest> digests;
        SqliteStatement query = connection.Prepare("SELECT digest FROM damaged");
        while (query.Step()) {
            const std::string_view bytes = query.Bytes(0);
            if (bytes.size() == Digest::kSize) {
                std::memcpy(digests.emplace_back().bytes.data(), bytes.data(), Digest::kSize);
            }
        }
        return digests;
    });
}

int64_t SqliteCatalog::CopyTo(const std::string& path) {
    // A connection of its own: what is attached stays with it, and its statements name the copy.
    const auto connection = Connect(kCopyCacheKibibytes);
    {
        SqliteStatement attach = connection->Prepare("ATTACH ? AS copy");
        attach.BindText(1, path).Run();
    }
    connection->Execute("PRAGMA copy.journal_mode=OFF; PRAGMA copy.synchronous=OFF; PRAGMA foreign_keys=OFF");
    SqliteTransaction transaction(*connection, SqliteTransaction::kRead);
    FillCopy(*connection);
    const int64_t sequence = SqliteTree(*connection).Sequence();
    transaction.Commit();
    return sequence;
}

}  // namespace rampart
