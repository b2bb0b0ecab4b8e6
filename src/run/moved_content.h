// What a run need not send although it looks new: content that was renamed or moved.
#pragma once

#include <vector>

#include "framework/framework.h"

namespace rampart {

// Bytes of those files of `paths` (local) whose content the vault holds under a server path of `gone`, or
// below one: the same size and the same exact write time. Nothing is read but what the file system says of
// the files, and that only if something is gone.
__int64 MovedBytes(std::vector<CString> const& gone, CStringList const& paths);

}  // namespace rampart
