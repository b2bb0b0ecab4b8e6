#include "transferlib/tree_edit.h"

#include "platform/clock.h"
#include "storage/server_path.h"
#include "transferlib/transfer.h"

namespace rampart {
namespace {

MirrorChange ChangeOf(MirrorChange::Kind kind, std::string_view path, std::string text = {}) {
    const ServerPathParts parts = SplitLastName(path);
    MirrorChange change;
    change.kind = kind;
    change.folder = parts.folder;
    change.name = parts.name;
    change.text = std::move(text);
    return change;
}

}  // namespace

std::string TreeEdit::OwnPath(const CString& path) {
    MirrorRecord found;
    const bool known = m_connection.Mirror().FindRecord(path, false, found) == kOk;
    return known ? found.path.ToUtf8() : path.ToUtf8();
}

ServiceResult TreeEdit::MakeFolder(TextView path, const CString& description, uint32_t flags, int64_t& id) {
    const std::string asked = platform::ToUtf8(path);
    const ServerPathParts parts = SplitLastName(asked);
    const std::string parent = m_connection.Mirror().OwnFolderPath(platform::FromUtf8(parts.folder));
    ServiceResult result = m_connection.Service().CreateFolder(JoinServerPath(parent, parts.name),
                                                               description.ToUtf8(), flags, id);
    if (!result.Ok()) {
        return result;
    }
    MirrorChange put;
    put.folder = parent;
    put.name = parts.name;
    put.record.id = id;
    put.record.name = parts.name;
    put.record.isFolder = true;
    put.record.flags = flags;
    put.record.description = description.ToUtf8();
    put.record.storedTime = platform::CurrentClock().NowNanoseconds();
    if (result.sequence != 0) {
        m_connection.Mirror().Apply(result.sequence, {&put, 1});
    } else {
        m_connection.Mirror().NoteExistingFolder(JoinServerPath(parent, parts.name), id);
    }
    return result;
}

ServiceResult TreeEdit::Rename(const CString& path, const CString& newName) {
    const std::string own = OwnPath(path);
    const std::string name = newName.ToUtf8();
    ServiceResult result = m_connection.Service().Rename(own, name);
    if (result.Ok() && result.sequence != 0) {
        const MirrorChange change = ChangeOf(MirrorChange::kRename, own, name);
        m_connection.Mirror().Apply(result.sequence, {&change, 1});
    }
    return result;
}

ServiceResult TreeEdit::Describe(const CString& path, const CString& description) {
    const std::string own = OwnPath(path);
    ServiceResult result = m_connection.Service().Describe(own, description.ToUtf8());
    if (result.Ok() && result.sequence != 0) {
        const MirrorChange change = ChangeOf(MirrorChange::kDescribe, own, description.ToUtf8());
        m_connection.Mirror().Apply(result.sequence, {&change, 1});
    }
    return result;
}

ServiceResult TreeEdit::Delete(const std::vector<std::string>& asked, ProgressCallBack* callback) {
    Transfer transfer(nullptr);
    // In the folder's own case: that is how the mirror knows it.
    std::vector<std::string> paths;
    for (const std::string& path : asked) {
        const auto [folder, name] = SplitLastName(path);
        paths.push_back(
            JoinServerPath(m_connection.Mirror().OwnFolderPath(platform::FromUtf8(folder)), name));
    }
    size_t reached = 0;
    ServiceResult stopped;
    ServiceResult result = m_connection.Service().Delete(paths, [&](size_t done) {
        reached = done;
        if (const int code = transfer.Advance(CString(), 0, 0, 0)) {
            stopped = ServiceResult::OfCode(code);
            return false;
        }
        if (callback == nullptr) {
            return true;
        }
        const int percent = static_cast<int>(done * 100 / paths.size());
        return callback->DoProgress(percent, CString::FromUtf8(paths[done])) != 0;
    });
    const size_t deleted = result.Ok() ? paths.size() : reached;
    std::vector<MirrorChange> changes;
    for (size_t i = 0; i < deleted; ++i) {
        changes.push_back(ChangeOf(MirrorChange::kRemove, paths[i]));
    }
    if (result.sequence != 0) {
        m_connection.Mirror().Apply(result.sequence, changes);
    }
    return stopped.Ok() ? result : stopped;
}

ServiceResult TreeEdit::Copy(const CString& path, const CString& targetFolder, ProgressCallBack* callback) {
    const std::string own = OwnPath(path);
    const std::string target = m_connection.Mirror().OwnFolderPath(targetFolder);
    StoredRecord record;
    if (ServiceResult found = m_connection.Service().FindRecord(own, record); !found.Ok()) {
        return found;
    }
    return record.isFolder ? CopyFolder(own, target, callback) : CopyFile(own, target);
}

ServiceResult TreeEdit::CopyFile(const std::string& path, const std::string& targetFolder) {
    int64_t id = 0;
    ServiceResult result = m_connection.Service().CopyFile(path, targetFolder, "", id);
    if (!result.Ok() || result.sequence == 0) {
        return result;
    }
    MirrorRecord copied;
    MirrorChange put;
    put.folder = targetFolder;
    if (m_connection.Mirror().FindRecord(platform::FromUtf8(path), false, copied) == kOk) {
        put.name = copied.record.name;
        put.record = copied.record;
        m_connection.Mirror().Apply(result.sequence, {&put, 1});
    }
    return result;
}

ServiceResult TreeEdit::CopyFolder(const std::string& path, const std::string& targetFolder,
                                   ProgressCallBack* callback) {
    if ((targetFolder + "\\").starts_with(path + "\\")) {
        return {kInvalidRequest, path + " cannot be copied into itself"};
    }
    // Listed first: the copies must not show up in what is still to be copied.
    struct Item {
        std::string folder;
        StoredRecord record;
    };
    std::vector<Item> items;
    int64_t sequence = 0;
    ServiceResult listed = m_connection.Service().ListTree(
        path,
        [&](const std::string& folder, const StoredRecord&, std::span<const StoredRecord> records) {
            for (const StoredRecord& record : records) {
                items.push_back({folder, record});
            }
            return true;
        },
        sequence);
    if (!listed.Ok()) {
        return listed;
    }
    const std::string base = JoinServerPath(targetFolder, SplitLastName(path).name);
    int64_t id = 0;
    ServiceResult result = MakeFolder(platform::FromUtf8(base), CString(), 0, id);
    for (size_t i = 0; result.Ok() && i < items.size(); ++i) {
        const auto& [folder, record] = items[i];
        const std::string target = base + folder.substr(path.size());
        if (callback != nullptr && callback->DoProgress(static_cast<int>(i * 100 / items.size()),
                                                        CString::FromUtf8(record.name)) == 0) {
            return {kCancelled, ServiceCodeText(kCancelled)};
        }
        if (record.isFolder) {
            result = MakeFolder(platform::FromUtf8(JoinServerPath(target, record.name)),
                                CString::FromUtf8(record.description), record.flags, id);
        } else if ((record.flags & kRecordPartial) == 0) {
            result = CopyFile(JoinServerPath(folder, record.name), target);
        }
    }
    return result;
}

}  // namespace rampart
