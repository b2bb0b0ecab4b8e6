// ".rampart-MACHINE-PROCESS-START-COUNT.tmp", all in hexadecimal digits. The start of the process tells it
// from a later one of the same number.
#include "platform/temporary_name.h"

#include <atomic>
#include <charconv>
#include <string>

#include "platform/fnv_hash.h"
#include "platform/process.h"

namespace rampart::platform {
namespace {

constexpr std::string_view kPrefix = ".rampart-";
constexpr std::string_view kSuffix = ".tmp";

std::string Hex(uint64_t number) {
    char digits[16];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, number, 16);
    return std::string(digits, end);
}

const std::string& Machine() {
    static const std::string machine = Hex(Fnv64(ComputerName()) & 0xFFFFFFFF);
    return machine;
}

// Takes the digits up to the next '-', or all that is left.
bool TakeNumber(std::string_view& rest, uint64_t& number) {
    const size_t end = std::min(rest.find('-'), rest.size());
    const auto [last, error] = std::from_chars(rest.data(), rest.data() + end, number, 16);
    const bool isNumber = end > 0 && error == std::errc() && last == rest.data() + end;
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return isNumber;
}

}  // namespace

Text NewTemporaryName() {
    static std::atomic<uint64_t> count{0};
    static const std::string start = std::string(kPrefix) + Machine() + "-" + Hex(ProcessId()) + "-" +
                                     Hex(ProcessStart(ProcessId())) + "-";
    return FromUtf8(start + Hex(++count) + std::string(kSuffix));
}

bool IsDeadTemporaryName(TextView name) {
    const std::string text = ToUtf8(name);
    std::string_view rest = text;
    if (!rest.starts_with(kPrefix) || !rest.ends_with(kSuffix)) {
        return false;
    }
    rest.remove_prefix(kPrefix.size());
    rest.remove_suffix(kSuffix.size());
    if (!rest.starts_with(Machine() + "-")) {
        return false;
    }
    rest.remove_prefix(Machine().size() + 1);
    uint64_t process = 0;
    uint64_t start = 0;
    uint64_t count = 0;
    if (!TakeNumber(rest, process) || !TakeNumber(rest, start) || !TakeNumber(rest, count) || !rest.empty() ||
        process > UINT32_MAX || start == 0) {
        return false;
    }
    return ProcessStart(static_cast<uint32_t>(process)) != start;
}

}  // namespace rampart::platform
