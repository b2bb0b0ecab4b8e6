// Work on a thread of its own while its caller sits in the host's modal loop.
#pragma once

#include <functional>

#include "framework/types.h"

namespace rampart {

// The modal loop that shows nothing.
inline constexpr unsigned int kLoopPlain = 1;

// Runs `work` on a worker between the host's WaitForEnterLoopMode and LeaveLoopMode, and returns once the
// worker has ended, however the loop went: what `work` refers to may live on the caller's stack. What `work`
// throws is `line` in the debug log. False if there was no thread to be had.
bool RunUnderLoop(TextView line, unsigned int loopType, int canCancel, std::function<void()> const& work);

}  // namespace rampart
