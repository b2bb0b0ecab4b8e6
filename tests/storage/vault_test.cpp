// Places that are no vault, and several services on one vault.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "storage/vault_files.h"

namespace rampart::test {
namespace {

using testing::HasSubstr;

ServiceResult OpenResult(const std::string& folder) {
    std::unique_ptr<EmbeddedService> service;
    return EmbeddedService::Open(folder, {}, service);
}

TEST_F(VaultTest, PlacesThatAreNoVaultAreNamed) {
    TempFolder place;
    const auto expect = [&](const std::string& name, int code, const std::string& text) {
        const ServiceResult result = OpenResult(place.Native(name));
        EXPECT_EQ(result.code, code) << name;
        EXPECT_THAT(result.message, testing::AllOf(HasSubstr(text), HasSubstr(place.Native(name)))) << name;
    };
    place.Write("file", "x");
    place.Write("empty/", "");
    place.Write("lost/packs/0000000001.pack", "x");
    place.Write("begun/catalog.db", "");
    expect("missing", kVaultMissing, "there is no folder");
    expect("file", kInvalidRequest, "is a file");
    expect("empty", kVaultMissing, "is not a vault");
    expect("lost", kVaultDamaged, "its packs are untouched");
    place.Write("emptied/catalog.db", "");
    place.Write("emptied/packs/0000000001.pack", "x");
    expect("begun", kVaultMissing, "never finished");
    for (const std::string name : {"lost", "emptied"}) {
        expect(name, kVaultDamaged, "rampart vault repair");
        const ServiceResult made = EmbeddedService::Create(place.Native(name));
        EXPECT_EQ(made.code, kVaultDamaged) << name;
        EXPECT_THAT(made.message, HasSubstr("rampart vault repair"));
        EXPECT_EQ(place.Read(name + "/packs/0000000001.pack"), "x");
        EXPECT_EQ(place.Read(name + "/catalog.db"), "");
    }
    EXPECT_EQ(OpenResult("").code, kInvalidRequest);
}

TEST_F(VaultTest, NewerVaultAndForeignDatabaseAreLeftAlone) {
    service.reset();
    const auto execute = [&](const char* sql) {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(folder.Native("vault/catalog.db").c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(database);
    };
    execute("PRAGMA user_version=99");
    EXPECT_EQ(OpenResult(Vault()).code, kVaultNewer);
    EXPECT_THAT(OpenResult(Vault()).message, HasSubstr("99"));
    execute("PRAGMA application_id=5");
    EXPECT_EQ(OpenResult(Vault()).code, kVaultMissing);
}

TEST_F(VaultTest, CreatingSparesWhatIsThere) {
    EXPECT_EQ(EmbeddedService::Create(Vault()).code, kNameTaken);
    folder.Write("docs/letter.txt", "dear");
    EXPECT_EQ(EmbeddedService::Create(folder.Native("docs")).code, kNameTaken);
    EXPECT_EQ(EmbeddedService::Create(folder.Native("docs/letter.txt")).code, kNameTaken);
    EXPECT_EQ(folder.Read("docs/letter.txt"), "dear");
    folder.Write("begun/catalog.db", "");
    ExpectOk(EmbeddedService::Create(folder.Native("begun/")));
    ExpectOk(EmbeddedService::Create(folder.Native("new/and deep")));
    ExpectOk(StoreFile(*OpenVault(folder.Native("new/and deep/")), "\\a", "x"));
}

TEST_F(VaultTest, StateSurvivesReopening) {
    ExpectOk(StoreFile(*service, "\\a", "content"));
    ExpectOk(service->SetSetting("Key", "värde"));
    ExpectOk(service->Logon("me", ""));
    const std::string customer = service->Session().customerId;
    int64_t before = 0;
    ExpectOk(service->ChangeSequence(before));
    Reopen();
    ExpectContent(*service, "\\a", "content");
    std::string value;
    ExpectOk(service->GetSetting("Key", value));
    EXPECT_EQ(value, "värde");
    ExpectOk(service->Logon("me", ""));
    EXPECT_EQ(service->Session().customerId, customer);
    int64_t after = 0;
    ExpectOk(service->ChangeSequence(after));
    EXPECT_EQ(after, before);
}

TEST_F(VaultTest, EachServiceSeesWhatTheOtherDid) {
    const auto other = OpenVault(Vault());
    int64_t mine = 0;
    int64_t theirs = 0;
    for (int i = 0; i < 3; ++i) {
        ExpectOk(StoreFile(*other, "\\theirs" + std::to_string(i), NoiseOf(1000, static_cast<uint32_t>(i))));
        ExpectOk(
            StoreFile(*service, "\\mine" + std::to_string(i), NoiseOf(1000, 10u + static_cast<uint32_t>(i))));
        ExpectOk(service->ChangeSequence(mine));
        ExpectOk(other->ChangeSequence(theirs));
        EXPECT_EQ(mine, theirs);
        ExpectContent(*other, "\\mine" + std::to_string(i), NoiseOf(1000, 10u + static_cast<uint32_t>(i)));
    }
    EXPECT_EQ(TreeOf(*service), TreeOf(*other));
    ExpectSound(*service);
}

TEST_F(VaultTest, ListenerMayUseTheServiceWhileItIsListed) {
    ExpectOk(StoreFile(*service, "\\a", "a"));
    ExpectOk(StoreFile(*service, "\\b", "b"));
    int64_t sequence = 0;
    int seen = 0;
    ExpectOk(service->ListFolder(
        "\\",
        [&](const StoredRecord& record) {
            const std::vector<std::string> path{"\\" + record.name};
            ExpectOk(service->Delete(path, {}));
            ++seen;
            return true;
        },
        sequence));
    EXPECT_EQ(seen, 2);
    EXPECT_EQ(TreeOf(*service).size(), 0u);
}

TEST_F(VaultTest, PacksAreFilledAcrossSessions) {
    for (uint32_t i = 0; i < 5; ++i) {
        ExpectOk(StoreFile(*service, "\\" + std::to_string(i), NoiseOf(1000, i)));
        Reopen();
    }
    ServiceStatistics statistics;
    ExpectOk(service->Statistics(statistics));
    EXPECT_EQ(statistics.packs, 1);
    VaultOptions options;
    options.packLimit = 50'000;
    Reopen(options);
    ExpectOk(StoreFile(*service, "\\big", NoiseOf(300'000, 9), 20'000));
    ExpectOk(service->Statistics(statistics));
    EXPECT_EQ(statistics.packs, 5);
    ExpectSound(*service);
}

TEST_F(VaultTest, MailWaitsInTheOutbox) {
    ExpectOk(service->QueueMail("Subject: one\r\n\r\nbody"));
    ExpectOk(service->QueueMail("Subject: two\r\n\r\nbody"));
    std::vector<std::string> mails;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path("vault/outbox"))) {
        EXPECT_EQ(entry.path().extension(), ".eml");
        mails.push_back(folder.Read("vault/outbox/" + PathText(entry.path().filename())));
    }
    EXPECT_THAT(mails, testing::UnorderedElementsAre("Subject: one\r\n\r\nbody", "Subject: two\r\n\r\nbody"));
}

}  // namespace
}  // namespace rampart::test
