// Which entries of a folder can be backed up, and why others cannot.
#pragma once

#include "framework/cstring.h"
#include "platform/file_system.h"

namespace rampart {

// One status call. False if nothing is there or if it is neither a regular file nor a folder; trailing
// backslashes do not count.
bool QueryKnownKind(TextView path, platform::FileStatus& status);

// "symbolic link", "named pipe, socket or device"; null for a file or a folder.
LPCTSTR ReasonToSkip(uint32_t attributes);

// Notes the entry `name` of `folder` with `reason` (see SkippedEntry).
void NoteSkipped(TextView folder, TextView name, LPCTSTR reason);
// Notes that a path could not be read, with the text of the last error.
void NoteUnreadable(TextView path);

}  // namespace rampart
