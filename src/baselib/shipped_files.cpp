#include "baselib/shipped_files.h"

#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "platform/process.h"

namespace rampart {

using platform::Text;

Text ShippedFolder() {
    if (const std::string folder = platform::EnvironmentVariable("RAMPART_SHARE"); !folder.empty()) {
        return platform::ToEnginePath(folder);
    }
    Text folder = platform::ExecutableFolder();
    const size_t backslash = folder.rfind(_T('\\'));
    if (backslash == Text::npos) {
        return {};
    }
    folder.resize(backslash);
    folder += _T("\\share\\rampart");
    platform::FileStatus status;
    return platform::QueryStatus(folder, status) && status.IsDirectory() ? folder : Text();
}

}  // namespace rampart
