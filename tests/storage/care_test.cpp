// Vaults that lost their catalog, got an older one back, or whose packs are damaged: what is marked, what is
// made anew, and that nothing intact is ever cut or written over.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "storage/vault_files.h"

namespace rampart::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CareTest : public VaultTest {
protected:
    void FlipByte(const std::string& relative, std::streamoff offset) {
        std::fstream file(folder.Path(relative), std::ios::in | std::ios::out | std::ios::binary);
        file.seekg(offset);
        const char byte = static_cast<char>(file.get() ^ 0x40);
        file.seekp(offset);
        file.put(byte);
    }
    void Store(const std::string& path, uint32_t seed, size_t bytes = 20'000) {
        ExpectOk(StoreFile(*service, path, NoiseOf(bytes, seed), 7'000));
    }
    // Each change of the catalog is copied, whenever the vault is closed.
    void ReopenWithSnapshots() {
        VaultOptions options;
        options.snapshotEverySeconds = 0;
        Reopen(options);
    }
    void RemoveCatalog() {
        service.reset();
        for (const char* const name : {"catalog.db", "catalog.db-wal", "catalog.db-shm"}) {
            std::filesystem::remove(folder.Path("vault/" + std::string(name)));
        }
    }
    void KeepCatalog(const std::string& name) {
        service.reset();
        std::filesystem::copy_file(folder.Path("vault/catalog.db"), folder.Path(name));
    }
    void PutCatalogBack(const std::string& name) {
        RemoveCatalog();
        std::filesystem::copy_file(folder.Path(name), folder.Path("vault/catalog.db"));
    }
    std::map<std::string, std::string> Packs() const {
        std::map<std::string, std::string> packs;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path("vault/packs"))) {
            const std::string name = PathText(entry.path().filename());
            packs[name] = folder.Read("vault/packs/" + name);
        }
        return packs;
    }
    RepairReport Repair() {
        service.reset();
        RepairReport report;
        ExpectOk(EmbeddedService::Repair(Vault(), {}, report));
        return report;
    }
    VerifyReport Verify(bool readData = false) {
        VerifyOptions options;
        options.readData = readData;
        VerifyReport report;
        const ServiceResult result = service->Verify(options, report);
        EXPECT_EQ(result.code, report.problemCount > 0 ? kVaultDamaged : kOk) << result.message;
        return report;
    }
    uint32_t FlagsOf(const std::string& path) {
        StoredRecord record;
        ExpectOk(service->FindRecord(path, record));
        return record.flags;
    }
    bool Knows(const std::string& content) {
        std::string buffer;
        const Digest digest = EncodeChunk(content, buffer).digest;
        std::vector<uint8_t> known;
        ExpectOk(service->HasChunks({&digest, 1}, known));
        return known.at(0) != 0;
    }
    int64_t PackBytes() {
        ServiceStatistics statistics;
        ExpectOk(service->Statistics(statistics));
        return statistics.packBytes;
    }
};

