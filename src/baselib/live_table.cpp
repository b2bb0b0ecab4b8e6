#include "baselib/live_table.h"

#include "baselib/whole_file.h"
#include "platform/clock.h"

namespace rampart {
namespace {

constexpr uint32_t kLookEveryMs = 1000;
constexpr uint64_t kLargestFile = 16 << 20;

// Of the file itself, also where a symbolic link leads to it.
bool QueryTarget(TextView path, platform::FileStatus& status) {
    if (!platform::QueryStatus(path, status)) {
        return false;
    }
    if ((status.attributes & platform::kReparsePoint) == 0) {
        return true;
    }
    const auto file = platform::FileHandle::Open(path, platform::kOpenRead | platform::kOpenFollowLink);
    return file && file->QueryStatus(status);
}

}  // namespace

LiveTable::LiveTable(std::function<Layers()> layers, TextTable::Decode decode,
                     std::function<void(const TextTable&)> changed)
    : m_layers(std::move(layers)), m_decode(decode), m_changed(std::move(changed)) {
    LookNow();
}

void LiveTable::LookIfDue() {
    const uint32_t now = platform::TickCount();
    uint32_t last = m_lastLook.load(std::memory_order_relaxed);
    if (now - last >= kLookEveryMs &&
        m_lastLook.compare_exchange_strong(last, now, std::memory_order_relaxed)) {
        MutexLock lock(m_mutex);
        LookLocked();
    }
}

void LiveTable::LookNow() {
    MutexLock lock(m_mutex);
    m_lastLook.store(platform::TickCount(), std::memory_order_relaxed);
    LookLocked();
}

std::shared_ptr<const TextTable> LiveTable::Table() {
    MutexLock lock(m_mutex);
    return m_table;
}

std::vector<LiveTable::Stamp> LiveTable::StampsOf(const Layers& layers) {
    std::vector<Stamp> stamps;
    for (const Layer& layer : layers) {
        Stamp stamp{layer.path};
        platform::FileStatus status;
        if (!layer.path.empty() && QueryTarget(layer.path, status)) {
            stamp.exists = true;
            stamp.writeTime = status.writeTime;
            stamp.size = status.size;
            stamp.fileId = status.fileId;
        }
        stamps.push_back(std::move(stamp));
    }
    return stamps;
}

bool LiveTable::ReadLayers(const Layers& layers, const std::vector<Stamp>& stamps,
                           std::vector<IniEntry>& entries) {
    bool complete = true;
    for (size_t index = 0; index < layers.size(); index++) {
        std::string content;
        std::string_view text = layers[index].fallback;
        if (stamps[index].exists) {
            const bool read = ReadWholeFile(layers[index].path, kLargestFile, content);
            complete = complete && read;
            text = read ? std::string_view(content) : text;
        }
        for (IniEntry& entry : ParseIni(text)) {
            entries.push_back(std::move(entry));
        }
    }
    return complete;
}

void LiveTable::LookLocked() {
    const uint32_t error = platform::LastError();
    const Layers layers = m_layers();
    std::vector<Stamp> stamps = StampsOf(layers);
    std::vector<IniEntry> entries;
    // While a file is there and cannot be read, the values that were read before stay.
    if ((!m_table || stamps != m_stamps) && (ReadLayers(layers, stamps, entries) || !m_table)) {
        m_table = std::make_shared<const TextTable>(entries, m_decode);
        m_stamps = std::move(stamps);
        m_generation.fetch_add(1, std::memory_order_release);
        if (m_changed) {
            m_changed(*m_table);
        }
    }
    platform::SetLastError(
        error);  // reading a value must not cover the error that a caller is about to report
}

}  // namespace rampart
