// What differs between two states of what is stored, or between a state and the local disk: the door for
// hosts.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "restore/vault_restore.h"

class CBackupTask;

namespace rampart {

enum class DifferenceKind {
    kAdded,       // only on the later side
    kGone,        // only on the earlier side
    kContent,     // of a file, or where a link leads
    kAttributes,  // the same content; rights, owner, last-write time and the like differ
    kKind,        // file, folder, link or special file: another of these
};

struct VAULTLIB_API Difference {
    CString serverPath;
    DifferenceKind change = DifferenceKind::kAdded;
    bool isFolder = false;  // on the later side, where it is there
    bool isLink = false;
};

struct VAULTLIB_API DifferenceRequest {
    StateWish before;
    std::optional<StateWish> after;  // none: the local disk as it is now
    // A stored file or folder each; against the disk with the local path that stands beside it.
    std::vector<RestorePlace> places;
    // Against the disk: what this task leaves out does not differ. May be null. Not copied.
    CBackupTask* task = nullptr;
    // Asked now and then; false cancels. May be empty.
    std::function<bool()> goOn;
    // Each path that differs: a folder's entries in name order, before those of the folders in it.
    std::function<void(Difference const&)> visit;
    // What could not be compared, with all below it. May be empty.
    std::function<void(SkippedEntry const&)> leftOut;
};

class VAULTLIB_API VaultDifference {
public:
    // Blocks, and keeps no more in memory than the folder at hand and the names of those still to be looked
    // at. A service code; 6 after a cancel. On a failure `message` says what happened.
    //
    // Folders differ in rights and owner alone: their times follow what happens in them. Of content on the
    // disk only that is read of which size and times do not tell that it is as stored. What a record says
    // beside its content is kept for the state stored last; a change of it alone before that is not known any
    // more.
    static int Run(DifferenceRequest const& request, CString& message);
};

}  // namespace rampart
