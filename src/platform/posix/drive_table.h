// One reading of the drives: which letter stands for which mount point. Immutable once it is published.
#pragma once

#include <array>

#include "platform/posix/mount_table.h"
#include "platform/volumes.h"

namespace rampart::platform {

class DriveTable {
public:
    // `drives` holds C: for the root.
    DriveTable(std::vector<Drive> drives, std::vector<Mount> mounts);
    DriveTable(const DriveTable&) = delete;
    DriveTable& operator=(const DriveTable&) = delete;

    const std::vector<Drive>& Drives() const { return m_drives; }  // by letter
    // Null for a letter that stands for nothing; either case.
    const Drive* FindLetter(TCHAR letter) const;
    // The drive with the longest mount point that holds the absolute native path.
    const Drive& FindNative(std::string_view path) const;
    // The mounted file system that holds the path; null if the mount table could not be read.
    const Mount* FindMount(std::string_view path) const;

    bool SameAs(const DriveTable& other) const;

private:
    const std::vector<Drive> m_drives;
    std::vector<Mount> m_mounts;  // longest mount point first
    std::array<const Drive*, 26> m_letters = {};
    std::vector<const Drive*> m_byLength;  // longest mount point first, without the root
    const Drive* m_root = nullptr;
};

// The table in force. The reference stays valid as long as the process lives. Costs one atomic load.
const DriveTable& CurrentDriveTable();

}  // namespace rampart::platform
