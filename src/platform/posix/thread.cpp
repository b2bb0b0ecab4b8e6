#include "platform/thread.h"

#include <errno.h>

#include <system_error>
#include <thread>

#include "platform/posix/native.h"

namespace rampart::platform {

bool StartDetachedThread(std::function<void()> body) {
    try {
        std::thread(std::move(body)).detach();
        return true;
    } catch (const std::system_error& error) {
        return FailWithErrno(error.code().value());
    }
}

}  // namespace rampart::platform
