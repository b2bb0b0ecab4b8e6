#include "platform/message_wait.h"

namespace rampart::platform {

std::unique_ptr<MessageWait> MessageWait::Begin(uint32_t) {
    return nullptr;  // no thread of this system has a message queue
}

}  // namespace rampart::platform
