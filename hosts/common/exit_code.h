// Exit codes of the programs, and the failure that ends one.
#pragma once

#include <stdexcept>
#include <string>

namespace rampart::host {

enum ExitCode {
    kExitDone = 0,
    kExitFailed = 1,
    kExitUsage = 2,
    kExitWarnings = 3,  // done, but something was left out
    kExitCancelled = 6,
};

// The engine's service code after a cancel.
inline constexpr int kCancelledCode = 6;

// Ends a command with a line for the user.
class CommandError : public std::runtime_error {
public:
    CommandError(ExitCode code, std::string const& text) : std::runtime_error(text), m_code(code) {}
    ExitCode Code() const { return m_code; }

private:
    ExitCode m_code;
};

}  // namespace rampart::host
