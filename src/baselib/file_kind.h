// Which entries of a folder can be backed up, and why others cannot.
#pragma once

#include "framework/cstring.h"
#include "interfaces/baselib.h"
#include "platform/file_system.h"

namespace rampart {

// One status call. False if nothing is there or if it is neither a file, a symbolic link nor a folder;
// trailing backslashes do not count. A link is not followed, and counts as a file.
bool QueryKnownKind(TextView path, platform::FileStatus& status);

// How an entry that is no folder is backed up.
FileKind KindOf(const platform::FileStatus& status);

// "named pipe, socket or device" unless pipes and devices are kept (KeepSpecialFiles) and it is one, "link to
// a folder" (where the system takes it for a folder); null for a file, a link or a folder.
LPCTSTR ReasonToSkip(uint32_t attributes);

// Notes the entry `name` of `folder` with `reason` (see SkippedEntry).
void NoteSkipped(TextView folder, TextView name, LPCTSTR reason);
// Notes that a path could not be read, with the text of the last error.
void NoteUnreadable(TextView path);

}  // namespace rampart
