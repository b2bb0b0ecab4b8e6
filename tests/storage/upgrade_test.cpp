// Vaults of the first format: read as they are, taken over by the first writer, and left whole on the way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "storage/vault_files.h"

namespace rampart::test {
namespace {

// What the present format has beside the first one, taken away again.
constexpr char kBackToFormat1[] = R"sql(
ALTER TABLE record DROP COLUMN touched;
ALTER TABLE record DROP COLUMN attribute;
ALTER TABLE record DROP COLUMN gone;
DROP TABLE attribute;
DROP TABLE damaged;
DROP TABLE past;
PRAGMA user_version=1;
)sql";

class UpgradeTest : public VaultTest {
protected:
    void SetUp() override {
        VaultTest::SetUp();
        MakeFolder(*service, "\\docs");
        ExpectOk(StoreFile(*service, "\\docs\\letter", "dear reader"));
        service.reset();
        Execute(kBackToFormat1);
    }
    void Execute(const char* sql) {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(folder.Native("vault/catalog.db").c_str(), &database), SQLITE_OK);
        char* message = nullptr;
        EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, &message), SQLITE_OK) << message;
        sqlite3_close(database);
    }
    int64_t Version() {
        sqlite3* database = nullptr;
        EXPECT_EQ(sqlite3_open(folder.Native("vault/catalog.db").c_str(), &database), SQLITE_OK);
        int64_t version = 0;
        sqlite3_exec(
            database, "PRAGMA user_version",
            [](void* result, int, char** values, char**) {
                *static_cast<int64_t*>(result) = std::atoll(values[0]);
                return 0;
            },
            &version, nullptr);
        sqlite3_close(database);
        return version;
    }
};

TEST_F(UpgradeTest, AReaderReadsTheFirstFormatAndLeavesIt) {
    VaultOptions options;
    options.readOnly = true;
    Reopen(options);
    ExpectContent(*service, "\\docs\\letter", "dear reader");
    StoredRecord record;
    ExpectOk(service->FindRecord("\\docs\\letter", record));
    EXPECT_EQ(record.changeTime, kNoTime);
    EXPECT_EQ(record.attributes, 0);
    ExpectSound(*service);
    service.reset();
    EXPECT_EQ(Version(), 1);
}

TEST_F(UpgradeTest, TheFirstWriterTakesTheVaultOver) {
    Reopen();
    ExpectContent(*service, "\\docs\\letter", "dear reader");
    const AttributeCommit commit{"\\docs", "letter", 0, kNoTime, 77, "rights"};
    ExpectOk(service->SetAttributes({&commit, 1}));
    ExpectSound(*service);
    // A second process that had looked at the version before.
    ExpectContent(*OpenVault(Vault()), "\\docs\\letter", "dear reader");
    service.reset();
    EXPECT_EQ(Version(), 2);
}

}  // namespace
}  // namespace rampart::test
