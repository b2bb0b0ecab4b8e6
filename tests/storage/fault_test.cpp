// Disks that fail, fill up or forget, and bytes that change.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "storage/faulty_store.h"
#include "storage/vault_files.h"

namespace rampart::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class FaultTest : public VaultTest {
protected:
    void OpenWithPlan() {
        plan = std::make_shared<FaultPlan>();
        VaultOptions options;
        options.packLimit = 100'000;
        options.wrapStore = WithPlan(plan);
        Reopen(options);
    }
    std::string OnlyPack() const {
        std::vector<std::string> packs;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path("vault/packs"))) {
            packs.push_back("vault/packs/" + PathText(entry.path().filename()));
        }
        EXPECT_EQ(packs.size(), 1u);
        return packs.at(0);
    }
    void Resize(const std::string& relative, uint64_t size) {
        std::filesystem::resize_file(folder.Path(relative), size);
    }
    void FlipByte(const std::string& relative, std::streamoff offset) {
        std::fstream file(folder.Path(relative), std::ios::in | std::ios::out | std::ios::binary);
        file.seekg(offset);
        const char byte = static_cast<char>(file.get() ^ 0x40);
        file.seekp(offset);
        file.put(byte);
    }
    VerifyReport Verify(bool readData, int expected) {
        VerifyOptions options;
        options.readData = readData;
        VerifyReport report;
        EXPECT_EQ(service->Verify(options, report).code, expected);
        return report;
    }
    int CodeOfFetch(const std::string& path) {
        std::string content;
        return FetchFile(*service, path, content).code;
    }

    std::shared_ptr<FaultPlan> plan;
};

