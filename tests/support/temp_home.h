// A home of its own for data, settings, configuration and locks, so that a test never touches the user's.
#pragma once

#include <string>

#include "platform/process.h"
#include "support/temp_tree.h"

namespace rampart::test {

// Sets a variable of the environment and gives the old value back. Only while no other thread runs.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const std::string& value)
        : m_name(name), m_old(platform::EnvironmentVariable(name)) {
        platform::SetEnvironmentVariableTo(name, value);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable() { platform::SetEnvironmentVariableTo(m_name, m_old); }

private:
    const char* const m_name;
    const std::string m_old;
};

class TempHome : public TempFolder {
private:
    ScopedVariable m_home{"RAMPART_HOME", Native()};
    ScopedVariable m_configuration{"RAMPART_CONFIG", ""};
};

}  // namespace rampart::test
