#include "baselib/folder_walk.h"

#include <vector>

#include "baselib/file_kind.h"
#include "baselib/path_text.h"
#include "platform/file_system.h"

namespace rampart {
namespace {

using platform::DirectoryEntry;
using platform::DirectoryReader;

Text Joined(TextView folder, TextView name) {
    Text path(folder);
    if (path.empty() || path.back() != kBackslash) {
        path += kBackslash;
    }
    return path.append(name);
}

// Calls `use` for each entry; false if the folder could not be read to its end.
template <class Use>
bool ForEachEntry(TextView folder, bool withStatus, Use&& use) {
    const auto reader = DirectoryReader::Open(folder, withStatus);
    if (!reader) {
        return false;
    }
    DirectoryEntry entry;
    while (reader->Next(entry)) {
        use(entry);
    }
    return platform::LastError() == platform::kNoMoreItems;
}

bool IsGone(TextView path) {
    platform::FileStatus status;
    if (platform::QueryStatus(path, status)) {
        return false;
    }
    return platform::LastError() == platform::kFileNotFound ||
           platform::LastError() == platform::kPathNotFound;
}

void ClearReadOnly(TextView path) {
    platform::FileStatus status;
    if (platform::QueryStatus(path, status) && (status.attributes & platform::kReadOnly) != 0) {
        platform::SetAttributes(path, status.attributes & ~static_cast<uint32_t>(platform::kReadOnly));
    }
}

// Empties the folder as far as it can, and lists the folders that were in it.
void RemoveFilesOf(TextView folder, std::vector<Text>& subfolders) {
    // Where a name's removal is the business of its folder, the folder is the one that must not be read-only.
    ClearReadOnly(folder);
    std::vector<Text> files;
    ForEachEntry(folder, false, [&](const DirectoryEntry& entry) {
        const bool isFolder =
            entry.status.IsDirectory() && (entry.status.attributes & platform::kReparsePoint) == 0;
        (isFolder ? subfolders : files).push_back(Joined(folder, entry.name));
    });
    for (const Text& file : files) {
        RemoveFileByForce(file);
    }
}

bool CopyEntry(const DirectoryEntry& entry, TextView from, TextView to,
               std::vector<std::pair<Text, Text>>& folders) {
    // A copy is for what is read later, and a link leads somewhere else from there.
    const LPCTSTR reason = entry.status.IsLink()      ? _T("symbolic link")
                           : entry.status.IsSpecial() ? _T("named pipe, socket or device")
                                                      : ReasonToSkip(entry.status.attributes);
    if (reason != nullptr) {
        NoteSkipped(from, entry.name, reason);
        return true;
    }
    Text source = Joined(from, entry.name), target = Joined(to, entry.name);
    if (entry.status.IsDirectory()) {
        folders.emplace_back(std::move(source), std::move(target));
        return true;
    }
    return platform::CopyFileContent(source, target, nullptr);
}

}  // namespace

uint64_t SizeOfFolder(TextView folder) {
    uint64_t size = 0;
    std::vector<Text> folders{Text(WithoutTrailingBackslashes(folder))};
    while (!folders.empty()) {
        const Text present = std::move(folders.back());
        folders.pop_back();
        ForEachEntry(present, true, [&](const DirectoryEntry& entry) {
            if (entry.status.IsLink() || ReasonToSkip(entry.status.attributes)) {
                return;
            }
            if (entry.status.IsDirectory()) {
                folders.push_back(Joined(present, entry.name));
            } else {
                size += entry.status.size;
            }
        });
    }
    return size;
}

bool CopyWholeFolder(TextView from, TextView to) {
    if (IsInFolder(to, from)) {
        platform::SetLastError(platform::kInvalidParameter);
        return false;
    }
    bool complete = true;
    std::vector<std::pair<Text, Text>> folders{
        {Text(WithoutTrailingBackslashes(from)), Text(WithoutTrailingBackslashes(to))}};
    while (!folders.empty()) {
        const auto [source, target] = std::move(folders.back());
        folders.pop_back();
        if (!platform::CreateFolders(target)) {
            complete = false;
            continue;
        }
        complete &=
            ForEachEntry(source, false, [&, &source = source, &target = target](const DirectoryEntry& entry) {
                complete &= CopyEntry(entry, source, target, folders);
            });
    }
    return complete;
}

bool RemoveWholeFolder(TextView folder) {
    // Folders in the order of their discovery: each stands behind the one that holds it.
    std::vector<Text> found{Text(WithoutTrailingBackslashes(folder))};
    for (size_t index = 0; index < found.size(); index++) {
        std::vector<Text> subfolders;
        RemoveFilesOf(found[index], subfolders);
        for (Text& subfolder : subfolders) {
            found.push_back(std::move(subfolder));
        }
    }
    bool removed = true;
    for (size_t index = found.size(); index-- > 0;) {
        removed = platform::RemoveEmptyFolder(found[index]) || IsGone(found[index]);
    }
    return removed;
}

bool RemoveFileByForce(TextView path) {
    if (platform::RemoveFile(path)) {
        return true;
    }
    if (platform::LastError() == platform::kAccessDenied) {
        ClearReadOnly(path);
        if (platform::RemoveFile(path)) {
            return true;
        }
    }
    const uint32_t error = platform::LastError();
    const bool gone = IsGone(path);
    platform::SetLastError(error);
    return gone;
}

}  // namespace rampart
