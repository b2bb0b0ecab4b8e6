// The person at the terminal: answers to the engine's questions, and keys while a task runs.
#pragma once

#include <string>

#include "engine/vaultlib.h"

namespace rampart::cli {

enum class Answers { kAsked, kYes, kNo };

// How questions are answered from now on. Asked questions get a no where there is no terminal.
void SetAnswers(Answers answers);
// The engine's message box (MsgBoxProc). Any thread.
int AnswerQuestion(TCHAR const* text, unsigned int style, unsigned long timeoutSeconds, int);
// Writes to the terminal; false, and nothing is written, while a question waits for its answer. Any thread.
bool ShowBetweenQuestions(std::string const& text);

// What a person wants of the run or the display at hand.
enum class Wish { kNone, kPause, kEnd };  // keys p and q; a second p takes the pause back

// Reads keys while it lives, if there is a terminal to show what they do. One at a time.
class Keys {
public:
    Keys();
    ~Keys();
    Keys(Keys const&) = delete;
    Keys& operator=(Keys const&) = delete;
    // Waits that long for a key; none also while a question waits for its answer.
    Wish Next(unsigned int timeoutMs);
};

}  // namespace rampart::cli
