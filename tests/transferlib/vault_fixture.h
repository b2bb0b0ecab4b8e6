// A home with a vault of its own, connected through a scripted service.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "interfaces/vault_admin.h"
#include "storage/embedded_service.h"
#include "support/scripted_service.h"
#include "support/temp_home.h"
#include "support/temp_tree.h"
#include "transferlib/service_connection.h"

namespace rampart::test {

inline CString Text16(std::string_view text) {
    return CString::FromUtf8(text);
}

class VaultTest : public testing::Test {
protected:
    VaultTest() {
        EXPECT_TRUE(EmbeddedService::Create(vaultPath).Ok());
        service = std::make_shared<ScriptedService>(OpenAgain());
        SetStorageService(service);
        EXPECT_FALSE(ApiUtil::GetSessionID().IsEmpty());
    }
    ~VaultTest() override { SetStorageService(nullptr); }

    // The same vault as another process sees it.
    std::shared_ptr<StorageService> OpenAgain() const {
        std::unique_ptr<EmbeddedService> opened;
        EXPECT_TRUE(EmbeddedService::Open(vaultPath, {}, opened).Ok());
        return opened;
    }

    CString Local(std::string_view relative) const { return CString(TextView(files.Engine(relative))); }

    int Upload(std::string_view relative, LPCTSTR folder, ProgressCallBack* callback = nullptr) {
        return ApiUtil::UploadFile(Local(relative), folder, _T(""), _T(""), message, callback, 0, 1, 1, 0, 0);
    }
    static bool MakeFolder(LPCTSTR path) {
        return ApiUtil::AddEditFolder(path, _T(""), _T(""), _T("Y")) >= 2000;
    }
    static bool Exists(LPCTSTR path) { return ApiUtil::GetServerPathlist().IsPathExistEx(path, 0, 0) != 0; }
    // Name to size of what lies in a folder.
    static std::map<std::string, int64_t> Listing(LPCTSTR folder, int recursive = 0) {
        CPtrList list;
        EXPECT_EQ(ApiUtil::GetServerPathlist().GetSubList(list, folder, 0, recursive, 1), 0);
        std::map<std::string, int64_t> names;
        while (!list.IsEmpty()) {
            const CAutoMyPathInfo info(static_cast<MyPathInfo*>(list.RemoveHead()));
            names[recursive != 0 ? info->m_path.ToUtf8() : info->m_name.ToUtf8()] =
                info->m_isFolder != 0 ? -1 : info->m_size;
        }
        return names;
    }
    std::string Download(LPCTSTR path) {
        const CString target = Local("downloaded");
        EXPECT_EQ(ApiUtil::DownloadFile(path, target, nullptr, 0), 0);
        return files.Read("downloaded");
    }

    TempHome home;
    TempFolder files;
    const std::string vaultPath = home.Native("vault");
    std::shared_ptr<ScriptedService> service;
    CString message;
};

// Counts what it is told and cancels where the test wants it.
class CountingCallback : public ProgressCallBack {
public:
    int DoProgress(int, CString) override { return ++calls != cancelAtCall ? 1 : 0; }
    int DoProgressEx(CString const& file, __int64 bytes, int, __int64) override {
        moved += bytes;
        perFile[file.ToUtf8()] += bytes;
        if (onCall) {
            onCall();
        }
        return ++calls != cancelAtCall ? 1 : 0;
    }
    void SetByteSend(__int64 bytes, int mode) override { moved = mode == 0 ? bytes : moved + bytes; }
    __int64 GetByteSend() override { return moved; }
    int GetSpeed() override { return 0; }
    __int64 GetNowSent() override { return moved; }

    int cancelAtCall = -1;
    std::function<void()> onCall;
    int calls = 0;
    __int64 moved = 0;
    std::map<std::string, __int64> perFile;
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
