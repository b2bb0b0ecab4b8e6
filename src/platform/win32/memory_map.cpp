#include "platform/memory_map.h"

namespace rampart::platform {

SystemCall ReservingMemoryMap() {
    return nullptr;  // a section of a file has its room
}

}  // namespace rampart::platform
