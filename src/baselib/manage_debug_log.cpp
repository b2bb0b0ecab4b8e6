#include <spdlog/logger.h>

#include "baselib/product_folder.h"
#include "baselib/rotating_log_file.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "platform/clock.h"
#include "platform/immortal.h"
#include "platform/path_mapping.h"
#include "platform/process.h"

using namespace rampart;

namespace {

constexpr std::string_view kLinePattern = "%Y-%m-%d %H:%M:%S.%e [%t] %v";

// The program's name, so that the files of a service and of a window program are told apart.
Text LogName() {
    Text name = platform::ExecutableName();
    return name.empty() ? Text(_T("rampart")) : name;
}

// RAMPART_LOG names another folder.
Text LogFolder() {
    if (const std::string folder = platform::EnvironmentVariable("RAMPART_LOG"); !folder.empty()) {
        return platform::ToEnginePath(folder);
    }
    return ProductDataFolder() + _T("\\logs");
}

// Time stamps come from the clock of the whole system, so that tests set it.
spdlog::log_clock::time_point Now() {
    return spdlog::log_clock::time_point(std::chrono::duration_cast<spdlog::log_clock::duration>(
        std::chrono::nanoseconds(platform::CurrentClock().NowNanoseconds())));
}

// A line of the log is one line of the file.
std::string OneLine(TextView text) {
    std::string line = platform::ToUtf8(text);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    return line;
}

class DebugLog {
public:
    DebugLog()
        : m_file(std::make_shared<RotatingLogFile>(LogFolder(), LogName())), m_logger("debug", m_file) {
        m_logger.set_pattern(std::string(kLinePattern));
        m_logger.set_level(spdlog::level::info);
        m_logger.flush_on(spdlog::level::err);
        m_logger.set_error_handler([](const std::string&) {});
    }

    void Add(const std::string& line, bool isError) noexcept {
        try {
            const auto level = isError ? spdlog::level::err : spdlog::level::info;
            m_logger.log(Now(), spdlog::source_loc{}, level, spdlog::string_view_t(line.data(), line.size()));
        } catch (...) {
            // A log that fails has nobody to tell.
        }
    }

    Text Path() { return m_file->Path(); }
    void Flush() { m_logger.flush(); }

private:
    const std::shared_ptr<RotatingLogFile> m_file;
    spdlog::logger m_logger;
};

void TakeGuardedLine(TextView line, const std::string& reason);

// Never destroyed, so that a thread that outlives main still has it; what is held back is written at the end.
DebugLog& TheLog() {
    static Immortal<DebugLog> log;
    static struct AtEnd {
        ~AtEnd() { log->Flush(); }
    } atEnd;
    return *log;
}

void AddLine(TextView text, bool isError) noexcept {
    try {
        const uint32_t error = platform::LastError();
        TheLog().Add(OneLine(text), isError);
        platform::SetLastError(error);
    } catch (...) {
        // As above: no memory, or the end of the process.
    }
}

void TakeGuardedLine(TextView line, const std::string& reason) {
    const uint32_t error = platform::LastError();
    std::string text = platform::ToUtf8(line);
    if (!reason.empty()) {
        text += " (" + reason + ")";
    }
    TheLog().Add(OneLine(platform::FromUtf8(text)), true);
    platform::SetLastError(error);
}

// From the moment the library is loaded, guarded operations report to this log.
[[maybe_unused]] const GuardSink s_previousSink = SetGuardSink(TakeGuardedLine);

}  // namespace

void ManageDebugLog::AddDebugInfo(CString const& text, int) {
    const TextView line = text;
    AddLine(line, line.starts_with(_T("Error")) || line.starts_with(_T("Unexpected error")));
}

CString ManageDebugLog::GetFilePath() const {
    return Guarded(_T("Error: GetFilePath"), CString(), [] { return CString(TextView(TheLog().Path())); });
}

ManageDebugLog& GetManageDebugLog() {
    static ManageDebugLog log;
    return log;
}

void LogErrorMessage(CString const& text) {
    AddLine(text, true);
}

void FlushDebugLog() {
    Guarded(_T("Error: FlushDebugLog"), [] { TheLog().Flush(); });
}
