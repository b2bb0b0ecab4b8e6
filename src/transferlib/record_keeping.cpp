#include "interfaces/record_keeping.h"

#include "platform/attributes.h"
#include "storage/server_path.h"
#include "transferlib/service_connection.h"
#include "transferlib/stored_content.h"

using namespace rampart;

namespace {

constexpr size_t kMostInOneCommit = 1000;

}  // namespace

int RecordKeeping::Update(std::vector<RecordUpdate> const& updates, CString& message) {
    return WithService(_T("Error: RecordKeeping::Update"), &message, [&](ServiceConnection& connection) {
        ServiceResult result;
        std::vector<AttributeCommit> commits;
        for (size_t i = 0; i < updates.size() && result.Ok(); ++i) {
            const RecordUpdate& update = updates[i];
            const std::string path = update.serverPath.ToUtf8();
            const ServerPathParts parts = SplitLastName(path);
            commits.push_back({connection.Mirror().OwnFolderPath(platform::FromUtf8(parts.folder)),
                               std::string(parts.name), 0, update.modifiedTime, update.changeTime,
                               update.attributes});
            if (commits.size() >= kMostInOneCommit || i + 1 == updates.size()) {
                result = connection.SetAttributes(commits);
                commits.clear();
            }
        }
        return result;
    });
}

int RecordKeeping::MarkGone(std::vector<CString> const& serverPaths, __int64 when, CString& message) {
    return WithService(_T("Error: RecordKeeping::MarkGone"), &message, [&](ServiceConnection& connection) {
        std::vector<std::string> paths;
        for (CString const& path : serverPaths) {
            const std::string asked = path.ToUtf8();
            const ServerPathParts parts = SplitLastName(asked);
            paths.push_back(JoinServerPath(
                connection.Mirror().OwnFolderPath(platform::FromUtf8(parts.folder)), parts.name));
        }
        return connection.MarkGone(paths, when);
    });
}

bool RecordKeeping::HoldsContent(CString const& serverPath, CString const& localPath,
                                 std::function<bool()> const& goOn) {
    bool same = false;
    WithService(_T("Error: RecordKeeping::HoldsContent"), nullptr, [&](ServiceConnection& connection) {
        return CompareStoredContent(connection.Service(), serverPath.ToUtf8(), localPath, goOn, same);
    });
    return same;
}

bool RecordKeeping::WasMountRoot(__int64 attributes) {
    bool was = false;
    WithService(_T("Error: RecordKeeping::WasMountRoot"), nullptr, [&](ServiceConnection& connection) {
        std::string bytes;
        ServiceResult result = connection.Service().ReadAttributes(attributes, bytes);
        platform::Attributes read;
        was = result.Ok() && platform::DecodeAttributes(bytes, read) && read.isMountRoot;
        return result;
    });
    return was;
}
