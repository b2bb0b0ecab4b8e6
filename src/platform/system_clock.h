// The clock of the operating system, one for each platform.
#pragma once

#include "platform/clock.h"

namespace rampart::platform {

Clock& SystemClock();

}  // namespace rampart::platform
