// Where this process keeps its copies of a person's files, and what is done about those that a process left
// which ended without a chance to. Each process has a folder of its own in the cache's temporary folder, with
// a file beside it that it holds locked: the system takes the lock back however the process ends. Any thread.
#pragma once

#include <vector>

#include "framework/framework.h"

namespace rampart {

// Engine path of this process's own folder, which need not exist; taken at the first call. Empty where it
// cannot be had: no copy is to be made then, since nobody could tell whose it is.
CString OwnCopyFolder();

// As long as one of these lives, copies of this process are in use, and DropOwnCopies leaves them.
class CopiesInUse {
public:
    CopiesInUse();
    ~CopiesInUse();
    CopiesInUse(CopiesInUse const&) = delete;
    CopiesInUse& operator=(CopiesInUse const&) = delete;
};

// Deletes this process's copies if none is in use.
void DropOwnCopies();
// The same, and gives the folder up.
void LeaveOwnCopyFolder();

// Deletes the copies of processes that have ended. Nothing but folders with names that are given here is
// touched.
void SweepDeadCopies();

// Earlier programs kept their copies in "cache\Temp" of the user's data, where others may keep theirs: below
// a folder named like the first name of a task's server path. Deletes those of `serverFolders`.
void SweepFormerCopies(std::vector<CString> const& serverFolders);

}  // namespace rampart
