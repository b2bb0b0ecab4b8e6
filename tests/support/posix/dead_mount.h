// A file system that answers nothing, as a network folder does whose server has gone, where the test may
// mount one.
#pragma once

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace rampart::test {

// Whoever looks into the folder waits, until this object goes: then the folder fails, and is what it was
// before.
class DeadMount {
public:
    explicit DeadMount(std::filesystem::path const& place)
        : m_place(place), m_channel(open("/dev/fuse", O_RDWR | O_CLOEXEC)) {
        std::string const options =
            "fd=" + std::to_string(m_channel) + ",rootmode=40000,user_id=0,group_id=0";
        m_mounted = m_channel >= 0 && mount("dead", place.c_str(), "fuse", 0, options.c_str()) == 0;
    }
    DeadMount(DeadMount const&) = delete;
    DeadMount& operator=(DeadMount const&) = delete;
    ~DeadMount() {
        if (m_channel >= 0) {
            close(m_channel);
        }
        if (m_mounted) {
            umount2(m_place.c_str(), MNT_DETACH);
        }
    }
    bool IsMounted() const { return m_mounted; }

private:
    std::filesystem::path m_place;
    int m_channel;
    bool m_mounted = false;
};

}  // namespace rampart::test
