#include "platform/posix/mount_table.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>

#include "platform/fnv_hash.h"
#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

constexpr std::string_view kNetworkTypes[] = {
    "nfs",  "nfs4",       "cifs",        "smb3",       "smbfs",         "9p",
    "afs",  "ceph",       "ncpfs",       "glusterfs",  "davfs",         "lustre",
    "coda", "fuse.sshfs", "fuse.rclone", "fuse.davfs", "fuse.glusterfs"};
constexpr std::string_view kPseudoTypes[] = {"proc",    "sysfs",     "devpts",     "devtmpfs",   "cgroup",
                                             "cgroup2", "autofs",    "securityfs", "debugfs",    "tracefs",
                                             "bpf",     "hugetlbfs", "mqueue",     "pstore",     "configfs",
                                             "nsfs",    "fusectl",   "efivarfs",   "fuse.portal"};

std::string_view TakeField(std::string_view& line) {
    const size_t end = std::min(line.find(' '), line.size());
    const std::string_view field = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return field;
}

// The kernel writes blanks, tabs, line ends and backslashes of a path as three octal digits.
std::string Unescape(std::string_view field) {
    std::string text;
    for (size_t i = 0; i < field.size(); i++) {
        unsigned value = 0;
        if (field[i] == '\\' && i + 3 < field.size() &&
            std::from_chars(&field[i + 1], &field[i + 1] + 3, value, 8).ptr == &field[i + 1] + 3) {
            text.push_back(static_cast<char>(value));
            i += 3;
        } else {
            text.push_back(field[i]);
        }
    }
    return text;
}

// "36 35 98:0 /root /mount/point options optional... - type source options"
bool ParseMount(std::string_view line, Mount& mount) {
    TakeField(line);
    TakeField(line);
    const std::string_view device = TakeField(line);
    mount.root = Unescape(TakeField(line));
    mount.point = Unescape(TakeField(line));
    const size_t dash = line.find(" - ");
    const size_t colon = device.find(':');
    if (!mount.point.starts_with('/') || dash == std::string_view::npos || colon == std::string_view::npos) {
        return false;
    }
    line.remove_prefix(dash + 3);
    mount.type = TakeField(line);
    mount.source = Unescape(TakeField(line));
    unsigned major = 0;
    unsigned minor = 0;
    std::from_chars(device.data(), device.data() + colon, major);
    std::from_chars(device.data() + colon + 1, device.data() + device.size(), minor);
    mount.device = makedev(major, minor);
    return true;
}

// The id that the file system carries on its device, "" if it is unknown. It goes with the device from port
// to port, which the id that statfs gives does not do for every file system.
std::string VolumeUuid(dev_t device) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/disk/by-uuid", error)) {
        struct stat status;
        if (stat(entry.path().c_str(), &status) == 0 && S_ISBLK(status.st_mode) && status.st_rdev == device) {
            return entry.path().filename();
        }
    }
    return {};
}

// FAT and NTFS name their volumes by the number that Windows shows as its serial (or ends with it).
uint32_t SerialOfUuid(std::string uuid) {
    std::string digits = uuid;
    if (digits.size() == 9 && digits[4] == '-') {
        digits.erase(4, 1);
    }
    uint64_t value = 0;
    const char* const end = digits.data() + digits.size();
    if ((digits.size() == 8 || digits.size() == 16) &&
        std::from_chars(digits.data(), end, value, 16).ptr == end) {
        return static_cast<uint32_t>(value);
    }
    return Fnv32(uuid);
}

}  // namespace

std::vector<Mount> ReadMounts() {
    return ParseMounts(ReadSystemFile("/proc/self/mountinfo"));
}

std::vector<Mount> ParseMounts(std::string_view mountInfo) {
    std::vector<Mount> mounts;
    while (!mountInfo.empty()) {
        const size_t end = std::min(mountInfo.find('\n'), mountInfo.size());
        Mount mount;
        if (ParseMount(mountInfo.substr(0, end), mount)) {
            std::erase_if(mounts, [&](const Mount& other) { return other.point == mount.point; });
            mounts.push_back(std::move(mount));
        }
        mountInfo.remove_prefix(std::min(end + 1, mountInfo.size()));
    }
    return mounts;
}

bool IsNetworkType(std::string_view type) {
    return std::find(std::begin(kNetworkTypes), std::end(kNetworkTypes), type) != std::end(kNetworkTypes);
}

bool IsPseudoType(std::string_view type) {
    return std::find(std::begin(kPseudoTypes), std::end(kPseudoTypes), type) != std::end(kPseudoTypes);
}

uint32_t MountSerial(const Mount& mount) {
    uint32_t serial = 0;
    if (IsNetworkType(mount.type)) {
        serial = Fnv32(mount.source);
    } else if (const std::string uuid = VolumeUuid(mount.device); !uuid.empty()) {
        serial = SerialOfUuid(uuid);
    } else {
        struct statfs status;
        if (statfs(mount.point.c_str(), &status) == 0) {
            uint32_t words[2];
            static_assert(sizeof words == sizeof status.f_fsid);
            memcpy(words, &status.f_fsid, sizeof words);
            serial = words[0] ^ words[1];
        }
        if (serial == 0) {
            serial = Fnv32(mount.source + ' ' + mount.type);
        }
    }
    if (mount.root != "/") {
        serial ^= Fnv32(mount.root);
    }
    return serial != 0 ? serial : 1;
}

bool IsRemovableMount(const Mount& mount) {
    if (IsNetworkType(mount.type)) {
        return false;
    }
    if (IsBelow(mount.point, "/media") || IsBelow(mount.point, "/run/media")) {
        return true;
    }
    std::error_code error;
    const std::filesystem::path link =
        "/sys/dev/block/" + std::to_string(major(mount.device)) + ':' + std::to_string(minor(mount.device));
    const std::filesystem::path device = std::filesystem::canonical(link, error);
    if (error) {
        return false;
    }
    const bool isPartition = std::filesystem::exists(device / "partition", error);
    const std::filesystem::path disk = isPartition ? device.parent_path() : device;
    return ReadSystemFile((disk / "removable").string()).starts_with('1') ||
           disk.string().find("/usb") != std::string::npos;
}

bool IsBelow(std::string_view path, std::string_view folder) {
    return folder == "/" ||
           (path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/'));
}

}  // namespace rampart::platform
