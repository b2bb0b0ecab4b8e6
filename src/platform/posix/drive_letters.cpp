#include "platform/posix/drive_letters.h"

namespace rampart::platform {
namespace {

constexpr TCHAR kRootLetter = 'C';
constexpr std::basic_string_view<TCHAR> kOrder = _T("DEFGHIJKLMNOPQRSTUVWXYZAB");

}  // namespace

void DriveLetters::Pin(TCHAR letter, std::string_view mountPoint) {
    if (mountPoint.empty()) {
        m_pins.erase(letter);
    } else {
        m_pins[letter] = mountPoint;
    }
}

std::vector<Drive> DriveLetters::Assign(const Volume& root, std::vector<Volume> volumes) {
    std::sort(volumes.begin(), volumes.end(), [](const Volume& a, const Volume& b) {
        return std::tie(a.serial, a.mountPoint) < std::tie(b.serial, b.mountPoint);
    });
    std::map<TCHAR, Drive> drives;
    drives[kRootLetter] = {kRootLetter, root.mountPoint, root.serial, root.removable};
    const auto give = [&](TCHAR letter, const Volume& volume) {
        drives[letter] = {letter, volume.mountPoint, volume.serial, volume.removable};
    };
    for (const auto& [letter, mountPoint] : m_pins) {
        const auto volume =
            std::find_if(volumes.begin(), volumes.end(),
                         [&point = mountPoint](const Volume& v) { return v.mountPoint == point; });
        if (volume != volumes.end() && letter != kRootLetter) {
            give(letter, *volume);
            volumes.erase(volume);
        }
    }
    for (const bool samePoint : {true, false}) {
        std::erase_if(volumes, [&](const Volume& volume) {
            const TCHAR letter = Recall(volume, samePoint, drives);
            if (letter != 0) {
                give(letter, volume);
            }
            return letter != 0;
        });
    }
    for (const Volume& volume : volumes) {
        if (const TCHAR letter = NextFree(drives); letter != 0) {
            give(letter, volume);
        }
    }
    std::vector<Drive> result;
    for (auto& entry : drives) {
        Drive& drive = entry.second;
        std::erase_if(m_remembered, [&](const Remembered& r) {
            return r.letter == drive.letter || (r.serial == drive.serial && r.mountPoint == drive.mountPoint);
        });
        m_remembered.push_back({drive.serial, drive.mountPoint, drive.letter});
        result.push_back(std::move(drive));
    }
    return result;
}

TCHAR DriveLetters::Recall(const Volume& volume, bool samePoint, const std::map<TCHAR, Drive>& taken) const {
    for (const Remembered& remembered : m_remembered) {
        if (remembered.serial == volume.serial &&
            (!samePoint || remembered.mountPoint == volume.mountPoint) &&
            !taken.contains(remembered.letter) && !m_pins.contains(remembered.letter)) {
            return remembered.letter;
        }
    }
    return 0;
}

TCHAR DriveLetters::NextFree(const std::map<TCHAR, Drive>& taken) const {
    const auto isFree = [&](TCHAR letter, bool spareRemembered) {
        return !taken.contains(letter) && !m_pins.contains(letter) &&
               !(spareRemembered && std::any_of(m_remembered.begin(), m_remembered.end(),
                                                [&](const Remembered& r) { return r.letter == letter; }));
    };
    for (const bool spareRemembered : {true, false}) {
        for (const TCHAR letter : kOrder) {
            if (isFree(letter, spareRemembered)) {
                return letter;
            }
        }
    }
    return 0;
}

}  // namespace rampart::platform
