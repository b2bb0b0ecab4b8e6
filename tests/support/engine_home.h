// The whole engine over a vault of its own: a home, a signed-in customer, a task manager in theVaultLibApp.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "engine/vaultlib.h"
#include "platform/clock.h"
#include "platform/path_mapping.h"
#include "storage/embedded_service.h"
#include "support/scripted_service.h"
#include "support/temp_home.h"
#include "support/temp_tree.h"
#include "transferlib/service_connection.h"

namespace rampart::test {

class EngineHome : public TempHome {
public:
    // A task of the manager's list, without a row in the database.
    CBackupTask& ListedTask(TCHAR const* name) {
        auto task = std::make_unique<CBackupTask>();
        task->m_taskName = name;
        manager->m_taskList.push_back(task.get());
        return *task.release();  // the list's own
    }

    // From now on the vault behind a service that answers as the test says.
    template <typename Service = ScriptedService>
    std::shared_ptr<Service> Script() {
        std::unique_ptr<EmbeddedService> opened;
        EXPECT_TRUE(EmbeddedService::Open(Native("vault"), {}, opened).Ok());
        auto service = std::make_shared<Service>(std::shared_ptr<StorageService>(std::move(opened)));
        SetStorageService(service);
        return service;
    }

    static void SetOption(TCHAR const* key, TCHAR const* value) {
        ASSERT_TRUE(DictUtil::SetConfigString(_T("Options"), key, value));
        DictUtil::Refresh();
    }

private:
    struct OpenVault {
        explicit OpenVault(std::string const& folder) {
            DictUtil::Refresh();  // this home's options, not those of an earlier one
            CString message;
            EXPECT_EQ(0, VaultAdmin::Open(CString::FromUtf8("vault://" + folder), true, message))
                << message.ToUtf8();
        }
        ~OpenVault() {
            ManageMultipleRunningTask::GetInstance()->ClearAllWoringTask();
            VaultAdmin::Close();
        }
    };

    OpenVault const m_vault{Native("vault")};
    RunningEngine const m_engine;

public:
    CBackupManage* const manager = &m_engine.Manager();
};

// For tests that run tasks: host hooks that answer at once and note what they were asked.
class EngineTest : public testing::Test {
protected:
    EngineTest() {
        s_current = this;
        SetSkippedEntrySink(&EngineTest::NoteSkipped, this);
        SetMsgBoxProc(&EngineTest::AnswerMessage);
    }

    ~EngineTest() override {
        SetMsgBoxProc(nullptr);
        SetSkippedEntrySink(nullptr, nullptr);
        s_current = nullptr;
    }

    // A task of these folders or files, in the manager's list.
    CBackupTask& MakeTask(std::string const& name, std::vector<std::string> const& paths) {
        EXPECT_EQ(1, manager->BeginNewTask());
        CBackupTask* const task = manager->m_pNewTask;
        task->m_taskName = CString::FromUtf8(name);
        task->m_type = TaskTypeOnce;
        // Not due by itself: the tests start it.
        task->m_dating = task->m_dating.Get() + CTimeSpan(3600);
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
        toldTwice.clear();
        EXPECT_EQ(1, task.StartBackupByUser(0)) << task.GetManualStartErrorMsg().ToUtf8();
        WaitForEnd(task);
        return task.m_state;
    }

    // Until another run may begin: a run that was stopped takes its flag back after it has left the registry.
    static void WaitForEnd(CBackupTask& task) {
        while (ManageMultipleRunningTask::GetInstance()->FindWorkingTask(&task) ||
               (task.m_pTaskPrg != nullptr && task.m_pTaskPrg->IsStopping())) {
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

    // Files committed by this process since the vault was opened.
    static __int64 FilesSent() {
        TransferTotals totals;
        VaultAdmin::Transferred(totals);
        return totals.files;
    }

    // Makes a stored file's record one that knows no more than size and seconds.
    static void ForgetExactTimes(CString const& serverFile) {
        FileContent content;
        auto const connection = PresentConnection();
        ASSERT_TRUE(connection->Service().OpenFile(serverFile.ToUtf8(), content).Ok());
        StoredRecord const& record = content.record;
        FileCommit commit;
        std::string const path = serverFile.ToUtf8();
        commit.folder = path.substr(0, path.rfind('\\'));
        commit.name = record.name;
        commit.size = record.size;
        commit.modifiedTime = commit.createdTime = record.modifiedTime;
        commit.chunks = content.chunks;
        ASSERT_TRUE(connection->CommitFiles({&commit, 1}).Ok());
    }

    static std::vector<CString> VersionNames(CBackupTask& task, CString const& serverFile) {
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

    std::mutex skippedMutex;
    std::map<std::string, std::string> skipped;  // native path to reason, of the last run
    std::vector<std::string> toldTwice;          // of the same run
    int messageAnswer = 0;
    std::function<int()> answerMessage;  // in place of it, where there is one
    std::vector<std::string> messages;
    EngineHome home;
    CBackupManage* const manager = home.manager;

private:
    static void NoteSkipped(SkippedEntry const& entry, void* context) {
        auto* const self = static_cast<EngineTest*>(context);
        std::lock_guard const lock(self->skippedMutex);
        std::string const path = platform::ToNativePath(entry.path.View());
        if (!self->skipped.emplace(path, entry.reason.ToUtf8()).second) {
            self->toldTwice.push_back(path);
        }
    }
    static int AnswerMessage(TCHAR const* text, unsigned int, unsigned long, int) {
        s_current->messages.push_back(CString(text).ToUtf8());
        return s_current->answerMessage ? s_current->answerMessage() : s_current->messageAnswer;
    }
    static inline EngineTest* s_current = nullptr;
};

}  // namespace rampart::test
