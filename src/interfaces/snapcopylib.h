// Contract of snapcopylib: a copy of a file that is open elsewhere, by way of a volume snapshot.
#pragma once

#include "framework/framework.h"

// Called during a copy; 0 goes on, 2 stops it. `context` is what the caller of the copy passed.
using CopyRoutine = unsigned long (*)(__int64 totalBytes, __int64 movedBytes, void* context);

// Nonzero on success; otherwise `message` says why. The third argument is always 0.
VAULTLIB_API int VSSCopyFile(CString const& from, CString const& to, int reserved, CopyRoutine routine,
                             void* context, CString& message);
