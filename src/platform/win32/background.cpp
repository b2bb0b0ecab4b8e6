#include "platform/background.h"

namespace rampart::platform {

// A program stays with the console from which it was called.
bool GoToBackground(int& exitCode) {
    exitCode = 0;
    return true;
}

void TellBackgroundStarted() {}

}  // namespace rampart::platform
