// Objects as files below one folder.
#pragma once

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/file_system.h"
#include "storage/object_store.h"

namespace rampart {

class DirectoryStore : public ObjectStore {
public:
    // `nativeFolder` is absolute, UTF-8, and exists.
    explicit DirectoryStore(const std::string& nativeFolder);

    void Put(const std::string& key, std::string_view bytes) override;
    size_t GetRange(const std::string& key, int64_t offset, void* buffer, size_t size) override;
    std::optional<int64_t> Size(const std::string& key) override;
    void Delete(const std::string& key) override;
    void List(const std::string& prefix,
              const std::function<void(const std::string& key, int64_t size)>& visit) override;
    std::unique_ptr<AppendObject> OpenAppend(const std::string& key, bool create) override;
    int64_t FreeBytes() override;

private:
    platform::Text PathOf(std::string_view key) const;
    void MakeFolderOf(std::string_view key);
    void SyncFolderOf(std::string_view key);
    std::shared_ptr<platform::FileHandle> OpenForReading(const std::string& key);

    const std::string m_nativeFolder;
    const platform::Text m_folder;  // as an engine path

    struct OpenObject {
        std::shared_ptr<platform::FileHandle> handle;
        uint64_t lastUse = 0;
    };
    std::mutex m_openMutex;
    std::unordered_map<std::string, OpenObject> m_open;  // guarded by m_openMutex
    uint64_t m_useCount = 0;                             // guarded by m_openMutex
};

}  // namespace rampart
