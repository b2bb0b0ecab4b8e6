// The service's log: one line on standard output for each thing it does. Any thread may call.
#pragma once

#include <string>

namespace rampart::service {

// The line carries the local time, unless the system's journal takes the output and stamps it itself.
void Log(std::string const& line);

}  // namespace rampart::service
