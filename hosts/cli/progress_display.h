// Shows a running task: one line that is rewritten on a terminal, a line now and then elsewhere.
#pragma once

#include <chrono>
#include <string>

#include "engine/vaultlib.h"
#include "options.h"

namespace rampart::cli {

class ProgressDisplay {
public:
    explicit ProgressDisplay(CommonOptions const& common);
    ~ProgressDisplay();  // leaves the line clean

    void Show(CBackupTask& task);
    // For a work without a task: what is done of what.
    void Show(std::string const& text);

private:
    bool IsDue();

    bool const m_enabled;
    bool const m_rewrites;
    std::chrono::steady_clock::time_point m_last;
    bool m_isShown = false;
};

}  // namespace rampart::cli
