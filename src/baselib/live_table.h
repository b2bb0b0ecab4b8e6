// A table read from files, read again when one of them changes.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "baselib/text_table.h"
#include "framework/sync.h"
#include "platform/file_system.h"

namespace rampart {

class LiveTable {
public:
    // One source of values. A later layer wins over an earlier one.
    struct Layer {
        Text path;                  // may be empty or name no file: then `fallback` counts
        std::string_view fallback;  // UTF-8, lives for ever
    };
    using Layers = std::vector<Layer>;

    // `layers` says which files count now; it is asked at every look. `changed` is told each new table, under
    // the lock; it may be null.
    LiveTable(std::function<Layers()> layers, TextTable::Decode decode,
              std::function<void(const TextTable&)> changed);

    // Looks at the files if the last look is a second ago. Costs one reading of the clock otherwise.
    void LookIfDue();
    void LookNow();

    // Raised by one with every new table.
    uint32_t Generation() const { return m_generation.load(std::memory_order_acquire); }
    std::shared_ptr<const TextTable> Table();

private:
    struct Stamp {
        Text path;
        bool exists = false;
        int64_t writeTime = 0;
        uint64_t size = 0;
        uint64_t fileId = 0;
        bool operator==(const Stamp&) const = default;
    };
    static std::vector<Stamp> StampsOf(const Layers& layers);
    // False if a file that is there could not be read.
    static bool ReadLayers(const Layers& layers, const std::vector<Stamp>& stamps,
                           std::vector<IniEntry>& entries);
    void LookLocked() RAMPART_REQUIRES(m_mutex);

    const std::function<Layers()> m_layers;
    const TextTable::Decode m_decode;
    const std::function<void(const TextTable&)> m_changed;
    std::atomic<uint32_t> m_lastLook{0};  // tick
    std::atomic<uint32_t> m_generation{0};
    Mutex m_mutex;
    std::vector<Stamp> m_stamps RAMPART_GUARDED_BY(m_mutex);
    std::shared_ptr<const TextTable> m_table RAMPART_GUARDED_BY(m_mutex);
};

// One thread's hold on the present table, so that a read takes no lock.
class LiveTableView {
public:
    explicit LiveTableView(LiveTable& source) : m_source(source) {}
    // Valid until the next call on this view.
    const TextTable& Get() {
        m_source.LookIfDue();
        if (const uint32_t generation = m_source.Generation(); generation != m_generation) {
            m_table = m_source.Table();
            m_generation = generation;
        }
        return *m_table;
    }

private:
    LiveTable& m_source;
    std::shared_ptr<const TextTable> m_table;
    uint32_t m_generation = 0;
};

}  // namespace rampart
