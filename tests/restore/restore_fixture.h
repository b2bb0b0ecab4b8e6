// A vault whose records a test commits by hand, and what a restore makes of them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/attributes.h"
#include "restore/vault_restore.h"
#include "storage/chunk.h"
#include "storage/embedded_service.h"
#include "storage/server_path.h"
#include "support/scripted_service.h"
#include "support/temp_home.h"
#include "support/temp_tree.h"
#include "transferlib/service_connection.h"

namespace rampart::test {

class RestoreTest : public testing::Test {
protected:
    static constexpr int64_t kTime = 1'600'000'000'123'456'789;

    RestoreTest() {
        EXPECT_TRUE(EmbeddedService::Create(vaultPath).Ok());
        Connect();
        MakeFolder("\\top");
    }
    ~RestoreTest() override { SetStorageService(nullptr); }

    void Connect() {
        std::unique_ptr<EmbeddedService> opened;
        EXPECT_TRUE(EmbeddedService::Open(vaultPath, {}, opened).Ok());
        service = std::make_shared<ScriptedService>(std::shared_ptr<StorageService>(std::move(opened)));
        SetStorageService(service);
    }

    void MakeFolder(const std::string& path) {
        int64_t id = 0;
        ASSERT_TRUE(service->CreateFolder(path, "", 0, id).Ok()) << path;
    }

    // Cut into pieces of `pieceBytes`.
    FileCommit CommitOf(const std::string& path, std::string_view content, size_t pieceBytes = 100'000) {
        FileCommit commit;
        commit.folder = std::string(SplitLastName(path).folder);
        commit.name = std::string(SplitLastName(path).name);
        commit.size = static_cast<int64_t>(content.size());
        commit.modifiedTime = kTime;
        for (size_t at = 0; at < content.size(); at += pieceBytes) {
            std::string buffer;
            const Chunk chunk = EncodeChunk(content.substr(at, pieceBytes), buffer);
            EXPECT_TRUE(service->PutChunks({&chunk, 1}).Ok());
            commit.chunks.push_back({chunk.digest, chunk.size});
        }
        return commit;
    }
    void Commit(const FileCommit& commit) {
        std::vector<int64_t> ids;
        const ServiceResult result = service->CommitFiles({&commit, 1}, ids);
        ASSERT_TRUE(result.Ok()) << result.message;
    }
    void Store(const std::string& path, std::string_view content) { Commit(CommitOf(path, content)); }

    RestoreRequest Request(const std::string& serverPath = "\\top") {
        RestoreRequest request;
        request.places.push_back(
            {CString::FromUtf8(serverPath), CString(TextView(target.Engine("out"))), false});
        return request;
    }
    int Run(RestoreRequest request) {
        leftOut.clear();
        request.leftOut = [&](const SkippedEntry& entry) {
            leftOut[CString::FromUtf8(platform::ToNativePath(entry.path.View())).ToUtf8()] =
                entry.reason.ToUtf8();
        };
        return VaultRestore::Run(request, report, message);
    }
    int Run() { return Run(Request()); }

    // Names in the target's folder "out" that this program made for its own use.
    std::vector<std::string> Temporaries() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(target.Path())) {
            const std::string name = PathText(entry.path().filename());
            if (name.starts_with(".rampart-")) {
                names.push_back(name);
            }
        }
        return names;
    }

    TempHome home;
    TempFolder target;
    const std::string vaultPath = home.Native("vault");
    std::shared_ptr<ScriptedService> service;
    RestoreReport report;
    CString message;
    std::map<std::string, std::string> leftOut;  // native path to reason
};

inline std::string Noise(size_t bytes, uint32_t seed) {
    std::string content(bytes, '\0');
    for (char& c : content) {
        seed = seed * 1664525 + 1013904223;
        c = static_cast<char>(seed >> 24);
    }
    return content;
}

}  // namespace rampart::test
