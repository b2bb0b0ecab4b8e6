// Local path to server path and back, for one task. The server mirrors the tree from the first source's
// parent down; a path outside that parent, or any path when the first source is a drive root, lies below a
// folder named after its drive. No two local paths meet, and the way back is the exact inverse.
#pragma once

#include <vector>

#include "framework/framework.h"
#include "task/task_types.h"

namespace rampart {

class ServerPathMap {
public:
    // The sources must outlive the object.
    explicit ServerPathMap(std::vector<SourceInfo*> const& sources);

    // The part of a server path below the task's server folder, with its leading backslash.
    CString ToServer(CString const& localPath) const;
    CString ToLocal(CString const& serverRest) const;

private:
    bool IsBelowParent(CString const& path) const;
    // The drive's letter, lengthened as long as a source below the parent has that name too.
    CString DriveFolder(TCHAR letter) const;

    std::vector<SourceInfo*> const& m_sources;
    CString m_parent;  // with trailing backslash; empty when the first source is a drive root
};

}  // namespace rampart
