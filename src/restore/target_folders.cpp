#include "restore/target_folders.h"

#include <algorithm>
#include <vector>

#include "interfaces/baselib.h"

namespace rampart {
namespace {

constexpr size_t kMostOpen = 192;  // a process may open 1024 files on most systems
constexpr size_t kClosedAtOnce = 64;

}  // namespace

std::shared_ptr<platform::FolderHandle> TargetFolders::Open(uint32_t folder) {
    std::lock_guard lock(m_mutex);
    return OpenLocked(folder);
}

void TargetFolders::Forget(uint32_t folder) {
    std::lock_guard lock(m_mutex);
    m_kept.erase(folder);
}

std::shared_ptr<platform::FolderHandle> TargetFolders::OpenLocked(uint32_t folder) {
    if (const auto found = m_kept.find(folder); found != m_kept.end()) {
        found->second.lastUse = ++m_uses;
        return found->second.handle;
    }
    // Down from the nearest folder that is open, without recursion: a tree may be deep.
    std::vector<uint32_t> way{folder};
    std::shared_ptr<platform::FolderHandle> handle;
    for (uint32_t at = m_plan.folders[folder].parent; at != kNoIndex && !handle;
         at = m_plan.folders[at].parent) {
        if (const auto found = m_kept.find(at); found != m_kept.end()) {
            handle = found->second.handle;
        } else {
            way.push_back(at);
        }
    }
    for (auto step = way.rbegin(); step != way.rend(); ++step) {
        const PlannedFolder& planned = m_plan.folders[*step];
        handle = planned.parent == kNoIndex ? OpenRoot(planned) : handle->OpenFolder(planned.name);
        if (!handle) {
            return nullptr;
        }
        MakeRoom();
        m_kept[*step] = {handle, ++m_uses};
    }
    return handle;
}

std::shared_ptr<platform::FolderHandle> TargetFolders::OpenRoot(const PlannedFolder& root) const {
    const CString path(TextView(root.name));
    const CString above = PathUtilities::GetParentFolder(path);
    const CString name = PathUtilities::GetFileName(path);
    if (!root.isInPlace || above.IsEmpty() || name.IsEmpty()) {
        return platform::FolderHandle::Open(root.name);
    }
    const auto parent = platform::FolderHandle::Open(above.ToText());
    return parent ? parent->OpenFolder(name.ToText()) : nullptr;
}

void TargetFolders::MakeRoom() {
    if (m_kept.size() < kMostOpen) {
        return;
    }
    std::vector<std::pair<uint64_t, uint32_t>> byUse;
    for (const auto& [folder, kept] : m_kept) {
        byUse.emplace_back(kept.lastUse, folder);
    }
    std::nth_element(byUse.begin(), byUse.begin() + kClosedAtOnce, byUse.end());
    for (size_t i = 0; i < kClosedAtOnce; ++i) {
        m_kept.erase(byUse[i].second);
    }
}

}  // namespace rampart
