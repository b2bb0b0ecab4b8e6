#include "platform/posix/drive_table.h"

#include "platform/immortal.h"
#include "platform/posix/drive_letters.h"

namespace rampart::platform {
namespace {

size_t LetterIndex(TCHAR letter) {
    return static_cast<size_t>((letter >= 'a' && letter <= 'z' ? letter - 'a' : letter - 'A'));
}

bool SameDrive(const Drive& a, const Drive& b) {
    return a.letter == b.letter && a.mountPoint == b.mountPoint && a.serial == b.serial &&
           a.removable == b.removable;
}

bool SameMount(const Mount& a, const Mount& b) {
    return a.point == b.point && a.type == b.type && a.source == b.source && a.device == b.device &&
           a.root == b.root;
}

bool TakesLetter(const Mount& mount) {
    return !IsPseudoType(mount.type) && (IsBelow(mount.point, "/media") ||
                                         IsBelow(mount.point, "/run/media") || IsBelow(mount.point, "/mnt"));
}

// Publishes tables. A table that was published is kept, so that readers need no lock and no count; a table is
// only made when a volume came or went, and one that says the same as an earlier one is not made again.
class DriveRegistry {
public:
    const DriveTable& Current() {
        const DriveTable* table = m_current.load(std::memory_order_acquire);
        return table != nullptr ? *table : Refresh();
    }

    const DriveTable& Refresh() {
        std::lock_guard lock(m_mutex);
        return Publish();
    }

    void Pin(TCHAR letter, std::string_view mountPoint) {
        std::lock_guard lock(m_mutex);
        if (mountPoint.empty()) {
            m_pinned.erase(letter);
        } else {
            m_pinned[letter] = mountPoint;
        }
        m_letters.Pin(letter, mountPoint);
        Publish();
    }

private:
    // A folder that is pinned without being a mount point is a part of the file system that holds it.
    static Volume Describe(const std::vector<Mount>& mounts, const std::string& point) {
        const Mount* holder = nullptr;
        for (const Mount& mount : mounts) {
            if (IsBelow(point, mount.point) &&
                (holder == nullptr || mount.point.size() > holder->point.size())) {
                holder = &mount;
            }
        }
        Mount described = holder != nullptr ? *holder : Mount{"/", "", "/"};
        if (described.point != point) {
            const size_t skip = described.point == "/" ? 0 : described.point.size();
            described.root = (described.root == "/" ? "" : described.root) + point.substr(skip);
        }
        return {point, MountSerial(described), IsRemovableMount(described)};
    }

    const DriveTable& Publish() {
        std::vector<Mount> mounts = ReadMounts();
        std::vector<Volume> volumes;
        for (const Mount& mount : mounts) {
            if (mount.point != "/" && TakesLetter(mount)) {
                volumes.push_back(Describe(mounts, mount.point));
            }
        }
        for (const auto& pin : m_pinned) {
            if (std::none_of(volumes.begin(), volumes.end(),
                             [&](const Volume& v) { return v.mountPoint == pin.second; })) {
                volumes.push_back(Describe(mounts, pin.second));
            }
        }
        auto table = std::make_unique<DriveTable>(m_letters.Assign(Describe(mounts, "/"), std::move(volumes)),
                                                  std::move(mounts));
        for (const auto& earlier : m_tables) {
            if (earlier->SameAs(*table)) {
                m_current.store(earlier.get(), std::memory_order_release);
                return *earlier;
            }
        }
        m_tables.push_back(std::move(table));
        m_current.store(m_tables.back().get(), std::memory_order_release);
        return *m_tables.back();
    }

    std::atomic<const DriveTable*> m_current = nullptr;
    std::mutex m_mutex;  // guards what follows; readers never take it
    std::vector<std::unique_ptr<DriveTable>> m_tables;
    std::map<TCHAR, std::string> m_pinned;
    DriveLetters m_letters;
};

DriveRegistry& Registry() {
    static Immortal<DriveRegistry> registry;
    return *registry;
}

}  // namespace

DriveTable::DriveTable(std::vector<Drive> drives, std::vector<Mount> mounts)
    : m_drives(std::move(drives)), m_mounts(std::move(mounts)) {
    for (const Drive& drive : m_drives) {
        m_letters[LetterIndex(drive.letter)] = &drive;
        if (drive.mountPoint == "/") {
            m_root = &drive;
        } else {
            m_byLength.push_back(&drive);
        }
    }
    std::stable_sort(m_byLength.begin(), m_byLength.end(), [](const Drive* a, const Drive* b) {
        return a->mountPoint.size() > b->mountPoint.size();
    });
    std::stable_sort(m_mounts.begin(), m_mounts.end(),
                     [](const Mount& a, const Mount& b) { return a.point.size() > b.point.size(); });
}

const Drive* DriveTable::FindLetter(TCHAR letter) const {
    const size_t index = LetterIndex(letter);
    return index < m_letters.size() ? m_letters[index] : nullptr;
}

const Drive& DriveTable::FindNative(std::string_view path) const {
    for (const Drive* drive : m_byLength) {
        if (IsBelow(path, drive->mountPoint)) {
            return *drive;
        }
    }
    return *m_root;
}

const Mount* DriveTable::FindMount(std::string_view path) const {
    for (const Mount& mount : m_mounts) {
        if (IsBelow(path, mount.point)) {
            return &mount;
        }
    }
    return nullptr;
}

bool DriveTable::SameAs(const DriveTable& other) const {
    return std::equal(m_drives.begin(), m_drives.end(), other.m_drives.begin(), other.m_drives.end(),
                      SameDrive) &&
           std::equal(m_mounts.begin(), m_mounts.end(), other.m_mounts.begin(), other.m_mounts.end(),
                      SameMount);
}

const DriveTable& CurrentDriveTable() {
    return Registry().Current();
}

void PinDrive(TCHAR letter, std::string_view mountPoint) {
    const auto upper = static_cast<TCHAR>(letter >= 'a' && letter <= 'z' ? letter - 'a' + 'A' : letter);
    while (mountPoint.size() > 1 && mountPoint.ends_with('/')) {
        mountPoint.remove_suffix(1);
    }
    // C: is the root, and only an absolute path can hold files.
    if (upper >= 'A' && upper <= 'Z' && upper != 'C' && mountPoint != "/" &&
        (mountPoint.empty() || mountPoint.starts_with('/'))) {
        Registry().Pin(upper, mountPoint);
    }
}

void RefreshDrives() {
    Registry().Refresh();
}

}  // namespace rampart::platform
