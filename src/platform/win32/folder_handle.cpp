// An open folder keeps itself and all above it from being renamed, deleted or made a link: its handle shares
// no deletion, and each folder holds the one that it was opened in. So paths stay what they were checked to
// be.
#include "platform/folder_handle.h"

#include "platform/win32/native.h"

namespace rampart::platform {
namespace {

bool IsSingleName(TextView name) {
    const bool isName = !name.empty() && name != TextView(L".") && name != TextView(L"..") &&
                        name.find_first_of(TextView(L"\\/:*?\"<>|\0", 10)) == TextView::npos &&
                        name.back() != L'.' && name.back() != L' ';
    if (!isName) {
        SetLastError(kInvalidName);
    }
    return isName;
}

SystemHandle PinFolder(const std::wstring& path, bool followLink) {
    return SystemHandle(CreateFileW(
        path.c_str(), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
        OPEN_EXISTING,
        FILE_FLAG_BACKUP_SEMANTICS | (followLink ? 0u : static_cast<DWORD>(FILE_FLAG_OPEN_REPARSE_POINT)),
        nullptr));
}

class WindowsFolder : public FolderHandle, public std::enable_shared_from_this<WindowsFolder> {
public:
    WindowsFolder(std::shared_ptr<WindowsFolder> parent, Text path, SystemHandle pin)
        : m_parent(std::move(parent)), m_path(std::move(path)), m_pin(std::move(pin)) {}

    static std::shared_ptr<WindowsFolder> OpenAt(std::shared_ptr<WindowsFolder> parent, const Text& path,
                                                 bool followLink) {
        const std::wstring system = SystemPath(path);
        if (system.empty()) {
            return nullptr;
        }
        SystemHandle pin = PinFolder(system, followLink);
        FileStatus status;
        if (!pin || !ReadStatus(pin.Get(), status)) {
            FailWithSystemError();
            return nullptr;
        }
        if (!status.IsDirectory()) {
            SetLastError(kPathNotFound);
            return nullptr;
        }
        return std::make_shared<WindowsFolder>(std::move(parent), path, std::move(pin));
    }

    std::shared_ptr<FolderHandle> OpenFolder(TextView name) override {
        return IsSingleName(name) ? OpenAt(shared_from_this(), PathOf(name), false) : nullptr;
    }

    bool MakeFolder(TextView name) override { return IsSingleName(name) && CreateFolder(PathOf(name)); }

    std::unique_ptr<FileHandle> MakeFile(TextView name) override {
        return IsSingleName(name)
                   ? FileHandle::Open(PathOf(name), kOpenRead | kOpenWrite | kOpenCreate | kOpenExclusive)
                   : nullptr;
    }

    std::unique_ptr<FileHandle> OpenFile(TextView name, bool) override {
        return IsSingleName(name) ? FileHandle::Open(PathOf(name), kOpenRead) : nullptr;
    }

    bool MakeLink(TextView name, const std::string& target) override {
        if (!IsSingleName(name)) {
            return false;
        }
        constexpr DWORD kWithoutPrivilege = 0x2;
        return CreateSymbolicLinkW(SystemPath(PathOf(name)).c_str(), FromUtf8(target).c_str(),
                                   kWithoutPrivilege) != 0 ||
               FailWithSystemError();
    }

    bool ReadLink(TextView name, std::string& target) override {
        return IsSingleName(name) && platform::ReadLink(PathOf(name), target);
    }

    bool MakeHardLink(TextView name, FolderHandle& source, TextView sourceName) override {
        if (!IsSingleName(name) || !IsSingleName(sourceName)) {
            return false;
        }
        const std::wstring from = SystemPath(static_cast<WindowsFolder&>(source).PathOf(sourceName));
        return CreateHardLinkW(SystemPath(PathOf(name)).c_str(), from.c_str(), nullptr) != 0 ||
               FailWithSystemError();
    }

    bool MakeSpecial(TextView, const Attributes&) override {
        SetLastError(kNotSupported);
        return false;
    }

    bool QueryStatus(TextView name, FileStatus& status) override {
        return IsSingleName(name) && platform::QueryStatus(PathOf(name), status);
    }

    std::unique_ptr<DirectoryReader> List(bool withStatus) override {
        return DirectoryReader::Open(m_path, withStatus);
    }

    bool Rename(TextView from, TextView to, bool replace) override {
        return IsSingleName(from) && IsSingleName(to) && RenamePath(PathOf(from), PathOf(to), replace);
    }

    bool Remove(TextView name) override { return IsSingleName(name) && RemoveFile(PathOf(name)); }

    bool ApplyAttributes(TextView name, std::string_view bytes, const ApplyOptions& options,
                         std::vector<std::string>& missed) override {
        if (!name.empty() && !IsSingleName(name)) {
            missed.emplace_back("attributes");
            return false;
        }
        return platform::ApplyAttributes(name.empty() ? m_path : PathOf(name), bytes, options, missed);
    }

    bool SyncFileSystem() override { return true; }  // only an administrator can ask for it

private:
    Text PathOf(TextView name) const {
        Text path = m_path;
        if (path.back() != L'\\') {
            path.push_back(L'\\');
        }
        return path.append(name);
    }

    const std::shared_ptr<WindowsFolder> m_parent;  // stays pinned, too
    const Text m_path;
    const SystemHandle m_pin;
};

}  // namespace

bool IsFileName(TextView name) {
    return IsSingleName(name);
}

std::shared_ptr<FolderHandle> FolderHandle::Open(TextView path) {
    return WindowsFolder::OpenAt(nullptr, Text(path), true);
}

}  // namespace rampart::platform
