#include "progress_display.h"

#include <algorithm>
#include <iostream>

#include "common/task_report.h"
#include "output.h"
#include "person.h"

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
        nlohmann::json progress = DescribeProgress(task);
        TransferTotals totals;
        VaultAdmin::Transferred(totals);
        progress["files"] = totals.files;
        Show(ProgressText(progress));
    }
}

void ProgressDisplay::Show(std::string const& text) {
    if (!IsDue()) {
        return;
    }
    size_t const width = static_cast<size_t>(std::max(20, TerminalWidth() - 1));
    std::string const line = m_rewrites ? "\r" + Shortened(text, width) + "\x1b[K" : text + "\n";
    m_isShown = ShowBetweenQuestions(line) || m_isShown;
}

}  // namespace rampart::cli
