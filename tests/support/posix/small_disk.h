// A disk that fills soon, where the test may mount one.
#pragma once

#include <sys/mount.h>

#include <filesystem>
#include <string>

namespace rampart::test {

// A file system of its own, so small that it fills; taken down with the object.
class SmallDisk {
public:
    SmallDisk(std::filesystem::path const& place, std::string const& size) : m_place(place) {
        std::filesystem::create_directories(place);
        m_mounted = mount("tmpfs", place.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
    }
    SmallDisk(SmallDisk const&) = delete;
    SmallDisk& operator=(SmallDisk const&) = delete;
    ~SmallDisk() {
        if (m_mounted) {
            umount2(m_place.c_str(), MNT_DETACH);
        }
    }
    bool IsMounted() const { return m_mounted; }

private:
    std::filesystem::path m_place;
    bool m_mounted;
};

}  // namespace rampart::test
