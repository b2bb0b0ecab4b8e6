// A storage service that answers as the test says: chosen codes at chosen calls, exceptions, and counts. All
// else goes to a real service.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include "storage/storage_service.h"

namespace rampart::test {

// Operations go by their names. Any thread.
class ScriptedService : public StorageService {
public:
    explicit ScriptedService(std::shared_ptr<StorageService> real) : m_real(std::move(real)) {}

    // The next `times` calls of `operation`, after `skipped` more of them, answer `code` and do nothing.
    void Answer(const std::string& operation, int code, int times = 1, int skipped = 0) {
        std::lock_guard lock(m_mutex);
        m_scripts[operation] = {code, times, skipped, false};
    }
    // The next call throws.
    void Throw(const std::string& operation) {
        std::lock_guard lock(m_mutex);
        m_scripts[operation] = {0, 1, 0, true};
    }
    // Runs before each call that reaches the real service.
    void Before(const std::string& operation, std::function<void()> action) {
        std::lock_guard lock(m_mutex);
        m_before[operation] = std::move(action);
    }
    int Calls(const std::string& operation) {
        std::lock_guard lock(m_mutex);
        return m_calls[operation];
    }
    void ForgetCalls() {
        std::lock_guard lock(m_mutex);
        m_calls.clear();
    }

