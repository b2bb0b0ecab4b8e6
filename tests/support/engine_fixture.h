// A whole engine over a real vault, in a home of its own: for tests that run tasks.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/vaultlib.h"
#include "platform/clock.h"
#include "platform/path_mapping.h"
#include "support/temp_home.h"
#include "support/temp_tree.h"

namespace rampart::test {

// Host hooks that answer at once and note what they were asked.
class QuietWindow : public CMainWnd {};

class EngineTest : public testing::Test {
protected:
    void SetUp() override {
        CString message;
        ASSERT_EQ(0, VaultAdmin::Open(CString::FromUtf8(vaultFolder.Native("vault")), true, message))
            << message.ToUtf8();
        s_current = this;
        SetSkippedEntrySink(&EngineTest::NoteSkipped, this);
        SetMsgBoxProc(&EngineTest::AnswerMessage);
        CPathManage::Init();
        CPathManage::InitRegexFilter();
        CPathManage::UpdateCacheFolder();
        manager = std::make_unique<CBackupManage>();
        theVaultLibApp.m_pBackupManage = manager.get();
        manager->Initialize();
        manager->LoadTaskList(0, 0);
    }

    void TearDown() override {
        manager.reset();
        theVaultLibApp.m_pBackupManage = nullptr;
        SetMsgBoxProc(nullptr);
        SetSkippedEntrySink(nullptr, nullptr);
        VaultAdmin::Close();
        s_current = nullptr;
    }

    // A task of these folders or files, in the manager's list.
    CBackupTask& MakeTask(std::string const& name, std::vector<std::string> const& paths) {
        EXPECT_EQ(1, manager->BeginNewTask());
        CBackupTask* const task = manager->m_pNewTask;
        task->m_taskName = CString::FromUtf8(name);
        task->m_type = TaskTypeOnce;
        // Not due by itself: the tests start it.
        task->m_dating = task->m_dating + CTimeSpan(3600);
        task->m_serverFilePath = _T("\\pc\\") + task->m_taskName;
        CStringList list;
        for (std::string const& path : paths) {
            list.AddTail(Engine(path));
        }
        task->ReplaceLocalList(list);
        EXPECT_EQ(1, manager->EndNewTask());
        return *task;
    }

    // Runs the task to its end and gives its state.
    int Run(CBackupTask& task) {
        skipped.clear();
        EXPECT_EQ(1, task.StartBackupByUser(0)) << task.GetManualStartErrorMsg().ToUtf8();
        WaitForEnd(task);
        return task.m_state;
    }

    static void WaitForEnd(CBackupTask& task) {
        while (ManageMultipleRunningTask::GetInstance()->FindWorkingTask(&task)) {
            platform::SleepMilliseconds(1);
        }
    }

    // The stored tree below a server folder, restored and read back.
    std::map<std::string, TreeEntry> Restored(CString const& serverFolder) {
        TempFolder const target;
        CString message;
        EXPECT_EQ(0, VaultAdmin::List(
                         serverFolder, true,
                         [&](VaultEntry const& entry) {
                             CString const local =
                                 CString(target.Engine()) + entry.path.Mid(serverFolder.GetLength());
                             if (entry.isFolder) {
                                 EXPECT_TRUE(KXFolder::RCreateDirectory(local));
                             } else if (!entry.isPartial) {
                                 CString failure;
                                 EXPECT_EQ(
                                     0, VaultAdmin::Restore(
                                            entry.path, local, false, [](__int64) { return true; }, failure))
                                     << failure.ToUtf8();
                             }
                             return true;
                         },
                         message))
            << message.ToUtf8();
        return ReadTree(target.Path());
    }

    static CString Engine(std::string const& native) {
        return CString(platform::TextView(platform::ToEnginePath(native)));
    }

    // Files committed by this process since `before`.
    static __int64 FilesSent() {
        TransferTotals totals;
        VaultAdmin::Transferred(totals);
        return totals.files;
    }

    std::vector<CString> VersionNames(CBackupTask& task, CString const& serverFile) {
        std::vector<CString> names;
        CString message;
        VaultAdmin::List(
            task.GetFileHistoryFolder(serverFile), false,
            [&](VaultEntry const& entry) {
                names.push_back(entry.name);
                return true;
            },
            message);
        return names;
    }

    TempHome home;
    TempFolder vaultFolder;
    std::unique_ptr<CBackupManage> manager;
    std::map<std::string, std::string> skipped;  // native path to reason, of the last run
    std::mutex skippedMutex;
    int messageAnswer = 0;
    std::vector<std::string> messages;

private:
    static void NoteSkipped(SkippedEntry const& entry, void* context) {
        auto* const self = static_cast<EngineTest*>(context);
        std::lock_guard const lock(self->skippedMutex);
        self->skipped.emplace(platform::ToNativePath(entry.path.View()), entry.reason.ToUtf8());
    }
    static int AnswerMessage(TCHAR const* text, unsigned int, unsigned long, int) {
        s_current->messages.push_back(CString(text).ToUtf8());
        return s_current->messageAnswer;
    }
    static inline EngineTest* s_current = nullptr;
};

}  // namespace rampart::test
