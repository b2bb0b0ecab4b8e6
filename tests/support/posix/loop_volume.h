// File systems in files, mounted by tests that need a volume of their own. Needs the right to mount.
#pragma once

#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace rampart::test {

inline bool RunsWell(std::string const& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// The kinds that tests ask for; `make` takes the image as its last word.
struct VolumeKind {
    char const* make;
    std::uintmax_t bytes;
};
inline constexpr VolumeKind kExt4Volume = {"/sbin/mkfs.ext4 -q -F", 8 << 20};
inline constexpr VolumeKind kXfsVolume = {"/sbin/mkfs.xfs -q -m reflink=1", 320 << 20};  // shares content

inline bool MakeVolume(VolumeKind const& kind, std::string const& image) {
    std::ofstream(image).close();
    std::error_code error;
    std::filesystem::resize_file(image, kind.bytes, error);
    return !error && RunsWell(std::string(kind.make) + " " + image);
}

inline bool MountVolume(std::string const& image, std::string const& place) {
    std::error_code error;
    std::filesystem::create_directories(place, error);
    return geteuid() == 0 && RunsWell("mount -o loop " + image + " " + place);
}

inline void UnmountVolume(std::string const& place) {
    umount2(place.c_str(), MNT_DETACH);
}

}  // namespace rampart::test
