#include "platform/directory_watch.h"

#include <algorithm>
#include <cstring>

#include "platform/win32/native.h"

namespace rampart::platform {
namespace {

constexpr DWORD kToldChanges = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                               FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE |
                               FILE_NOTIFY_CHANGE_ATTRIBUTES;
constexpr DWORD kAnswerSize = 64 * 1024;  // the most that a share takes
constexpr DWORD kHalfRenameMs = 20;       // the other half of a rename follows at once, but may miss a read

class WindowsDirectoryWatch : public DirectoryWatch {
public:
    WindowsDirectoryWatch(SystemHandle folder, Text root)
        : m_folder(std::move(folder)), m_root(std::move(root)) {}

    ~WindowsDirectoryWatch() override {
        if (m_isAsked) {
            DWORD ignored = 0;
            CancelIoEx(m_folder.Get(), &m_call);
            GetOverlappedResult(m_folder.Get(), &m_call, &ignored, TRUE);
        }
    }

    // From the first question on the system keeps what happens between two of them.
    bool Ask() {
        m_call = {};
        m_call.hEvent = m_ready.Get();
        m_isAsked =
            ReadDirectoryChangesW(m_folder.Get(), m_buffer.data(), kAnswerSize,
                                  /*bWatchSubtree=*/TRUE, kToldChanges, nullptr, &m_call, nullptr) != 0;
        return m_isAsked || End(::GetLastError());
    }

    bool Read(std::vector<DirectoryChange>& changes) override {
        changes.clear();
        while (changes.empty()) {
            if (!m_isAsked) {
                SetLastError(m_error);
                return false;
            }
            const HANDLE waits[2] = {m_stop.Get(), m_ready.Get()};
            const DWORD timeoutMs = m_renamedFrom.empty() ? INFINITE : kHalfRenameMs;
            switch (WaitForMultipleObjects(2, waits, FALSE, timeoutMs)) {
                case WAIT_OBJECT_0:
                    SetLastError(kRequestAborted);
                    return false;
                case WAIT_OBJECT_0 + 1:
                    Take(changes);
                    break;
                default:
                    TellHalfRename(changes);
            }
        }
        return true;
    }

    void Stop() override { SetEvent(m_stop.Get()); }

private:
    bool End(DWORD error) {
        FailWithSystemError(error);
        m_error = LastError();
        return false;
    }

    // Tells what the system has answered, and asks again.
    void Take(std::vector<DirectoryChange>& changes) {
        DWORD size = 0;
        m_isAsked = false;
        if (GetOverlappedResult(m_folder.Get(), &m_call, &size, FALSE) == 0) {
            const DWORD error = ::GetLastError();
            // A question ends with the thread that asked it; the next one is this thread's.
            if (error != ERROR_NOTIFY_ENUM_DIR && error != ERROR_OPERATION_ABORTED) {
                End(error == ERROR_ACCESS_DENIED ? DWORD{kPathNotFound} : error);
                return;
            }
            size = 0;
        }
        std::vector<char> answer(m_buffer.begin(), m_buffer.begin() + size);
        Ask();
        if (size == 0) {
            TellHalfRename(changes);
            changes.push_back({ChangeKind::kRescan, m_root});
        }
        for (size_t at = 0; at < answer.size();) {
            FILE_NOTIFY_INFORMATION head;
            memcpy(&head, answer.data() + at, offsetof(FILE_NOTIFY_INFORMATION, FileName));
            std::wstring name(head.FileNameLength / sizeof(wchar_t), L'\0');
            memcpy(name.data(), answer.data() + at + offsetof(FILE_NOTIFY_INFORMATION, FileName),
                   head.FileNameLength);
            Tell(head.Action, m_root + L'\\' + name, changes);
            at = head.NextEntryOffset == 0 ? answer.size() : at + head.NextEntryOffset;
        }
    }

    void Tell(DWORD action, Text path, std::vector<DirectoryChange>& changes) {
        if (action == FILE_ACTION_RENAMED_NEW_NAME && !m_renamedFrom.empty()) {
            changes.push_back({ChangeKind::kRenamedFrom, std::exchange(m_renamedFrom, {})});
            changes.push_back({ChangeKind::kRenamedTo, std::move(path)});
            return;
        }
        TellHalfRename(changes);
        switch (action) {
            case FILE_ACTION_RENAMED_OLD_NAME:
                m_renamedFrom = std::move(path);
                break;
            case FILE_ACTION_ADDED:
            case FILE_ACTION_RENAMED_NEW_NAME:
                changes.push_back({ChangeKind::kAdded, std::move(path)});
                break;
            case FILE_ACTION_REMOVED:
                changes.push_back({ChangeKind::kRemoved, std::move(path)});
                break;
            default:
                // A change of one file that repeats is told once.
                if (DirectoryChange change{ChangeKind::kModified, std::move(path)};
                    changes.empty() || changes.back() != change) {
                    changes.push_back(std::move(change));
                }
        }
    }

    // An old name without a new one left the folder.
    void TellHalfRename(std::vector<DirectoryChange>& changes) {
        if (!m_renamedFrom.empty()) {
            changes.push_back({ChangeKind::kRemoved, std::exchange(m_renamedFrom, {})});
        }
    }

    const SystemHandle m_folder;
    const Text m_root;
    const SystemHandle m_ready = NewEvent();
    const SystemHandle m_stop = NewEvent();
    OVERLAPPED m_call = {};
    std::vector<char> m_buffer = std::vector<char>(kAnswerSize);
    bool m_isAsked = false;  // the system may write to m_buffer; false at the end of the watch, for m_error
    uint32_t m_error = kNoError;
    Text m_renamedFrom;  // the first half of a rename whose second is still to come
};

}  // namespace

std::unique_ptr<DirectoryWatch> DirectoryWatch::Open(TextView folder) {
    const std::wstring path = SystemPath(folder);
    if (path.empty()) {
        return nullptr;
    }
    FileStatus status;
    SystemHandle handle =
        OpenFolder(path, FILE_LIST_DIRECTORY, FILE_FLAG_OVERLAPPED, /*followLink=*/true, status);
    if (!handle) {
        return nullptr;
    }
    Text root(folder);
    while (root.ends_with(L'\\')) {
        root.pop_back();
    }
    auto watch = std::make_unique<WindowsDirectoryWatch>(std::move(handle), std::move(root));
    return watch->Ask() ? std::move(watch) : nullptr;
}

}  // namespace rampart::platform
