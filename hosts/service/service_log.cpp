#include "service_log.h"

#include <cstdlib>
#include <iostream>
#include <mutex>

#include "common/text.h"

namespace rampart::service {

void Log(std::string const& line) {
    static std::mutex mutex;
    static bool const isJournal = std::getenv("JOURNAL_STREAM") != nullptr;
    std::string const stamp = isJournal ? "" : host::Utf8(NowRaw().Format(_T("%Y-%m-%d %H:%M:%S ")));
    std::lock_guard const lock(mutex);
    std::cout << stamp + line + "\n" << std::flush;
}

}  // namespace rampart::service
