#include "progress_display.h"

#include <iostream>

#include "output.h"

namespace rampart::cli {

namespace {

constexpr std::chrono::milliseconds kTerminalPeriod{200};
constexpr std::chrono::seconds kPlainPeriod{10};

}  // namespace

ProgressDisplay::ProgressDisplay(CommonOptions const& common)
    : m_enabled(!common.quiet && !common.json),
      m_rewrites(IsErrorTerminal()),
      m_last(m_rewrites ? std::chrono::steady_clock::time_point() : std::chrono::steady_clock::now()) {}

ProgressDisplay::~ProgressDisplay() {
    if (m_isShown && m_rewrites) {
        std::cerr << "\r\x1b[K" << std::flush;
    }
}

bool ProgressDisplay::IsDue() {
    auto const now = std::chrono::steady_clock::now();
    auto const period =
        m_rewrites ? std::chrono::milliseconds(kTerminalPeriod) : std::chrono::milliseconds(kPlainPeriod);
    if (!m_enabled || now - m_last < period) {
        return false;
    }
    m_last = now;
    return true;
}

void ProgressDisplay::Show(CBackupTask& task) {
    if (m_enabled && task.m_pTaskPrg != nullptr && IsDue()) {
        m_last = {};
        Show(LineOf(task));
    }
}

void ProgressDisplay::Show(std::string const& text) {
    if (!IsDue()) {
        return;
    }
    m_isShown = true;
    if (!m_rewrites) {
        std::cerr << text << std::endl;
        return;
    }
    size_t const width = static_cast<size_t>(std::max(20, TerminalWidth() - 1));
    std::string const line = text.size() > width ? text.substr(0, width - 3) + "..." : text;
    std::cerr << '\r' << line << "\x1b[K" << std::flush;
}

std::string ProgressDisplay::LineOf(CBackupTask& task) const {
    CTaskPrgClass& progress = *task.m_pTaskPrg;
    if (progress.m_nState != ProgressStateTransfer && progress.m_nState != ProgressStateUnchanged) {
        return "Searching: " + FormatCount(task.m_scanTotalFileCount, "file", "files") + ", " +
               FormatCount(task.m_addedFileCount + task.m_scanNeedBackupFileCount, "to send", "to send");
    }
    __int64 sent = 0;
    __int64 total = 0;
    progress.GetProgressBarInfo(sent, total);
    sent = progress.GetNowSent();
    TransferTotals totals;
    VaultAdmin::Transferred(totals);
    std::string line;
    if (total > 0) {
        line = std::to_string(std::min<__int64>(100, sent * 100 / total)) + "%  ";
    }
    line +=
        FormatBytes(sent) + " of " + FormatBytes(total) + ", " + FormatCount(totals.files, "file", "files");
    int const speed = progress.GetSpeed();
    if (speed > 0) {
        line += ", " + FormatBytes(speed) + "/s";
    }
    int const seconds = progress.GetRemSec();
    if (seconds > 0 && sent < total) {
        line += ", " + FormatDuration(seconds) + " left";
    }
    std::string const file = PrintablePath(progress.GetFilePath());
    return file.empty() ? line : line + "  " + file;
}

}  // namespace rampart::cli
