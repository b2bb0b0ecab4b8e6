// What a run stores beside content: attributes and links, changes that only the change time shows, and what
// is gone.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "platform/attributes.h"
#include "platform/file_system.h"
#include "support/engine_home.h"

namespace rampart::test {
namespace {

namespace fs = std::filesystem;

class RecordChangesOfARun : public EngineTest {
protected:
    StoredRecord Record(CBackupTask& task, std::string const& below) {
        StoredRecord record;
        std::string const path = task.m_serverFilePath.ToUtf8() + below;
        EXPECT_TRUE(PresentConnection()->Service().FindRecord(path, record).Ok()) << path;
        return record;
    }
    platform::Attributes Attributes(StoredRecord const& record) {
        std::string bytes;
        platform::Attributes attributes;
        EXPECT_TRUE(PresentConnection()->Service().ReadAttributes(record.attributes, bytes).Ok());
        EXPECT_TRUE(platform::DecodeAttributes(bytes, attributes));
        return attributes;
    }
    int64_t Sequence() {
        int64_t sequence = 0;
        EXPECT_TRUE(PresentConnection()->Service().ChangeSequence(sequence).Ok());
        return sequence;
    }
    bool IsGone(CBackupTask& task, std::string const& below) {
        return (Record(task, below).flags & kRecordGone) != 0;
    }
    size_t Versions(CBackupTask& task, TCHAR const* below) {
        return VersionNames(task, task.m_serverFilePath + below).size();
    }
};

TEST_F(RecordChangesOfARun, OtherRightsAreStoredWithoutContentAndNothingChangedCostsNothing) {
    TempTree const tree({{"d/f", "content"}, {"d/sub/g", "content"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    ASSERT_EQ(TaskStateFinished, Run(task));
    int64_t const quiet = Sequence();
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(quiet, Sequence()) << "nothing was told to the vault";
    __int64 const sent = FilesSent();

    fs::permissions(tree.Path("d/f"), fs::perms::owner_read);
    fs::permissions(tree.Path("d/sub"), fs::perms::owner_all);
    ASSERT_EQ(TaskStateFinished, Run(task));

    EXPECT_EQ(sent, FilesSent());
    EXPECT_EQ(0u, Versions(task, _T("\\d\\f")));
    platform::Attributes const file = Attributes(Record(task, "\\d\\f"));
    if (file.system == platform::Attributes::kPosix) {
        EXPECT_EQ(0400u, file.mode & 07777);
        EXPECT_EQ(0700u, Attributes(Record(task, "\\d\\sub")).mode & 07777);
    } else {
        EXPECT_EQ(uint32_t{platform::kReadOnly}, file.fileAttributes & platform::kReadOnly);
    }
    EXPECT_EQ(0, task.m_reportChangedCount);
}

// Programs put times back, and clocks are coarse: what was written is what counts.
TEST_F(RecordChangesOfARun, AChangeThatHidesFromSizeAndTimeIsStoredWithItsVersion) {
    constexpr int64_t kTime = 1'700'000'000'000'000'000;
    TempTree const tree({{"d/back", "first"}, {"d/soon", "first"}, {"d/hour", "first"}});
    for (char const* name : {"d/back", "d/soon", "d/hour"}) {
        tree.SetWriteTime(name, kTime);
    }
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    for (char const* name : {"d/back", "d/soon", "d/hour"}) {
        tree.Write(name, "other");
    }
    tree.SetWriteTime("d/back", kTime);
    tree.SetWriteTime("d/soon", kTime + 1'000'000'000);
    tree.SetWriteTime("d/hour", kTime + 3'600'000'000'000);
    ASSERT_EQ(TaskStateFinished, Run(task));
    auto const stored = Restored(task.m_serverFilePath);
    for (char const* name : {"d/back", "d/soon", "d/hour"}) {
        EXPECT_EQ("other", stored.at(name).content) << name;
    }
    EXPECT_EQ(1u, Versions(task, _T("\\d\\back")));
    EXPECT_EQ(1u, Versions(task, _T("\\d\\soon")));
}

TEST_F(RecordChangesOfARun, ALinkIsStoredAsItsTargetAndItsChangesAreItsOwn) {
    TempTree const tree({{"d/f", "content"}});
    if (!MakeLink(tree.Path("d/link"), "f") || !MakeLink(tree.Path("d/nowhere"), "missing")) {
        GTEST_SKIP() << "this system has no links";
    }
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_TRUE(skipped.empty());
    EXPECT_EQ(uint32_t{kRecordLink}, Record(task, "\\d\\link").flags);
    EXPECT_EQ("f", Restored(task.m_serverFilePath).at("d/link").content);
    EXPECT_EQ(uint32_t{kRecordLink}, Record(task, "\\d\\nowhere").flags);
    __int64 const sent = FilesSent();
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(sent, FilesSent());

    fs::remove(tree.Path("d/link"));
    ASSERT_TRUE(MakeLink(tree.Path("d/link"), "g"));
    fs::remove(tree.Path("d/nowhere"));
    tree.Write("d/nowhere", "missing");  // a file of the same bytes
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ("g", Restored(task.m_serverFilePath).at("d/link").content);
    EXPECT_EQ(0u, Record(task, "\\d\\nowhere").flags);
}

// Bytes that rot in a pack are found, named, and sent again by the next run over an unchanged tree.
TEST_F(RecordChangesOfARun, DamageIsFoundAndHealedByTheNextRun) {
    TempTree const tree({{"d/f", std::string(5000, 'f')}, {"d/g", "good"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    fs::path const pack = fs::path(home.Native("vault")) / "packs" / "0000000001.pack";
    {
        std::fstream file(pack, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(16 + 64 + 3);  // in the first entry's bytes
        file.put('\x55');
    }
    auto verify = [&] {
        CString message;
        VaultCheck check;
        VaultAdmin::Verify(true, {}, check, message);
        return check;
    };
    VaultCheck const damaged = verify();
    ASSERT_GT(damaged.problemCount, 0);
    EXPECT_TRUE(std::any_of(damaged.problems.begin(), damaged.problems.end(), [](CString const& problem) {
        return problem.Find(_T("\\d\\")) >= 0;
    })) << "the file is named";
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(0, verify().problemCount);
    EXPECT_EQ(0u, Versions(task, _T("\\d\\f"))) << "the same content is no other version";
    EXPECT_EQ(std::string(5000, 'f'), Restored(task.m_serverFilePath).at("d/f").content);
    __int64 const sent = FilesSent();
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(sent, FilesSent());
}

TEST_F(RecordChangesOfARun, WhatACompleteLookMissesIsGoneUntilItReturns) {
    TempTree const tree({{"d/f", "f"}, {"d/sub/g", "g"}, {"d/stays", "s"}, {"d/Case", "c"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    fs::remove(tree.Path("d/f"));
    fs::remove_all(tree.Path("d/sub"));
    fs::rename(tree.Path("d/Case"), tree.Path("d/case"));
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_TRUE(IsGone(task, "\\d\\f"));
    EXPECT_TRUE(IsGone(task, "\\d\\sub"));
    EXPECT_TRUE(IsGone(task, "\\d\\sub\\g"));
    EXPECT_FALSE(IsGone(task, "\\d\\stays"));
    EXPECT_FALSE(IsGone(task, "\\d\\Case")) << "the same file under a name of another case";

    tree.Write("d/f", "f");
    tree.Write("d/sub/g", "g");
    ASSERT_EQ(TaskStateFinished, Run(task));
    for (char const* path : {"\\d\\f", "\\d\\sub", "\\d\\sub\\g"}) {
        EXPECT_FALSE(IsGone(task, path)) << path;
    }
    EXPECT_EQ(1u, Versions(task, _T("\\d\\f"))) << "its first life";
}

TEST_F(RecordChangesOfARun, WhatWasNotReachedIsNotGone) {
    TempTree const tree({{"d/closed/x", "x"}, {"d/filtered/x", "x"}, {"d/f", "f"}, {"empty/x", "x"}});
    CBackupTask& task = MakeTask("t", {tree.Native("d"), tree.Native("empty")});
    ASSERT_EQ(TaskStateFinished, Run(task));
    fs::rename(tree.Path("empty/x"), tree.Path("elsewhere"));  // as a source whose file system is not mounted
    fs::rename(tree.Path("d/filtered/x"), tree.Path("moved"));
    task.m_filtedPathList.AddTail(Engine(tree.Native("d/filtered")));
    Run(task);
    EXPECT_FALSE(IsGone(task, "\\d\\f"));
    EXPECT_FALSE(IsGone(task, "\\d\\filtered\\x"));
    EXPECT_FALSE(IsGone(task, "\\empty\\x"));
}

}  // namespace
}  // namespace rampart::test
