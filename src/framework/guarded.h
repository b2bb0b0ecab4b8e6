// The edge of an operation: nothing that is thrown inside leaves it, and a line in the debug log says that it
// happened.
#pragma once

#include <string>
#include <type_traits>
#include <utility>

#include "framework/types.h"

namespace rampart {

// Receives the line of a guarded operation that failed and what was thrown, as UTF-8. May be called from any
// thread, also while the process ends; must not throw (what it throws is dropped).
using GuardSink = void (*)(TextView line, const std::string& reason);

// Where the lines go from now on; null drops them. Returns the one before. The debug log sets it once.
VAULTLIB_API GuardSink SetGuardSink(GuardSink sink);

// Only inside a handler: what is being handled, as a sentence in UTF-8.
VAULTLIB_API std::string DescribeCurrentException();

// Only inside a handler: sends `line` and the description of what is being handled to the sink. Never throws.
VAULTLIB_API void ReportCurrentException(TextView line) noexcept;

// Runs `body` and returns its result; if it throws anything, reports `line` and returns `fallback`.
template <class Body>
std::invoke_result_t<Body> Guarded(TextView line, std::type_identity_t<std::invoke_result_t<Body>> fallback,
                                   Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        ReportCurrentException(line);
    }
    return fallback;
}

// The same for a body without a result. True if it came to its end.
template <class Body>
requires std::is_void_v<std::invoke_result_t<Body>>
bool Guarded(TextView line, Body&& body) {
    try {
        std::forward<Body>(body)();
        return true;
    } catch (...) {
        ReportCurrentException(line);
    }
    return false;
}

}  // namespace rampart
