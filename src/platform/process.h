// Processes, named mutexes between them, and the machine they run on.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/text.h"

namespace rampart::platform {

// A mutex that all processes of this machine and user see by its name; freed when its owner ends, however it
// ends.
class NamedMutex {
public:
    // Null with kAlreadyExists when another process or object holds the name.
    static std::unique_ptr<NamedMutex> Create(TextView name);
    // Whether anybody holds the name now.
    static bool Exists(TextView name);
    virtual ~NamedMutex() = default;
};

// Starts a program and does not wait; it inherits no file and no socket but the standard output and error.
// The command line is split as programs of the system expect it: as a shell would, without any expansion, or
// by the rules of Windows, where a backslash is part of a path.
bool StartProcess(TextView commandLine);
// The same for a program by its engine path, which may end in ".exe" everywhere; `arguments` is split as
// above.
bool StartProgram(TextView program, TextView arguments);
// Opens a document or an address with the user's program for it.
bool OpenDocument(TextView target);

// Ends this process where it stands, without a destructor: for a host that has done all that it has to do and
// in which a thread hangs.
[[noreturn]] void EndProcessAtOnce(int exitCode);

uint32_t ProcessId();
// When a process began, in a unit of the system's own; 0 if there is no such process, or nobody can tell.
uint64_t ProcessStart(uint32_t processId);
// Whether this process may make files somebody else's.
bool MayGiveFilesAway();
uint64_t ThreadId();  // of the calling thread, as the system numbers it
// Negative is below normal; where the system has no such thing nothing happens.
void SetThreadPriority(int priority);

Text ComputerName();      // may be empty
Text ExecutableFolder();  // engine path of the folder of this program, without trailing backslash
Text ExecutableName();    // of the file of this program, without folder and without ".exe"
std::string EnvironmentVariable(const char* name);  // empty if not set
// An empty value removes the variable. Only while no other thread runs.
void SetEnvironmentVariableTo(const char* name, const std::string& value);
std::string RandomBytes(size_t count);  // from the system's source, fit for keys

// Per-user folder for application data, an engine path; RAMPART_HOME moves it.
Text UserDataFolder();
// Folder of the configuration files; RAMPART_CONFIG and RAMPART_HOME override it.
Text ConfigurationFolder();

}  // namespace rampart::platform
