#include "platform/win32/native.h"

namespace rampart::platform {
namespace {

constexpr size_t kListingBytes = 64 * 1024;

// The system lists names with their status, many at a time, so that it costs no call for each entry. What a
// listing says of a file that a program holds open may lag until it closes the file.
class WindowsDirectoryReader : public DirectoryReader {
public:
    WindowsDirectoryReader(SystemHandle folder, uint64_t volumeId)
        : m_folder(std::move(folder)), m_volumeId(volumeId), m_listing(kListingBytes / sizeof(uint64_t)) {}

    bool Next(DirectoryEntry& entry) override {
        while (true) {
            if (m_next == nullptr && !ReadMore()) {
                return false;
            }
            const FILE_ID_BOTH_DIR_INFO& raw = *m_next;
            m_next = raw.NextEntryOffset == 0
                         ? nullptr
                         : reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(
                               reinterpret_cast<const char*>(&raw) + raw.NextEntryOffset);
            const TextView name(raw.FileName, raw.FileNameLength / sizeof(TCHAR));
            if (name != L"." && name != L"..") {
                Describe(raw, name, entry);
                return true;
            }
        }
    }

private:
    bool ReadMore() {
        if (GetFileInformationByHandleEx(m_folder.Get(), FileIdBothDirectoryInfo, m_listing.data(),
                                         static_cast<DWORD>(m_listing.size() * sizeof(uint64_t))) == 0) {
            return FailWithSystemError();
        }
        m_next = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(m_listing.data());
        return true;
    }

    void Describe(const FILE_ID_BOTH_DIR_INFO& raw, TextView name, DirectoryEntry& entry) const {
        entry.name = name;
        entry.hasStatus = true;
        FileStatus& status = entry.status;
        // For a reparse point the field of the extended attributes holds its tag.
        status.attributes = AttributesOf(raw.FileAttributes, raw.EaSize);
        status.size = status.IsRegularFile() ? static_cast<uint64_t>(raw.EndOfFile.QuadPart) : 0;
        status.creationTime = NanosecondsOf(raw.CreationTime);
        status.accessTime = NanosecondsOf(raw.LastAccessTime);
        status.writeTime = NanosecondsOf(raw.LastWriteTime);
        status.changeTime = NanosecondsOf(raw.ChangeTime);
        status.fileId = static_cast<uint64_t>(raw.FileId.QuadPart);
        status.volumeId = m_volumeId;
    }

    const SystemHandle m_folder;
    const uint64_t m_volumeId;
    std::vector<uint64_t> m_listing;
    const FILE_ID_BOTH_DIR_INFO* m_next = nullptr;  // into the listing; null when it is used up
};

}  // namespace

std::unique_ptr<DirectoryReader> DirectoryReader::Open(TextView folder, bool) {
    const std::wstring system = SystemPath(folder);
    if (system.empty()) {
        return nullptr;
    }
    FileStatus status;
    SystemHandle handle =
        OpenFolder(system, FILE_LIST_DIRECTORY | SYNCHRONIZE, 0, /*followLink=*/false, status);
    if (!handle) {
        return nullptr;
    }
    return std::make_unique<WindowsDirectoryReader>(std::move(handle), status.volumeId);
}

}  // namespace rampart::platform
