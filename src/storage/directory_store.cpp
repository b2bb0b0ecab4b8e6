#include "storage/directory_store.h"

#include <algorithm>

#include "platform/error.h"
#include "platform/path_mapping.h"
#include "platform/process.h"
#include "platform/volumes.h"
#include "storage/storage_error.h"

namespace rampart {
namespace {

using platform::FileHandle;
using platform::Text;

constexpr size_t kMostOpenObjects = 64;
constexpr char kUnfinished[] = ".unfinished";

[[noreturn]] void Fail(const std::string& action, const std::string& object) {
    const uint32_t error = platform::LastError();
    int code = kFailed;
    switch (error) {
        case platform::kDiskFull:
        case platform::kHandleDiskFull:
            code = kNoSpace;
            break;
        case platform::kAccessDenied:
            code = kVaultReadOnly;
            break;
        case platform::kFileNotFound:
        case platform::kPathNotFound:
            code = kNotFound;
            break;
        case platform::kAlreadyExists:
            code = kNameTaken;
            break;
        default:
            break;
    }
    throw StorageError(
        code, "cannot " + action + " " + object + ": " + platform::ToUtf8(platform::ErrorText(error)));
}

void WriteAll(FileHandle& file, uint64_t offset, std::string_view bytes, const std::string& name) {
    while (!bytes.empty()) {
        const int64_t written = file.WriteAt(offset, bytes.data(), bytes.size());
        if (written <= 0) {
            Fail("write", name);
        }
        offset += static_cast<uint64_t>(written);
        bytes.remove_prefix(static_cast<size_t>(written));
    }
}

class AppendFile : public AppendObject {
public:
    AppendFile(std::unique_ptr<FileHandle> file, std::string name)
        : m_file(std::move(file)), m_name(std::move(name)) {}

