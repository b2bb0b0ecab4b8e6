// Gives letters to mounted volumes and remembers them, so that a volume keeps its letter while it comes and
// goes.
#pragma once

#include <map>

#include "platform/posix/mount_table.h"
#include "platform/volumes.h"

namespace rampart::platform {

// A mounted file system that is to have a letter.
struct Volume {
    std::string mountPoint;
    uint32_t serial = 0;
    bool removable = false;
};

// Not thread-safe.
class DriveLetters {
public:
    // An empty mount point removes the pin.
    void Pin(TCHAR letter, std::string_view mountPoint);

    // Letters for the root and the volumes, sorted by letter. A pin wins, then the letter that a volume had
    // before; new volumes get the next letter from D: on, in the order of their serials. With all letters in
    // use a volume gets none; its files are still below C:.
    std::vector<Drive> Assign(const Volume& root, std::vector<Volume> volumes);

private:
    struct Remembered {
        uint32_t serial;
        std::string mountPoint;
        TCHAR letter;
    };
    TCHAR Recall(const Volume& volume, bool samePoint, const std::map<TCHAR, Drive>& taken) const;
    TCHAR NextFree(const std::map<TCHAR, Drive>& taken) const;

    std::map<TCHAR, std::string> m_pins;
    std::vector<Remembered> m_remembered;
};

}  // namespace rampart::platform
