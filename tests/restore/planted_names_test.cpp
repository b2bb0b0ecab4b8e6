// Records whose names are ways to elsewhere: written into the catalog past the service, which refuses them.
#include "restore/restore_fixture.h"
#include "storage/sqlite_connection.h"

namespace rampart::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

const std::vector<std::string> kWays = {"..",
                                        ".",
                                        "../outside",
                                        "..\\outside",
                                        "/tmp/outside",
                                        "a/../../outside",
                                        "\xEF\x80\xAE",
                                        ".\xEF\x80\xAE",
                                        std::string("nul\0name", 8)};

class PlantedNames : public RestoreTest {
protected:
    void Plant(const std::string& stored, const std::string& planted) {
        SetStorageService(nullptr);
        service.reset();
        {
            SqliteConnection connection(vaultPath + "/catalog.db", "the test's", {});
            SqliteStatement update =
                connection.Prepare("UPDATE record SET name=?1, folded=NULL WHERE name=?2");
            update.BindText(1, planted).BindText(2, stored).Run();
        }
        Connect();
    }
    std::map<std::string, std::string> Outside() const {
        std::map<std::string, std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(target.Path())) {
            const std::string path = PathText(std::filesystem::relative(entry.path(), target.Path()));
            if (path != "out" && !path.starts_with("out/")) {
                found[path] = "";
            }
        }
        return found;
    }
};

TEST_F(PlantedNames, LeadNowhereAndAreToldWithAllElseRestored) {
    for (const std::string& way : kWays) {
        Store("\\top\\file", "planted");
        MakeFolder("\\top\\folder");
        Store("\\top\\folder\\inside", "planted");
        Store("\\top\\good", "good");
        Plant("file", way);
        ASSERT_EQ(0, Run()) << way;
        EXPECT_THAT(Outside(), IsEmpty()) << way;
        // Characters that stand for dots here are a name of their own on other systems, and lead nowhere
        // there.
        const bool isOrdinary = way.find("\xEF\x80\xAE") != std::string::npos && target.Exists("out/" + way);
        EXPECT_EQ(isOrdinary ? 0 : 1, report.failed) << way;
        EXPECT_EQ("good", target.Read("out/good"));

        VerifyReport verified;
        EXPECT_EQ(kVaultDamaged, service->Verify({}, verified).code) << way;
        ASSERT_FALSE(verified.problems.empty());
        EXPECT_THAT(verified.problems.front(), HasSubstr("lead elsewhere")) << way;
        Plant(way, "file");
        Plant("folder", way);
        ASSERT_EQ(0, Run()) << way;
        EXPECT_THAT(Outside(), IsEmpty()) << way;
        EXPECT_FALSE(target.Exists("out/inside"));
        Plant(way, "folder");
    }
}

TEST_F(PlantedNames, AreRefusedOnEveryWayIntoTheVault) {
    Store("\\top\\good", "good");
    for (const std::string& way : kWays) {
        if (way.find('\\') != std::string::npos) {
            continue;  // several names there
        }
        FileCommit commit = CommitOf("\\top\\x", "planted");
        commit.name = way;
        std::vector<int64_t> ids;
        EXPECT_EQ(kInvalidRequest, service->CommitFiles({&commit, 1}, ids).code) << way;
        int64_t id = 0;
        EXPECT_EQ(kInvalidRequest, service->CreateFolder("\\top\\" + way, "", 0, id).code) << way;
        EXPECT_EQ(kInvalidRequest, service->Rename("\\top\\good", way).code) << way;
        EXPECT_EQ(kInvalidRequest, service->CopyFile("\\top\\good", "\\top", way, id).code) << way;
    }
}

}  // namespace
}  // namespace rampart::test