TEST_F(CareTest, ACatalogThatIsLostIsMadeAnewFromItsCopyAndThePacks) {
    ReopenWithSnapshots();
    MakeFolder(*service, "\\docs");
    Store("\\docs\\old", 1);
    ExpectOk(service->SetSetting("Key", "value"));
    ReopenWithSnapshots();
    {
        // Killed before it could copy the catalog: what follows the copy is in no record.
        VaultOptions options;
        options.snapshotEverySeconds = 1'000'000;
        Reopen(options);
        Store("\\docs\\new", 2);
    }
    RemoveCatalog();
    std::unique_ptr<EmbeddedService> none;
    EXPECT_THAT(EmbeddedService::Open(Vault(), {}, none).message, HasSubstr("rampart vault repair"));
    EXPECT_EQ(EmbeddedService::Create(Vault()).code, kVaultDamaged);

    const RepairReport report = Repair();
    EXPECT_EQ(report.base, RepairReport::kSnapshot);
    EXPECT_TRUE(report.changed);
    EXPECT_TRUE(report.lostRecords);
    EXPECT_EQ(report.files, 1);
    EXPECT_EQ(report.folders, 1);
    EXPECT_EQ(report.chunks, 6);
    EXPECT_EQ(report.filesLacking, 0);
    Reopen();
    ExpectSound(*service);
    ExpectContent(*service, "\\docs\\old", NoiseOf(20'000, 1));
    std::string value;
    ExpectOk(service->GetSetting("Key", value));
    EXPECT_EQ(value, "value");
    // The content of the record that is lost is there: the next backup sends none of it.
    const int64_t bytes = PackBytes();
    Store("\\docs\\new", 2);
    EXPECT_EQ(PackBytes(), bytes);
    ExpectContent(*service, "\\docs\\new", NoiseOf(20'000, 2));
    ExpectSound(*service);
}

TEST_F(CareTest, WithoutAnyCopyTheContentIsKeptAndTheDamagedCatalogIsSetAside) {
    Store("\\a", 1);
    RemoveCatalog();
    std::filesystem::remove_all(folder.Path("vault/snapshots"));
    const std::string rubbish(50'000, 'r');
    folder.Write("vault/catalog.db", rubbish);
    const auto packs = Packs();
    const RepairReport report = Repair();
    EXPECT_EQ(report.base, RepairReport::kNothing);
    EXPECT_EQ(report.newChunks, 3);
    EXPECT_EQ(report.setAside, "catalog.db.damaged-1");
    EXPECT_EQ(folder.Read("vault/catalog.db.damaged-1"), rubbish);
    EXPECT_EQ(Packs(), packs);
    Reopen();
    EXPECT_THAT(TreeOf(*service), IsEmpty());
    const int64_t bytes = PackBytes();
    Store("\\a", 1);
    EXPECT_EQ(PackBytes(), bytes);
    ExpectSound(*service);
}

TEST_F(CareTest, ADamagedCopyIsPassedOverForTheOneBefore) {
    for (uint32_t i = 0; i < 3; ++i) {
        ReopenWithSnapshots();
        Store("\\" + std::to_string(i), i);
    }
    service.reset();
    std::vector<std::string> copies;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path("vault/snapshots"))) {
        if (entry.path().extension() == ".catalog") {
            copies.push_back(PathText(entry.path().filename()));
        }
    }
    std::sort(copies.begin(), copies.end());
    ASSERT_EQ(copies.size(), 3u);
    FlipByte("vault/snapshots/" + copies.back(), 300);
    RemoveCatalog();
    const RepairReport report = Repair();
    EXPECT_EQ(report.base, RepairReport::kSnapshot);
    EXPECT_TRUE(report.lostRecords);
    EXPECT_EQ(report.files, 2);
    Reopen();
    ExpectSound(*service);
}

TEST_F(CareTest, FilesWhoseContentIsInNoPackAreNamedAndSentAgain) {
    ReopenWithSnapshots();
    Store("\\whole", 1);
    Store("\\torn", 2);
    service.reset();
    const auto size = std::filesystem::file_size(folder.Path("vault/packs/0000000001.pack"));
    std::filesystem::resize_file(folder.Path("vault/packs/0000000001.pack"), size - 100);
    RemoveCatalog();
    const RepairReport report = Repair();
    EXPECT_THAT(report.lacking, ElementsAre("\\torn"));
    Reopen();
    EXPECT_EQ(FlagsOf("\\torn") & kRecordDamaged, kRecordDamaged);
    EXPECT_EQ(FlagsOf("\\whole") & kRecordDamaged, 0u);
    Store("\\torn", 2);
    EXPECT_EQ(FlagsOf("\\torn") & kRecordDamaged, 0u);
    ExpectSound(*service);
}

TEST_F(CareTest, ACopyIsMadeOnlyWhenSomethingChangedAndFewStay) {
    const auto names = [&] {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path("vault/snapshots"))) {
            found.push_back(PathText(entry.path().filename()));
        }
        return found;
    };
    for (uint32_t i = 0; i < 6; ++i) {
        ReopenWithSnapshots();
        Store("\\" + std::to_string(i), i);
        service.reset();
        ReopenWithSnapshots();
        ExpectSound(*service);
    }
    service.reset();
    const auto kept = names();
    // The newest three, which are also those of this day, and the note of how far the vault has come.
    EXPECT_EQ(kept.size(), 4u) << testing::PrintToString(kept);
    EXPECT_THAT(kept, Contains("0000000006.catalog"));
}

TEST_F(CareTest, AnOlderCatalogIsToldNothingIsCutAndRepairMakesItGood) {
    Store("\\a", 1);
    KeepCatalog("older.db");
    Reopen();
    Store("\\b", 2);
    ExpectOk(service->Delete(std::vector<std::string>{"\\a"}, {}));
    PutCatalogBack("older.db");
    const auto packs = Packs();

    Reopen();
    ExpectContent(*service, "\\a", NoiseOf(20'000, 1));
    EXPECT_THAT(Verify().problems, ElementsAre(AllOf(HasSubstr("older"), HasSubstr("rampart vault repair"))));
    const ServiceResult refused = StoreFile(*service, "\\c", NoiseOf(20'000, 3), 7'000);
    EXPECT_EQ(refused.code, kVaultDamaged);
    EXPECT_THAT(refused.message, HasSubstr("rampart vault repair"));
    service.reset();
    EXPECT_EQ(Packs(), packs);

    const RepairReport report = Repair();
    EXPECT_EQ(report.base, RepairReport::kCatalog);
    EXPECT_TRUE(report.lostRecords);
    EXPECT_EQ(report.newChunks, 3);
    EXPECT_EQ(Packs(), packs);
    Reopen();
    ExpectSound(*service);
    const int64_t bytes = PackBytes();
    Store("\\b", 2);
    EXPECT_EQ(PackBytes(), bytes);
    ExpectSound(*service);
    EXPECT_FALSE(Repair().changed);
}

TEST_F(CareTest, APackThatTheCatalogDoesNotKnowIsToldAndNeverWrittenOver) {
    VaultOptions small;
    small.packLimit = 15'000;
    Reopen(small);
    Store("\\a", 1);
    KeepCatalog("older.db");
    Reopen(small);
    Store("\\b", 2, 60'000);
    PutCatalogBack("older.db");
    // As in a vault whose note was lost, too.
    std::filesystem::remove_all(folder.Path("vault/snapshots"));
    const auto packs = Packs();
    EXPECT_GT(packs.size(), 3u);
    Reopen(small);
    EXPECT_THAT(Verify().problems, Contains(HasSubstr("does not know packs/")));
    Store("\\c", 3, 60'000);
    ExpectContent(*service, "\\c", NoiseOf(60'000, 3));
    service.reset();
    for (const auto& [name, bytes] : packs) {
        EXPECT_TRUE(folder.Read("vault/packs/" + name).starts_with(bytes)) << name;
    }
    Repair();
    Reopen(small);
    ExpectSound(*service);
    const int64_t bytes = PackBytes();
    Store("\\b", 2, 60'000);
    EXPECT_EQ(PackBytes(), bytes);
}

TEST_F(CareTest, AForeignFileInThePlaceOfAPackIsLeftAlone) {
    folder.Write("vault/packs/0000000001.pack", "a letter that somebody keeps here, of all places");
    Store("\\a", 1);
    EXPECT_EQ(folder.Read("vault/packs/0000000001.pack"), "a letter that somebody keeps here, of all places");
    ExpectContent(*service, "\\a", NoiseOf(20'000, 1));
    ExpectSound(*service);
}

TEST_F(CareTest, EntriesBehindAGapInATailAreKept) {
    Store("\\a", 1);
    KeepCatalog("older.db");
    Reopen();
    const auto begin = static_cast<std::streamoff>(Packs().begin()->second.size());
    Store("\\b", 2);
    PutCatalogBack("older.db");
    std::filesystem::remove_all(folder.Path("vault/snapshots"));
    FlipByte("vault/packs/0000000001.pack", begin + 200);
    const auto packs = Packs();
    Reopen();
    Store("\\c", 3);
    service.reset();
    EXPECT_TRUE(Packs().begin()->second.starts_with(packs.begin()->second));
    Reopen();
    EXPECT_FALSE(Knows(NoiseOf(20'000, 2).substr(0, 7'000)));
    EXPECT_TRUE(Knows(NoiseOf(20'000, 2).substr(7'000, 7'000)));
    ExpectSound(*service);
}

TEST_F(CareTest, RepairWaitsForNobodyWhoMayWrite) {
    Store("\\a", 1);
    RepairReport report;
    const ServiceResult refused = EmbeddedService::Repair(Vault(), {}, report);
    EXPECT_EQ(refused.code, kConnectionFailed);
    EXPECT_THAT(refused.message, HasSubstr("in use"));
    service.reset();
    ExpectOk(EmbeddedService::Repair(Vault(), {}, report));
    EXPECT_FALSE(report.changed);
    EXPECT_EQ(report.setAside, "");
}

TEST_F(CareTest, DamageIsMarkedNamedByFileSentAgainAndHealed) {
    MakeFolder(*service, "\\docs");
    Store("\\docs\\good", 1);
    Store("\\docs\\bad", 2);
    int64_t id = 0;
    ExpectOk(service->CopyFile("\\docs\\bad", "\\", "version", id));
    // In the second of the three chunks of "bad".
    FlipByte("vault/packs/0000000001.pack", 16 + 20'000 + 3 * 64 + 64 + 7'000 + 64 + 500);
    const std::string damaged = NoiseOf(20'000, 2).substr(7'000, 7'000);
    EXPECT_TRUE(Knows(damaged));
    int64_t before = 0;
    ExpectOk(service->ChangeSequence(before));

    const VerifyReport found = Verify(true);
    EXPECT_THAT(found.problems, testing::UnorderedElementsAre(HasSubstr("\\docs\\bad: chunk"),
                                                              HasSubstr("\\version: chunk")));
    for (const std::string path : {"\\docs\\bad", "\\version"}) {
        EXPECT_EQ(FlagsOf(path) & kRecordDamaged, kRecordDamaged) << path;
    }
    EXPECT_EQ(FlagsOf("\\docs\\good") & kRecordDamaged, 0u);
    std::vector<std::string> folders;
    bool tooMany = false;
    int64_t after = 0;
    ExpectOk(service->ChangedFolders(before, 10, folders, tooMany, after));
    EXPECT_THAT(folders, testing::UnorderedElementsAre("\\docs", "\\"));
    // Also without reading the data, until it is mended.
    EXPECT_EQ(Verify().problemCount, 2);

    EXPECT_FALSE(Knows(damaged));
    EXPECT_TRUE(Knows(NoiseOf(20'000, 2).substr(0, 7'000)));
    Store("\\elsewhere", 2);
    for (const std::string path : {"\\docs\\bad", "\\version", "\\elsewhere"}) {
        EXPECT_EQ(FlagsOf(path) & kRecordDamaged, 0u) << path;
        ExpectContent(*service, path, NoiseOf(20'000, 2));
    }
    ExpectSound(*service);
    Reopen();
    ExpectSound(*service);
}

TEST_F(CareTest, DamageThatAReaderMeetsIsMarkedAndACommitOverItIsRefused) {
    Store("\\bad", 2);
    FileCommit prepared;
    ExpectOk(SendContent(*service, "\\later", NoiseOf(20'000, 2), prepared, 7'000));
    FlipByte("vault/packs/0000000001.pack", 16 + 64 + 500);
    std::string content;
    EXPECT_EQ(FetchFile(*service, "\\bad", content).code, kContentDamaged);
    EXPECT_EQ(FlagsOf("\\bad") & kRecordDamaged, kRecordDamaged);
    // What was asked before the mark is to be asked again.
    std::vector<int64_t> ids;
    EXPECT_EQ(service->CommitFiles({&prepared, 1}, ids).code, kContentMissing);
    Store("\\later", 2);
    ExpectContent(*service, "\\bad", NoiseOf(20'000, 2));
    EXPECT_EQ(FlagsOf("\\bad") & kRecordDamaged, 0u);

    // A reader that may not write tells of it and leaves no mark.
    VaultOptions readOnly;
    readOnly.readOnly = true;
    FlipByte("vault/packs/0000000001.pack", 16 + 64 + 7'000 + 64 + 500);
    Reopen(readOnly);
    EXPECT_EQ(Verify(true).problemCount, 2);
    EXPECT_EQ(FlagsOf("\\bad") & kRecordDamaged, 0u);
}

TEST_F(CareTest, AFileInThePlaceOfThePacksIsAFailureAndNotATakenName) {
    service.reset();
    std::filesystem::remove_all(folder.Native("vault/packs"));
    folder.Write("vault/packs", "no folder");
    service = OpenVault(Vault());
    ServiceStatistics before;
    ExpectOk(service->Statistics(before));
    EXPECT_EQ(StoreFile(*service, "\\a", "content").code, kFailed);
    ServiceStatistics after;
    ExpectOk(service->Statistics(after));
    EXPECT_LE(after.packs, before.packs + 1) << "no pack after the other is begun";
    EXPECT_EQ(folder.Read("vault/packs"), "no folder");
}

TEST_F(CareTest, AMarkGoesWhenTheBytesAreBack) {
    Store("\\a", 1);
    FlipByte("vault/packs/0000000001.pack", 16 + 64 + 500);
    EXPECT_EQ(Verify(true).problemCount, 1);
    EXPECT_NE(FlagsOf("\\a") & kRecordDamaged, 0u);
    FlipByte("vault/packs/0000000001.pack", 16 + 64 + 500);
    EXPECT_EQ(Verify(true).problemCount, 0);
    EXPECT_EQ(FlagsOf("\\a") & kRecordDamaged, 0u);
    EXPECT_EQ(Verify().problemCount, 0);
}

}  // namespace
}  // namespace rampart::test