    int64_t Size() override {
        uint64_t size = 0;
        if (!m_file->GetSize(size)) {
            Fail("measure", m_name);
        }
        return static_cast<int64_t>(size);
    }
    void WriteAt(int64_t offset, std::string_view bytes) override {
        WriteAll(*m_file, static_cast<uint64_t>(offset), bytes, m_name);
    }
    void Sync() override {
        if (!m_file->Sync()) {
            Fail("make durable", m_name);
        }
    }
    void Truncate(int64_t size) override {
        if (!m_file->SetSize(static_cast<uint64_t>(size))) {
            Fail("shorten", m_name);
        }
    }

private:
    std::unique_ptr<FileHandle> m_file;
    std::string m_name;
};

Text ToEngineName(std::string_view key) {
    Text text(key.begin(), key.end());
    std::replace(text.begin(), text.end(), static_cast<TCHAR>('/'), static_cast<TCHAR>('\\'));
    return text;
}

}  // namespace

DirectoryStore::DirectoryStore(const std::string& nativeFolder)
    : m_nativeFolder(nativeFolder), m_folder(platform::ToEnginePath(nativeFolder)) {}

Text DirectoryStore::PathOf(std::string_view key) const {
    return m_folder + _T("\\") + ToEngineName(key);
}

void DirectoryStore::MakeFolderOf(std::string_view key) {
    const size_t cut = key.rfind('/');
    if (cut != std::string_view::npos && !platform::CreateFolders(PathOf(key.substr(0, cut)))) {
        if (platform::LastError() == platform::kAlreadyExists) {
            // Not the code that says that the object itself is there.
            throw StorageError(kFailed,
                               std::string(key.substr(0, cut)) + " in " + m_nativeFolder + " is no folder");
        }
        Fail("create the folder of", std::string(key));
    }
}

void DirectoryStore::SyncFolderOf(std::string_view key) {
    const size_t cut = key.rfind('/');
    const Text folder = cut == std::string_view::npos ? m_folder : PathOf(key.substr(0, cut));
    if (!platform::SyncFolder(folder)) {
        Fail("make durable the folder of", std::string(key));
    }
}

void DirectoryStore::Put(const std::string& key, std::string_view bytes) {
    MakeFolderOf(key);
    const Text path = PathOf(key);
    const Text unfinished =
        path + _T(".") + ToEngineName(std::to_string(platform::ProcessId()) + kUnfinished);
    auto file = FileHandle::Open(unfinished, platform::kOpenRead | platform::kOpenWrite |
                                                 platform::kOpenCreate | platform::kOpenTruncate);
    if (!file) {
        Fail("create", key);
    }
    try {
        WriteAll(*file, 0, bytes, key);
        if (!file->Sync()) {
            Fail("make durable", key);
        }
        file.reset();
        {
            // An object that this process holds open cannot be replaced everywhere.
            std::lock_guard lock(m_openMutex);
            m_open.erase(key);
        }
        if (!platform::RenamePath(unfinished, path, true)) {
            Fail("rename", key);
        }
    } catch (...) {
        file.reset();
        platform::RemoveFile(unfinished);
        throw;
    }
    SyncFolderOf(key);
    std::lock_guard lock(m_openMutex);
    m_open.erase(key);
}

std::shared_ptr<FileHandle> DirectoryStore::OpenForReading(const std::string& key) {
    {
        std::lock_guard lock(m_openMutex);
        const auto found = m_open.find(key);
        if (found != m_open.end()) {
            found->second.lastUse = ++m_useCount;
            return found->second.handle;
        }
    }
    std::shared_ptr<FileHandle> handle = FileHandle::Open(PathOf(key), platform::kOpenRead);
    if (!handle) {
        Fail("open", key);
    }
    std::lock_guard lock(m_openMutex);
    if (m_open.size() >= kMostOpenObjects) {
        m_open.erase(std::min_element(m_open.begin(), m_open.end(), [](const auto& a, const auto& b) {
            return a.second.lastUse < b.second.lastUse;
        }));
    }
    m_open[key] = {handle, ++m_useCount};
    return handle;
}

size_t DirectoryStore::GetRange(const std::string& key, int64_t offset, void* buffer, size_t size) {
    const auto handle = OpenForReading(key);
    const int64_t read = handle->ReadAt(static_cast<uint64_t>(offset), buffer, size);
    if (read < 0) {
        Fail("read", key);
    }
    return static_cast<size_t>(read);
}

std::optional<int64_t> DirectoryStore::Size(const std::string& key) {
    platform::FileStatus status;
    if (platform::QueryStatus(PathOf(key), status)) {
        return static_cast<int64_t>(status.size);
    }
    const uint32_t error = platform::LastError();
    if (error != platform::kFileNotFound && error != platform::kPathNotFound) {
        Fail("look at", key);
    }
    return std::nullopt;
}

void DirectoryStore::Delete(const std::string& key) {
    {
        std::lock_guard lock(m_openMutex);
        m_open.erase(key);
    }
    if (!platform::RemoveFile(PathOf(key))) {
        const uint32_t error = platform::LastError();
        if (error != platform::kFileNotFound && error != platform::kPathNotFound) {
            Fail("delete", key);
        }
    }
}

void DirectoryStore::List(const std::string& prefix,
                          const std::function<void(const std::string& key, int64_t size)>& visit) {
    const size_t cut = prefix.rfind('/');
    const std::string level = cut == std::string::npos ? std::string() : prefix.substr(0, cut + 1);
    const Text folder = level.empty() ? m_folder : PathOf(level.substr(0, cut));
    auto reader = platform::DirectoryReader::Open(folder, true);
    if (!reader) {
        const uint32_t error = platform::LastError();
        if (error == platform::kFileNotFound || error == platform::kPathNotFound) {
            return;
        }
        Fail("list", prefix);
    }
    platform::DirectoryEntry entry;
    while (reader->Next(entry)) {
        const std::string key = level + platform::ToUtf8(entry.name);
        if (entry.status.IsRegularFile() && key.starts_with(prefix) && !key.ends_with(kUnfinished)) {
            visit(key, static_cast<int64_t>(entry.status.size));
        }
    }
    if (platform::LastError() != platform::kNoMoreItems) {
        Fail("list", prefix);
    }
}

std::unique_ptr<AppendObject> DirectoryStore::OpenAppend(const std::string& key, bool create) {
    uint32_t mode = platform::kOpenRead | platform::kOpenWrite;
    if (create) {
        MakeFolderOf(key);
        mode |= platform::kOpenCreate | platform::kOpenExclusive;
    }
    auto file = FileHandle::Open(PathOf(key), mode);
    if (!file) {
        if (platform::LastError() == platform::kSharingViolation) {
            return nullptr;
        }
        Fail("open", key);
    }
    if (!file->TryLock(true)) {
        if (platform::LastError() == platform::kSharingViolation) {
            return nullptr;
        }
        Fail("lock", key);
    }
    if (create) {
        SyncFolderOf(key);
    }
    return std::make_unique<AppendFile>(std::move(file), key);
}

int64_t DirectoryStore::FreeBytes() {
    platform::DiskSpace space{};
    if (!platform::QueryDiskSpace(m_folder, space)) {
        Fail("measure the disk of", m_nativeFolder);
    }
    return static_cast<int64_t>(std::min<uint64_t>(space.availableBytes, INT64_MAX));
}

}  // namespace rampart
