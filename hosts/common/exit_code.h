// Exit codes of the command line, and the failure that ends a command.
#pragma once

#include <stdexcept>
#include <string>

namespace rampart::cli {

enum ExitCode {
    kExitDone = 0,
    kExitFailed = 1,
    kExitUsage = 2,
    kExitWarnings = 3,  // done, but something was left out
    kExitCancelled = 6,
};

// Ends a command with a line for the user.
class CommandError : public std::runtime_error {
public:
    CommandError(ExitCode code, std::string const& text) : std::runtime_error(text), m_code(code) {}
    ExitCode Code() const { return m_code; }

private:
    ExitCode m_code;
};

}  // namespace rampart::cli
