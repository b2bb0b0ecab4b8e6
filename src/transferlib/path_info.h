// Records as the engine sees them.
#pragma once

#include <memory>

#include "interfaces/transferlib.h"
#include "transferlib/server_mirror.h"

namespace rampart {

// Of a file's record.
FileKind KindOfRecord(uint32_t flags);

// Whole seconds since 1970 UTC, rounded down; 0 for no time.
int64_t SecondsOf(int64_t nanoseconds);

// UTC; all zeros for no time and for one that the fields cannot hold.
SYSTEMTIME SystemTimeOf(int64_t nanoseconds);

std::unique_ptr<MyPathInfo> MakePathInfo(const MirrorRecord& found);

}  // namespace rampart
