// What a console host needs from the system: native paths, the terminal, the user's interrupt.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "framework/framework.h"

namespace rampart::platform {
class KeyReader;
}

namespace rampart {

// Paths as people type them (any bytes; relative ones from the working folder) to engine paths and back.
VAULTLIB_API CString ToEnginePath(std::string const& nativePath);
VAULTLIB_API std::string ToNativePath(CString const& enginePath);
// The bytes of one name of an engine path.
VAULTLIB_API std::string ToNativeName(CString const& name);
// A wildcard pattern: as ToEnginePath for an absolute one, with * and ? kept; any other only with its slashes
// turned.
VAULTLIB_API CString ToEnginePattern(std::string const& pattern);

// What the program was called with, from what main() was given, and output that a terminal shows right: UTF-8
// both.
VAULTLIB_API std::vector<std::string> ProgramArguments(int count, char** values);
VAULTLIB_API void UseUtf8Output();

VAULTLIB_API bool IsInputTerminal();
VAULTLIB_API bool IsErrorTerminal();  // standard error is a terminal
VAULTLIB_API bool IsOutputTerminal();
VAULTLIB_API int TerminalWidth();

// Notes an interrupt instead of ending the process; a second one ends it at once with exit code 6.
VAULTLIB_API void CatchInterrupts();
VAULTLIB_API bool IsInterrupted();

// The keys of the terminal, one by one and unseen, while it lives. One at a time.
class VAULTLIB_API TerminalKeys {
public:
    TerminalKeys();
    ~TerminalKeys();
    TerminalKeys(TerminalKeys const&) = delete;
    TerminalKeys& operator=(TerminalKeys const&) = delete;
    // Waits that long for a key; 0 when none came or there is no terminal to read.
    char Next(unsigned int timeoutMs);

private:
    std::unique_ptr<platform::KeyReader> m_reader;
};

// Lets the program go on without the terminal; before anything is opened. True in the one that goes on, false
// in the one that was called, which is to end with `exitCode` then. See platform/background.h.
VAULTLIB_API bool GoToBackground(int& exitCode);
VAULTLIB_API void TellBackgroundStarted();

VAULTLIB_API void SleepMilliseconds(unsigned int milliseconds);
// Ends this process where it stands, for a host in which a run hangs and that has done all else.
[[noreturn]] VAULTLIB_API void EndProcessAtOnce(int exitCode);

// Folder of the application's own data, as an engine path.
VAULTLIB_API CString ApplicationDataFolder();

}  // namespace rampart
