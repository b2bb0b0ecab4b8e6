// Changes below a folder, as they happen.
#pragma once

#include <memory>
#include <vector>

#include "platform/text.h"

namespace rampart::platform {

enum class ChangeKind {
    kAdded,
    kRemoved,
    kModified,     // content, times or rights
    kRenamedFrom,  // always followed at once by kRenamedTo
    kRenamedTo,
    kRescan,  // there were more changes than the system keeps: anything below the path may have changed
};

struct DirectoryChange {
    ChangeKind kind = ChangeKind::kRescan;
    Text path;  // engine path
    bool operator==(const DirectoryChange&) const = default;
};

// Watches a folder and all below it from the moment it is made; what is added later is watched too. Links are
// not followed.
//
// Changes are told in their order. One may be told twice, and something is told that was gone at once. Of a
// folder that comes into the tree as a whole its own path is always told, what lies in it not everywhere:
// whoever is told of a new folder looks into it. A rename out of the watched folder is a removal, one into it
// an addition.
class DirectoryWatch {
public:
    // Null when the folder is missing or cannot be watched; kTooManyOpenFiles when the system has no watches
    // left.
    static std::unique_ptr<DirectoryWatch> Open(TextView folder);
    // No call may be under way.
    virtual ~DirectoryWatch() = default;

    // Waits for changes; `changes` is replaced. False, with nothing told, once the watch has ended: after
    // Stop with kRequestAborted, when the folder itself is gone with kPathNotFound, when a new folder could
    // not be watched as after Open. One thread at a time.
    virtual bool Read(std::vector<DirectoryChange>& changes) = 0;
    // Ends the call of Read that waits, and all later ones. Any thread.
    virtual void Stop() = 0;
};

}  // namespace rampart::platform
