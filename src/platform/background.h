// Going on without the terminal from which a program was called.
#pragma once

namespace rampart::platform {

// Splits the program in two; only before it starts a thread or opens anything. True in the one that goes on.
// False in the one that was called: once the other has called TellBackgroundStarted, `exitCode` is then 0, or
// has ended before that, with its exit code. Where the system cannot do it, true at once, with the terminal.
bool GoToBackground(int& exitCode);

// The caller may go. Nothing is read from or written to its terminal any more.
void TellBackgroundStarted();

}  // namespace rampart::platform
