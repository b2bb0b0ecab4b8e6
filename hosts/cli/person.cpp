#include "person.h"

#include <atomic>
#include <chrono>
#include <iostream>
#include <mutex>
#include <optional>

#include "common/text.h"
#include "options.h"

namespace rampart::cli {

namespace {

constexpr unsigned int kKeyPollMs = 100;

std::atomic<Answers> s_answers{Answers::kAsked};
std::mutex s_lock;  // one question at a time, and no line of progress into it; guards the keys
std::optional<TerminalKeys> s_keys;

// Asks for the answer of the person: no if the time passes, or an interrupt comes first.
bool WaitForAnswer(unsigned long timeoutSeconds) {
    std::optional<TerminalKeys> ownKeys;
    TerminalKeys& keys = s_keys ? *s_keys : ownKeys.emplace();
    std::cerr << " [y/n] " << std::flush;  // from here on the terminal shows no key by itself
    auto const begin = std::chrono::steady_clock::now();
    while (!IsInterrupted() && (timeoutSeconds == 0 || std::chrono::steady_clock::now() - begin <
                                                           std::chrono::seconds(timeoutSeconds))) {
        char const key = keys.Next(kKeyPollMs);
        if (key == 'y' || key == 'Y') {
            return true;
        }
        if (key == 'n' || key == 'N') {
            return false;
        }
    }
    return false;
}

Wish WishOfKey(char key) {
    switch (key) {
        case 'p':
        case 'P':
            return Wish::kPause;
        case 'q':
        case 'Q':
            return Wish::kEnd;
        default:
            return Wish::kNone;
    }
}

}  // namespace

void SetAnswers(Answers answers) {
    s_answers = answers;
}

bool ShowBetweenQuestions(std::string const& text) {
    std::unique_lock const lock(s_lock, std::try_to_lock);
    if (lock.owns_lock()) {
        std::cerr << text << std::flush;
    }
    return lock.owns_lock();
}

int AnswerQuestion(TCHAR const* text, unsigned int style, unsigned long timeoutSeconds, int) {
    std::lock_guard const lock(s_lock);
    std::cerr << (IsErrorTerminal() ? "\r\x1b[K" : "") << "rampart: " << Utf8(text);
    if (style == kBoxNote) {
        std::cerr << std::endl;
        return kAnswerNone;
    }
    bool isYes = s_answers == Answers::kYes;
    if (s_answers == Answers::kAsked && IsInputTerminal() && IsErrorTerminal()) {
        isYes = WaitForAnswer(timeoutSeconds);
    }
    std::cerr << (isYes ? " yes" : " no") << std::endl;
    if (style == kBoxRetryCancel) {
        return isYes ? kAnswerRetry : kAnswerCancel;
    }
    if (style == kBoxOkCancel) {
        return isYes ? kAnswerOk : kAnswerCancel;
    }
    return isYes ? kAnswerYes : kAnswerNo;
}

Keys::Keys() {
    std::lock_guard const lock(s_lock);
    if (IsErrorTerminal()) {
        s_keys.emplace();
    }
}

Keys::~Keys() {
    std::lock_guard const lock(s_lock);
    s_keys.reset();
}

Wish Keys::Next(unsigned int timeoutMs) {
    {
        std::unique_lock const lock(s_lock, std::try_to_lock);
        if (lock.owns_lock() && s_keys) {
            return WishOfKey(s_keys->Next(timeoutMs));
        }
    }
    SleepMilliseconds(timeoutMs);
    return Wish::kNone;
}

}  // namespace rampart::cli
