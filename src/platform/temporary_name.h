// Names of files that are being written beside the place they are meant for. They say which process of which
// machine writes them, so that a later one can tell what a killed one left.
#pragma once

#include "platform/text.h"

namespace rampart::platform {

// A name of its own for each call; any thread.
Text NewTemporaryName();

// Whether a name is one of these whose process has ended. One of another machine, which may share the folder,
// is never taken for dead.
bool IsDeadTemporaryName(TextView name);

}  // namespace rampart::platform