    ServiceResult Logon(const std::string& user, const std::string& password) override {
        return Step("Logon", [&] { return m_real->Logon(user, password); });
    }
    SessionInfo Session() override { return m_real->Session(); }
    ServiceResult Ping() override {
        return Step("Ping", [&] { return m_real->Ping(); });
    }
    ServiceResult Space(AccountSpace& space) override {
        return Step("Space", [&] { return m_real->Space(space); });
    }
    ServiceResult Limits(AccountLimits& limits) override {
        return Step("Limits", [&] { return m_real->Limits(limits); });
    }
    ServiceResult GetSetting(const std::string& name, std::string& value) override {
        return Step("GetSetting", [&] { return m_real->GetSetting(name, value); });
    }
    ServiceResult SetSetting(const std::string& name, const std::string& value) override {
        return Step("SetSetting", [&] { return m_real->SetSetting(name, value); });
    }
    ServiceResult FindRecord(const std::string& path, StoredRecord& record) override {
        return Step("FindRecord", [&] { return m_real->FindRecord(path, record); });
    }
    ServiceResult ListFolder(const std::string& path, const RecordVisitor& visit,
                             int64_t& sequence) override {
        return Step("ListFolder", [&] { return m_real->ListFolder(path, visit, sequence); });
    }
    ServiceResult ListTree(const std::string& path, const FolderVisitor& visit, int64_t& sequence) override {
        return Step("ListTree", [&] { return m_real->ListTree(path, visit, sequence); });
    }
    ServiceResult ListMoment(const std::string& path, const std::string& historyPath, int64_t moment,
                             const MomentVisitor& visit) override {
        return Step("ListMoment", [&] { return m_real->ListMoment(path, historyPath, moment, visit); });
    }
    ServiceResult ChangeSequence(int64_t& sequence) override {
        return Step("ChangeSequence", [&] { return m_real->ChangeSequence(sequence); });
    }
    ServiceResult ChangedFolders(int64_t since, size_t most, std::vector<std::string>& folders, bool& tooMany,
                                 int64_t& sequence) override {
        return Step("ChangedFolders",
                    [&] { return m_real->ChangedFolders(since, most, folders, tooMany, sequence); });
    }
    ServiceResult CreateFolder(const std::string& path, const std::string& description, uint32_t flags,
                               int64_t& id) override {
        return Step("CreateFolder", [&] { return m_real->CreateFolder(path, description, flags, id); });
    }
    ServiceResult Rename(const std::string& path, const std::string& newName) override {
        return Step("Rename", [&] { return m_real->Rename(path, newName); });
    }
    ServiceResult Describe(const std::string& path, const std::string& description) override {
        return Step("Describe", [&] { return m_real->Describe(path, description); });
    }
    ServiceResult SetAttributes(std::span<const AttributeCommit> commits) override {
        return Step("SetAttributes", [&] { return m_real->SetAttributes(commits); });
    }
    ServiceResult MarkGone(std::span<const std::string> paths, int64_t when) override {
        return Step("MarkGone", [&] { return m_real->MarkGone(paths, when); });
    }
    ServiceResult Delete(std::span<const std::string> paths,
                         const std::function<bool(size_t)>& proceed) override {
        return Step("Delete", [&] { return m_real->Delete(paths, proceed); });
    }
    ServiceResult CopyFile(const std::string& path, const std::string& targetFolder,
                           const std::string& newName, int64_t& id) override {
        return Step("CopyFile", [&] { return m_real->CopyFile(path, targetFolder, newName, id); });
    }
    ServiceResult HasChunks(std::span<const Digest> digests, std::vector<uint8_t>& known) override {
        return Step("HasChunks", [&] { return m_real->HasChunks(digests, known); });
    }
    ServiceResult PutChunks(std::span<const Chunk> chunks) override {
        return Step("PutChunks", [&] { return m_real->PutChunks(chunks); });
    }
    ServiceResult CommitFiles(std::span<const FileCommit> files, std::vector<int64_t>& ids) override {
        return Step("CommitFiles", [&] { return m_real->CommitFiles(files, ids); });
    }
    ServiceResult RecordProgress(const std::string& folder, const std::string& name, int64_t storedBytes,
                                 int64_t modifiedTime) override {
        return Step("RecordProgress",
                    [&] { return m_real->RecordProgress(folder, name, storedBytes, modifiedTime); });
    }
    ServiceResult ReadAttributes(int64_t attributes, std::string& bytes) override {
        return Step("ReadAttributes", [&] { return m_real->ReadAttributes(attributes, bytes); });
    }
    ServiceResult OpenFile(const std::string& path, FileContent& content) override {
        return Step("OpenFile", [&] { return m_real->OpenFile(path, content); });
    }
    ServiceResult ReadChunks(std::span<const Digest> digests,
                             const std::function<bool(const Chunk&)>& visit) override {
        return Step("ReadChunks", [&] { return m_real->ReadChunks(digests, visit); });
    }
    ServiceResult LocateFiles(const std::string& folder, std::span<const std::string> names,
                              std::vector<LocatedFile>& files) override {
        return Step("LocateFiles", [&] { return m_real->LocateFiles(folder, names, files); });
    }
    ServiceResult ReadPlaced(std::span<const PlacedChunk> chunks, const PlacedChunkVisitor& visit) override {
        return Step("ReadPlaced", [&] { return m_real->ReadPlaced(chunks, visit); });
    }
    ServiceResult StoreTask(const std::string& request) override {
        return Step("StoreTask", [&] { return m_real->StoreTask(request); });
    }
    ServiceResult QueryTasks(const std::string& name, bool paths, std::string& reply) override {
        return Step("QueryTasks", [&] { return m_real->QueryTasks(name, paths, reply); });
    }
    ServiceResult TaskNames(std::vector<std::string>& names) override {
        return Step("TaskNames", [&] { return m_real->TaskNames(names); });
    }
    ServiceResult DeleteTask(const std::string& name) override {
        return Step("DeleteTask", [&] { return m_real->DeleteTask(name); });
    }
    ServiceResult QueueMail(const std::string& message) override {
        return Step("QueueMail", [&] { return m_real->QueueMail(message); });
    }
    ServiceResult Verify(const VerifyOptions& options, VerifyReport& report) override {
        return Step("Verify", [&] { return m_real->Verify(options, report); });
    }
    ServiceResult Statistics(ServiceStatistics& statistics) override {
        return Step("Statistics", [&] { return m_real->Statistics(statistics); });
    }

private:
    struct Script {
        int code = 0;
        int times = 0;
        int skipped = 0;
        bool throws = false;
    };

    std::optional<int> Scripted(const std::string& operation, std::function<void()>& before) {
        std::lock_guard lock(m_mutex);
        ++m_calls[operation];
        if (const auto action = m_before.find(operation); action != m_before.end()) {
            before = action->second;
        }
        const auto found = m_scripts.find(operation);
        if (found == m_scripts.end() || found->second.times == 0) {
            return std::nullopt;
        }
        Script& script = found->second;
        if (script.skipped > 0) {
            --script.skipped;
            return std::nullopt;
        }
        --script.times;
        if (script.throws) {
            throw std::runtime_error("scripted");
        }
        return script.code;
    }

    template <typename Real>
    ServiceResult Step(const std::string& operation, const Real& real) {
        std::function<void()> before;
        if (const auto code = Scripted(operation, before)) {
            return {*code, "scripted"};
        }
        if (before) {
            before();
        }
        return real();
    }

    const std::shared_ptr<StorageService> m_real;
    std::mutex m_mutex;  // guards what follows
    std::map<std::string, Script> m_scripts;
    std::map<std::string, std::function<void()>> m_before;
    std::map<std::string, int> m_calls;
};

}  // namespace rampart::test
