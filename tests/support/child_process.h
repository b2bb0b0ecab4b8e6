// Another program, started by a test, with its output in files.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace rampart::test {

struct ChildSettings {
    std::string program;                 // as the build names it
    std::vector<std::string> arguments;  // without the program
    std::string output;                  // native paths of the files that are made anew; empty: not kept
    std::string errors;
    unsigned user = 0;  // where the system has user numbers: another user than this one
};

class ChildProcess {
public:
    // Null if it could not be started.
    static std::unique_ptr<ChildProcess> Start(const ChildSettings& settings);
    // Ends the program if it still runs.
    virtual ~ChildProcess() = default;
    // As the system numbers its processes.
    virtual int Id() const = 0;
    virtual bool HasEnded() = 0;
    // Sends what Ctrl-C sends. False where the system cannot do that here.
    virtual bool Interrupt() = 0;
    // Ends it at once, without a chance to do anything.
    virtual void Kill() = 0;
    // Waits for the end. The exit code; 128 or more for an end by a signal.
    virtual int Wait() = 0;
};

}  // namespace rampart::test
