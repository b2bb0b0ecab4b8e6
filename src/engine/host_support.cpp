#include "engine/host_support.h"

#include "interfaces/baselib.h"
#include "paths/path_manage.h"
#include "platform/background.h"
#include "platform/clock.h"
#include "platform/path_mapping.h"
#include "platform/process.h"
#include "platform/terminal.h"

namespace rampart {

namespace {

// What the path mapping makes of the two wildcards.
constexpr TCHAR kMappedStar = 0xF02A;
constexpr TCHAR kMappedQuestionMark = 0xF03F;

}  // namespace

CString ToEnginePath(std::string const& nativePath) {
    std::string path = platform::AbsoluteNativePath(nativePath);
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return CString(platform::TextView(platform::ToEnginePath(path)));
}

std::string ToNativePath(CString const& enginePath) {
    return platform::ToNativePath(enginePath.View());
}

std::string ToNativeName(CString const& name) {
    return platform::NameToNative(name.View());
}

CString ToEnginePattern(std::string const& pattern) {
    CString text = platform::IsAbsoluteNativePath(pattern)
                       ? ToEnginePath(pattern)
                       : CString(platform::TextView(platform::NameToEngine(pattern)));
    text.Replace(kMappedStar, _T('*'));
    text.Replace(kMappedQuestionMark, _T('?'));
    text.Replace(_T('/'), _T('\\'));
    return text;
}

std::vector<std::string> ProgramArguments(int count, char** values) {
    return platform::ProgramArguments(count, values);
}

void UseUtf8Output() {
    platform::UseUtf8Output();
}

TerminalKeys::TerminalKeys() : m_reader(std::make_unique<platform::KeyReader>()) {}

TerminalKeys::~TerminalKeys() = default;

char TerminalKeys::Next(unsigned int timeoutMs) {
    return m_reader->Next(timeoutMs);
}

bool IsInputTerminal() {
    return platform::IsTerminal(platform::StandardStream::kInput);
}

bool IsErrorTerminal() {
    return platform::IsTerminal(platform::StandardStream::kError);
}

bool IsOutputTerminal() {
    return platform::IsTerminal(platform::StandardStream::kOutput);
}

int TerminalWidth() {
    return platform::TerminalWidth();
}

void CatchInterrupts() {
    platform::CatchInterrupts();
}

bool IsInterrupted() {
    return platform::IsInterrupted();
}

bool GoToBackground(int& exitCode) {
    return platform::GoToBackground(exitCode);
}

void TellBackgroundStarted() {
    platform::TellBackgroundStarted();
}

void SleepMilliseconds(unsigned int milliseconds) {
    platform::SleepMilliseconds(milliseconds);
}

void EndProcessAtOnce(int exitCode) {
    platform::EndProcessAtOnce(exitCode);
}

CString ApplicationDataFolder() {
    CString folder;
    CPathManage::GetOrCreateInAppDataPath(_T(""), folder);
    return folder;
}

}  // namespace rampart