TEST_F(FaultTest, AnyCallOfTheStoreMayFailOnce) {
    for (int failing = 1; failing <= 14; ++failing) {
        OpenWithPlan();
        plan->fails = [failing](FaultPlan::Call, int number) { return number == failing; };
        int failures = 0;
        std::map<std::string, uint32_t> stored;
        for (uint32_t i = 0; i < 6; ++i) {
            const std::string path = "\\" + std::to_string(failing) + "-" + std::to_string(i);
            const auto seed = static_cast<uint32_t>(failing) * 100 + i;
            ServiceResult result = StoreFile(*service, path, NoiseOf(40'000, seed), 15'000);
            if (!result.Ok()) {
                EXPECT_EQ(result.code, kFailed);
                EXPECT_THAT(result.message, HasSubstr("injected"));
                ++failures;
                result = StoreFile(*service, path, NoiseOf(40'000, seed), 15'000);
            }
            ExpectOk(result);
            stored[path] = seed;
        }
        EXPECT_EQ(failures, 1) << "call " << failing;
        for (const auto& [path, seed] : stored) {
            ExpectContent(*service, path, NoiseOf(40'000, seed));
        }
        ExpectSound(*service);
    }
}

TEST_F(FaultTest, FailedSyncTakesBackWhatWasPutByOthersToo) {
    OpenWithPlan();
    FileCommit other;
    ExpectOk(SendContent(*service, "\\other", NoiseOf(5'000, 1), other));
    plan->fails = [](FaultPlan::Call call, int) { return call == FaultPlan::kSync; };
    EXPECT_EQ(StoreFile(*service, "\\mine", NoiseOf(5'000, 2)).code, kFailed);
    plan->fails = nullptr;
    std::vector<int64_t> ids;
    EXPECT_EQ(service->CommitFiles({&other, 1}, ids).code, kContentMissing);
    ExpectOk(StoreFile(*service, "\\other", NoiseOf(5'000, 1)));
    ExpectContent(*service, "\\other", NoiseOf(5'000, 1));
    ExpectSound(*service);
}

TEST_F(FaultTest, BytesThatWereNotMadeDurableMayVanish) {
    OpenWithPlan();
    for (uint32_t i = 0; i < 5; ++i) {
        ExpectOk(StoreFile(*service, "\\" + std::to_string(i), NoiseOf(40'000, i)));
    }
    FileCommit unfinished;
    ExpectOk(SendContent(*service, "\\unfinished", NoiseOf(9'000'000, 77), unfinished));
    const auto durable = plan->durable;
    service.reset();
    // The machine lost its power: each pack is what its last sync made of it.
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path("vault/packs"))) {
        const std::string key = "packs/" + PathText(entry.path().filename());
        const auto found = durable.find(key);
        Resize("vault/" + key, found == durable.end() ? 0 : static_cast<uint64_t>(found->second));
    }
    Reopen();
    for (uint32_t i = 0; i < 5; ++i) {
        ExpectContent(*service, "\\" + std::to_string(i), NoiseOf(40'000, i));
    }
    ExpectSound(*service);
    ExpectOk(StoreFile(*service, "\\unfinished", NoiseOf(9'000'000, 77)));
    ExpectSound(*service);
}

TEST_F(FaultTest, FullDiskLosesNothingAndTheVaultGoesOnWhenThereIsRoom) {
    const std::string disk = folder.Native("disk");
    std::filesystem::create_directory(folder.Path("disk"));
    if (std::system(("mount -t tmpfs -o size=3m tmpfs \"" + disk + "\" 2>/dev/null").c_str()) != 0) {
        GTEST_SKIP() << "no file system of limited size can be mounted here";
    }
    {
        ExpectOk(EmbeddedService::Create(disk + "/vault"));
        folder.Write("disk/ballast", std::string(1'000'000, 'b'));
        const auto full = OpenVault(disk + "/vault");
        uint32_t stored = 0;
        ServiceResult result;
        while (result.Ok() && stored < 1000) {
            result = StoreFile(*full, "\\" + std::to_string(stored), NoiseOf(50'000, stored));
            stored += result.Ok() ? 1 : 0;
        }
        EXPECT_EQ(result.code, kNoSpace) << result.message;
        EXPECT_GT(stored, 5u);
        for (uint32_t i = 0; i < stored; ++i) {
            ExpectContent(*full, "\\" + std::to_string(i), NoiseOf(50'000, i));
        }
        EXPECT_EQ(TreeOf(*full).size(), stored);
        std::filesystem::remove(folder.Path("disk/ballast"));
        ExpectOk(StoreFile(*full, "\\after", NoiseOf(200'000, 5000)));
        ExpectContent(*full, "\\after", NoiseOf(200'000, 5000));
        ExpectSound(*full);
    }
    EXPECT_EQ(std::system(("umount \"" + disk + "\"").c_str()), 0);
}

// Without one free byte, and where blocks are smaller than pages of memory, too: there what the log shares in
// memory lies in holes of its file that cannot be filled.
class FullDiskTest : public FaultTest, public testing::WithParamInterface<const char*> {
protected:
    bool Mount() {
        std::filesystem::create_directory(folder.Path("disk"));
        std::ofstream(folder.Path("image")).close();
        Resize("image", 8u << 20);
        const std::string disk = " \"" + folder.Native("disk") + "\" >/dev/null 2>&1";
        const std::string image = " \"" + folder.Native("image") + "\"";
        return std::string(GetParam()) == "tmpfs"
                   ? std::system(("mount -t tmpfs -o size=8m tmpfs" + disk).c_str()) == 0
                   : std::system(("mkfs.ext4 -q -F -m 0 -b " + std::string(GetParam()) + image + " && " +
                                  "mount -o loop" + image + disk)
                                     .c_str()) == 0;
    }
    void Unmount() { EXPECT_EQ(std::system(("umount \"" + folder.Native("disk") + "\"").c_str()), 0); }
    void FillUp() {
        for (int piece = 1 << 20; piece > 0; piece /= 2) {
            std::ofstream file(folder.Path("disk/ballast"), std::ios::binary | std::ios::app);
            while (file.write(std::string(static_cast<size_t>(piece), 'b').data(), piece).flush()) {
            }
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Disks, FullDiskTest, testing::Values("tmpfs", "4096", "1024"));

TEST_P(FullDiskTest, IsReadWithNoFreeByteAndWrittenAgainWhenThereIsRoom) {
    if (!Mount()) {
        GTEST_SKIP() << "no such file system can be made and mounted here";
    }
    const std::string vault = folder.Native("disk/vault");
    ExpectOk(EmbeddedService::Create(vault));
    ExpectOk(StoreFile(*OpenVault(vault), "\\a", NoiseOf(50'000, 1)));
    EXPECT_FALSE(folder.Exists("disk/vault/catalog.db-wal"));
    FillUp();
    for (const bool readOnly : {true, false}) {
        VaultOptions options;
        options.readOnly = readOnly;
        if (const auto full = OpenVault(vault, options)) {
            ExpectContent(*full, "\\a", NoiseOf(50'000, 1));
            EXPECT_EQ(TreeOf(*full).size(), 1u);
            ExpectSound(*full);
            EXPECT_EQ(StoreFile(*full, "\\b", NoiseOf(50'000, 2)).code, readOnly ? kVaultReadOnly : kNoSpace);
        }
    }
    // And with too little room for all of what the log shares in memory.
    for (int kibibytes = 1; kibibytes <= 48; kibibytes += 1) {
        Resize("disk/ballast", std::filesystem::file_size(folder.Path("disk/ballast")) - 1024);
        if (const auto nearlyFull = OpenVault(vault)) {
            ExpectContent(*nearlyFull, "\\a", NoiseOf(50'000, 1));
        }
    }
    if (const auto full = OpenVault(vault)) {
        std::filesystem::remove(folder.Path("disk/ballast"));
        ExpectOk(StoreFile(*full, "\\b", NoiseOf(50'000, 2)));
    }
    if (const auto free = OpenVault(vault)) {
        ExpectContent(*free, "\\b", NoiseOf(50'000, 2));
        ExpectSound(*free);
    }
    Unmount();
}

TEST_P(FullDiskTest, FillsUpUnderAnOpenVaultAndItsLogIsReadAfterACrash) {
    if (!Mount()) {
        GTEST_SKIP() << "no such file system can be made and mounted here";
    }
    const std::string vault = folder.Native("disk/vault");
    ExpectOk(EmbeddedService::Create(vault));
    std::filesystem::create_directory(folder.Path("disk/crashed"));
    uint32_t stored = 0;
    {
        const auto open = OpenVault(vault);
        ExpectOk(StoreFile(*open, "\\first", "first"));
        // As a killed process leaves them: a log, and no shared memory.
        std::filesystem::create_directories(folder.Path("crashed/packs"));
        for (const char* const name : {"catalog.db", "catalog.db-wal", "packs/0000000001.pack"}) {
            std::filesystem::copy_file(
                folder.Path("disk/vault/" + std::string(name)),
                folder.Path("disk/crashed/" +
                            std::string(name == std::string("packs/0000000001.pack") ? "pack" : name)));
        }
        FillUp();
        while (stored < 100 && StoreFile(*open, "\\" + std::to_string(stored), std::to_string(stored)).Ok()) {
            ++stored;
        }
        EXPECT_LT(stored, 100u);
        ExpectContent(*open, "\\first", "first");
        ExpectSound(*open);
    }
    std::filesystem::create_directory(folder.Path("disk/crashed/packs"));
    std::filesystem::rename(folder.Path("disk/crashed/pack"),
                            folder.Path("disk/crashed/packs/0000000001.pack"));
    FillUp();
    if (const auto crashed = OpenVault(folder.Native("disk/crashed"))) {
        ExpectContent(*crashed, "\\first", "first");
        ExpectSound(*crashed);
    }
    Unmount();
}

TEST_F(FaultTest, ReadOnlyDiskIsReadAndNotWritten) {
    const std::string disk = folder.Native("disk");
    std::filesystem::create_directory(folder.Path("disk"));
    if (std::system(("mount -t tmpfs -o size=8m tmpfs \"" + disk + "\" 2>/dev/null").c_str()) != 0) {
        GTEST_SKIP() << "no file system can be mounted here";
    }
    ExpectOk(EmbeddedService::Create(disk + "/v 100%?"));
    ExpectOk(StoreFile(*OpenVault(disk + "/v 100%?"), "\\a", "content"));
    EXPECT_EQ(std::system(("mount -o remount,ro \"" + disk + "\"").c_str()), 0);
    if (const auto readOnly = OpenVault(disk + "/v 100%?")) {
        EXPECT_TRUE(readOnly->IsReadOnly());
        ExpectContent(*readOnly, "\\a", "content");
        EXPECT_EQ(StoreFile(*readOnly, "\\b", "x").code, kVaultReadOnly);
        int64_t id = 0;
        EXPECT_EQ(readOnly->CreateFolder("\\f", "", 0, id).code, kVaultReadOnly);
        ExpectSound(*readOnly);
    }
    EXPECT_EQ(std::system(("umount \"" + disk + "\"").c_str()), 0);
}

TEST_F(FaultTest, ChangedByteOfContentIsFoundByReadingTheDataAndNeverGivenOut) {
    ExpectOk(StoreFile(*service, "\\good", NoiseOf(20'000, 1)));
    ExpectOk(StoreFile(*service, "\\bad", NoiseOf(20'000, 2)));
    FlipByte(OnlyPack(), 30'000);
    EXPECT_THAT(Verify(false, kOk).problems, IsEmpty());
    const VerifyReport report = Verify(true, kVaultDamaged);
    EXPECT_EQ(report.problemCount, 1);
    EXPECT_EQ(report.chunksChecked, 2);
    EXPECT_EQ(report.filesChecked, 2);
    EXPECT_EQ(CodeOfFetch("\\bad"), kContentDamaged);
    ExpectContent(*service, "\\good", NoiseOf(20'000, 1));
}

TEST_F(FaultTest, ChangedHeaderOfAnEntryIsFoundWithoutReadingTheData) {
    ExpectOk(StoreFile(*service, "\\bad", NoiseOf(20'000, 2)));
    FlipByte(OnlyPack(), 20);
    EXPECT_EQ(Verify(false, kVaultDamaged).problemCount, 1);
    EXPECT_EQ(CodeOfFetch("\\bad"), kContentDamaged);
}

TEST_F(FaultTest, ShortenedPackIsFoundAndTheVaultStillTakesFiles) {
    ExpectOk(StoreFile(*service, "\\good", NoiseOf(20'000, 1)));
    ExpectOk(StoreFile(*service, "\\bad", NoiseOf(20'000, 2)));
    const std::string pack = OnlyPack();
    service.reset();
    Resize(pack, 25'000);
    Reopen();
    EXPECT_EQ(CodeOfFetch("\\bad"), kContentDamaged);
    ExpectContent(*service, "\\good", NoiseOf(20'000, 1));
    ExpectOk(StoreFile(*service, "\\new", NoiseOf(20'000, 3)));
    ExpectContent(*service, "\\new", NoiseOf(20'000, 3));
    EXPECT_THAT(Verify(false, kVaultDamaged).problems.at(0), HasSubstr("bytes"));
    EXPECT_EQ(std::filesystem::file_size(folder.Path(pack)), 25'000u);
}

TEST_F(FaultTest, MissingPackIsFoundAndTheVaultStillTakesFiles) {
    ExpectOk(StoreFile(*service, "\\bad", NoiseOf(20'000, 2)));
    const std::string pack = OnlyPack();
    service.reset();
    std::filesystem::remove(folder.Path(pack));
    Reopen();
    EXPECT_EQ(CodeOfFetch("\\bad"), kContentDamaged);
    EXPECT_THAT(Verify(false, kVaultDamaged).problems.at(0), HasSubstr("missing"));
    ExpectOk(StoreFile(*service, "\\new", "new"));
    ExpectContent(*service, "\\new", "new");
}

TEST_F(FaultTest, DamagedCatalogIsNamedAndThePacksStayUntouched) {
    std::vector<FileCommit> files(400);
    for (size_t i = 0; i < files.size(); ++i) {
        ExpectOk(SendContent(*service, "\\file with a long name " + std::to_string(i), std::to_string(i),
                             files[i]));
    }
    std::vector<int64_t> ids;
    ExpectOk(service->CommitFiles(files, ids));
    service.reset();
    const std::string packs = folder.Read("vault/packs/0000000001.pack");
    const std::string sound = folder.Read("vault/catalog.db");

    std::string torn = sound;
    std::fill(torn.begin() + 4096, torn.end() - 4096, '\x5a');
    folder.Write("vault/catalog.db", torn);
    std::unique_ptr<EmbeddedService> damaged;
    ServiceResult result = EmbeddedService::Open(Vault(), {}, damaged);
    if (result.Ok()) {
        VerifyReport report;
        result = damaged->Verify({}, report);
        EXPECT_GT(report.problemCount, 0);
        StoredRecord record;
        EXPECT_EQ(damaged->FindRecord("\\file with a long name 7", record).code, kVaultDamaged);
        EXPECT_EQ(StoreFile(*damaged, "\\x", "x").code, kVaultDamaged);
    }
    EXPECT_EQ(result.code, kVaultDamaged);
    EXPECT_THAT(result.message, HasSubstr("damaged"));
    damaged.reset();

    folder.Write("vault/catalog.db", "no database at all, but long enough to be looked at");
    result = EmbeddedService::Open(Vault(), {}, damaged);
    EXPECT_EQ(result.code, kVaultDamaged);
    EXPECT_THAT(result.message,
                testing::AllOf(HasSubstr("catalog of the vault at " + Vault() + " is damaged"),
                               HasSubstr("its packs are untouched")));
    EXPECT_TRUE(folder.Read("vault/packs/0000000001.pack") == packs);

    folder.Write("vault/catalog.db", sound);
    Reopen();
    ExpectSound(*service);
}

TEST_F(FaultTest, VerifyCanBeCancelled) {
    std::vector<FileCommit> files(300);
    for (size_t i = 0; i < files.size(); ++i) {
        ExpectOk(SendContent(*service, "\\" + std::to_string(i), std::to_string(i), files[i]));
    }
    std::vector<int64_t> ids;
    ExpectOk(service->CommitFiles(files, ids));
    VerifyOptions options;
    int64_t total = 0;
    options.progress = [&](int64_t, int64_t all) {
        total = all;
        return false;
    };
    VerifyReport report;
    EXPECT_EQ(service->Verify(options, report).code, kCancelled);
    EXPECT_EQ(total, 600);
}

}  // namespace
}  // namespace rampart::test
