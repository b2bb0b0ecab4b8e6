#include "baselib/rotating_log_file.h"

#include <spdlog/sinks/base_sink-inl.h>  // for a mutex of our own

#include <algorithm>

#include "platform/clock.h"

namespace rampart {
namespace {

constexpr int kMostProcesses = 32;
constexpr TextView kExtension = _T(".log");

Text NumberText(int number) {
    const std::string digits = std::to_string(number);
    return Text(digits.begin(), digits.end());
}

}  // namespace

RotatingLogFile::RotatingLogFile(Text folder, Text name, LogFileLimits limits)
    : m_folder(std::move(folder)),
      m_name(std::move(name)),
      m_limits(limits),
      m_creditAt(platform::TickCount()) {
    m_credit = m_limits.piecesPerSecond;
}

RotatingLogFile::~RotatingLogFile() {
    WritePending();
}

Text RotatingLogFile::Path() {
    std::lock_guard lock(mutex_);
    OpenIfNeeded();
    return PathOf(m_number, 0);
}

void RotatingLogFile::sink_it_(const spdlog::details::log_msg& message) {
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    std::string_view text(line.data(), line.size());
    const bool isWindowsLine = text.ends_with("\r\n");
    text.remove_suffix(isWindowsLine ? 2 : 0);
    m_pending.append(text).append(isWindowsLine ? "\n" : "");  // lines end alike on every system
    m_pendingLines++;
    if (m_pending.size() >= m_limits.pieceSize || MayWriteNow()) {
        WritePending();
    }
}

void RotatingLogFile::flush_() {
    WritePending();
}

Text RotatingLogFile::PathOf(int number, int age) const {
    Text path = m_folder + _T("\\") + m_name;
    if (number > 1) {
        path += _T("-") + NumberText(number);
    }
    if (age > 0) {
        path += _T(".") + NumberText(age);
    }
    return path.append(kExtension);
}

bool RotatingLogFile::OpenOwn(const Text& path) {
    auto file = platform::FileHandle::Open(path, platform::kOpenWrite | platform::kOpenCreate);
    if (!file || !file->TryLock(true) || !file->GetSize(m_size)) {
        return false;
    }
    m_file = std::move(file);
    return true;
}

bool RotatingLogFile::OpenIfNeeded() {
    if (m_file) {
        return true;
    }
    if (m_failed && platform::TickCount() - m_failedAt < m_limits.retryAfterMs) {
        return false;
    }
    if (platform::CreateFolders(m_folder)) {
        for (m_number = 1; m_number <= kMostProcesses; m_number++) {
            if (OpenOwn(PathOf(m_number, 0))) {
                m_failed = false;
                return true;
            }
            if (platform::LastError() != platform::kSharingViolation) {
                break;
            }
        }
        m_number = 1;
    }
    m_failed = true;
    m_failedAt = platform::TickCount();
    return false;
}

void RotatingLogFile::Rotate() {
    m_file = nullptr;
    for (int age = m_limits.olderFiles; age > 0; age--) {
        platform::RenamePath(PathOf(m_number, age - 1), PathOf(m_number, age), true);
    }
    // Where the renaming failed the file is emptied rather than grown without end.
    if (OpenOwn(PathOf(m_number, 0)) && m_size >= m_limits.fileSize && m_file->SetSize(0)) {
        m_size = 0;
    }
}

bool RotatingLogFile::MayWriteNow() {
    const uint32_t now = platform::TickCount();
    const uint64_t earned = uint64_t{now - m_creditAt} * m_limits.piecesPerSecond / 1000;
    if (earned > 0) {
        m_credit = static_cast<uint32_t>(std::min<uint64_t>(m_credit + earned, m_limits.piecesPerSecond));
        m_creditAt = now;
    }
    if (m_credit == 0) {
        return false;
    }
    m_credit--;
    return true;
}

void RotatingLogFile::Drop() {
    m_lost += m_pendingLines;
    m_pending.clear();
    m_pendingLines = 0;
}

bool RotatingLogFile::WritePending() {
    if (m_pending.empty()) {
        return true;
    }
    if (m_file && m_size >= m_limits.fileSize) {
        Rotate();
    }
    if (!OpenIfNeeded()) {
        Drop();
        return false;
    }
    if (m_lost > 0) {
        m_pending.insert(0, "(" + std::to_string(m_lost) + " lines could not be written)\n");
    }
    const int64_t written = m_file->WriteAt(m_size, m_pending.data(), m_pending.size());
    if (written != static_cast<int64_t>(m_pending.size())) {
        m_file->SetSize(m_size);  // no half of a line
        m_file = nullptr;
        m_failed = true;
        m_failedAt = platform::TickCount();
        Drop();
        return false;
    }
    m_size += m_pending.size();
    m_lost = 0;
    m_pending.clear();
    m_pendingLines = 0;
    return true;
}

}  // namespace rampart
