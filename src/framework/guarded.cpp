#include "framework/guarded.h"

#include <atomic>
#include <exception>

namespace rampart {
namespace {

std::atomic<GuardSink>& Sink() {
    static constinit std::atomic<GuardSink> sink{nullptr};
    return sink;
}

}  // namespace

GuardSink SetGuardSink(GuardSink sink) {
    return Sink().exchange(sink);
}

std::string DescribeCurrentException() {
    try {
        throw;
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "an exception of unknown type";
    }
}

void ReportCurrentException(TextView line) noexcept {
    const GuardSink sink = Sink().load();
    if (!sink) {
        return;
    }
    try {
        sink(line, DescribeCurrentException());
    } catch (...) {
        // The log itself failed, and there is nobody else to tell.
    }
}

}  // namespace rampart
