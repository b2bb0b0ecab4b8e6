// The terminal of a console program, its arguments, its wish to be interrupted, and its working folder.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace rampart::platform {

enum class StandardStream { kInput, kOutput, kError };

bool IsTerminal(StandardStream stream);
// Columns of the terminal behind standard error or output; 80 when unknown.
int TerminalWidth();

// What the program was called with, in UTF-8, from what main() was given; the name of the program comes
// first.
std::vector<std::string> ProgramArguments(int count, char** values);

// From now on a terminal shows what the program writes as UTF-8.
void UseUtf8Output();

// From now on an interrupt (Ctrl-C, a polite end by the system) is noted instead of ending the process; a
// second one ends it at once, with the exit code 6.
void CatchInterrupts();
bool IsInterrupted();

// The keys of the terminal behind standard input, one by one and unseen, while it lives. One at a time.
class KeyReader {
public:
    KeyReader();
    ~KeyReader();  // the terminal is as it was
    KeyReader(const KeyReader&) = delete;
    KeyReader& operator=(const KeyReader&) = delete;

    // Waits that long for a key. 0 when none came, and where there is no terminal or the program does not
    // stand in front of it.
    char Next(uint32_t timeoutMs);
};

// Absolute native path of the working folder, and a path made absolute against it. Nothing is resolved.
std::string WorkingFolder();
bool IsAbsoluteNativePath(const std::string& path);
std::string AbsoluteNativePath(const std::string& path);

}  // namespace rampart::platform
