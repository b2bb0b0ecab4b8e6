// What a person means by a path in the vault, however it is typed.
#pragma once

#include <string>
#include <vector>

#include "engine/vaultlib.h"

namespace rampart::host {

// The server path of: a task by its name; a path from the vault's root; a local path that a task backs up; a
// path below a task's folder as `ls -r` prints it, with the task's name before it or without; what a deleted
// task left, by its old name. Slashes and backslashes both separate names. Throws CommandError if nothing
// stored is meant, or several things are.
CString ResolveVaultPath(CBackupManage& manager, std::string const& text);

// A wish for a state of the tree that knows where the older versions lie. The manager must outlive it.
StateWish WishOf(CBackupManage& manager);

// The places to which what is stored at a server path goes back in place: the path itself, or the sources of
// the task whose folder it is. Throws CommandError if nobody knows where it came from.
std::vector<RestorePlace> OwnPlaces(CBackupManage& manager, CString const& serverPath);

}  // namespace rampart::host
