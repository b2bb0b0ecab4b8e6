// inotify watches single folders, so each folder below has a watch of its own.
#include "platform/directory_watch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <deque>
#include <string>
#include <unordered_map>

#include "platform/file_system.h"
#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

constexpr uint32_t kToldChanges =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB;
constexpr uint32_t kOfRoot = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr int kHalfRenameMs = 20;  // the other half of a rename follows at once, but may miss a read

struct Event {
    int watch = 0;
    uint32_t mask = 0;
    uint32_t cookie = 0;
    std::string name;
};

bool LiesBelow(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

class PosixDirectoryWatch : public DirectoryWatch {
public:
    PosixDirectoryWatch(Descriptor queue, Descriptor stop, std::string root)
        : m_queue(std::move(queue)), m_stop(std::move(stop)), m_root(std::move(root)) {}

    bool Begin() {
        m_rootWatch = Retry([&] {
            return inotify_add_watch(m_queue.Get(), m_root.c_str(), kToldChanges | kOfRoot | IN_ONLYDIR);
        });
        if (m_rootWatch < 0) {
            return errno == ENOSPC ? FailWithoutWatches() : FailOnPath(errno, m_root);
        }
        m_folders[m_rootWatch] = m_root;
        WatchContent(m_root, nullptr);
        return !m_isFull || FailWithoutWatches();
    }

    bool Read(std::vector<DirectoryChange>& changes) override {
        changes.clear();
        while (changes.empty()) {
            if (m_isRootGone) {
                SetLastError(kPathNotFound);
                return false;
            }
            if (m_isFull) {
                return FailWithoutWatches();
            }
            if (m_events.empty() && !Fetch(-1)) {
                return false;
            }
            while (!m_events.empty() && !m_isRootGone) {
                Take(changes);
            }
        }
        return true;
    }

    void Stop() override { eventfd_write(m_stop.Get(), 1); }

private:
    static bool FailWithoutWatches() {
        SetLastError(kTooManyOpenFiles);
        return false;
    }

    // Waits for events. False when the watch was stopped, and when the time runs out.
    bool Fetch(int timeoutMs) {
        pollfd waits[2] = {{m_queue.Get(), POLLIN, 0}, {m_stop.Get(), POLLIN, 0}};
        const int ready = Retry([&] { return poll(waits, 2, timeoutMs); });
        if (ready <= 0 || waits[1].revents != 0) {
            SetLastError(kRequestAborted);
            return false;
        }
        alignas(inotify_event) char buffer[64 * 1024];
        const ssize_t size = Retry([&] { return read(m_queue.Get(), buffer, sizeof buffer); });
        for (ssize_t at = 0; at < size;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            m_events.push_back(
                {event->wd, event->mask, event->cookie, event->len > 0 ? std::string(event->name) : ""});
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
        return true;
    }

    // Tells the first of the fetched events.
    void Take(std::vector<DirectoryChange>& changes) {
        const Event event = std::move(m_events.front());
        m_events.pop_front();
        if ((event.mask & IN_Q_OVERFLOW) != 0) {
            WatchAnew();
            Tell(changes, ChangeKind::kRescan, m_root);
            return;
        }
        const auto folder = m_folders.find(event.watch);
        if (folder == m_folders.end()) {
            return;
        }
        if ((event.mask & IN_IGNORED) != 0) {
            m_isRootGone = m_isRootGone || event.watch == m_rootWatch;
            m_folders.erase(folder);
            return;
        }
        if ((event.mask & (kOfRoot | IN_UNMOUNT)) != 0) {
            m_isRootGone = m_isRootGone || event.watch == m_rootWatch;
            return;
        }
        if (event.name.empty()) {
            return;  // a change of the folder itself, which its parent tells
        }
        const std::string path = folder->second + "/" + event.name;
        const bool isFolder = (event.mask & IN_ISDIR) != 0;
        if ((event.mask & (IN_CREATE | IN_MOVED_TO)) != 0) {
            Tell(changes, ChangeKind::kAdded, path);
            if (isFolder) {
                Watch(path, &changes);
            }
        } else if ((event.mask & IN_MOVED_FROM) != 0) {
            TakeMove(path, isFolder, event.cookie, changes);
        } else if ((event.mask & IN_DELETE) != 0) {
            Tell(changes, ChangeKind::kRemoved, path);
        } else {
            Tell(changes, ChangeKind::kModified, path);
        }
    }

    // A rename within the tree has a second event with the same cookie.
    void TakeMove(const std::string& from, bool isFolder, uint32_t cookie,
                  std::vector<DirectoryChange>& changes) {
        auto other = FindSecondHalf(cookie);
        if (other == m_events.end() && Fetch(kHalfRenameMs)) {
            other = FindSecondHalf(cookie);
        }
        const auto folder = other != m_events.end() ? m_folders.find(other->watch) : m_folders.end();
        if (folder == m_folders.end()) {
            Tell(changes, ChangeKind::kRemoved, from);
            Forget(from);
            return;
        }
        const std::string to = folder->second + "/" + other->name;
        m_events.erase(other);
        Tell(changes, ChangeKind::kRenamedFrom, from);
        Tell(changes, ChangeKind::kRenamedTo, to);
        if (isFolder) {
            for (auto& [watch, path] : m_folders) {
                if (path == from || LiesBelow(path, from)) {
                    path.replace(0, from.size(), to);
                }
            }
            Watch(to, &changes);
        }
    }

    std::deque<Event>::iterator FindSecondHalf(uint32_t cookie) {
        return std::find_if(m_events.begin(), m_events.end(), [&](const Event& event) {
            return event.cookie == cookie && (event.mask & IN_MOVED_TO) != 0;
        });
    }

    // Watches a folder and all below it. What is found there came before the watch, so it is told.
    void Watch(const std::string& folder, std::vector<DirectoryChange>* changes) {
        const int watch = Retry([&] {
            return inotify_add_watch(m_queue.Get(), folder.c_str(),
                                     kToldChanges | IN_ONLYDIR | IN_DONT_FOLLOW);
        });
        if (watch < 0) {
            m_isFull = m_isFull || errno == ENOSPC || errno == ENOMEM;
            return;  // gone again, or not to be read: then nothing in it is backed up either
        }
        std::string& known = m_folders[watch];
        if (known != folder) {
            known = folder;
            WatchContent(folder, changes);
        }
    }

    void WatchContent(const std::string& folder, std::vector<DirectoryChange>* changes) {
        const auto reader = DirectoryReader::Open(ToEnginePath(folder), /*withStatus=*/false);
        DirectoryEntry entry;
        while (reader && !m_isFull && reader->Next(entry)) {
            const std::string path = folder + "/" + NameToNative(entry.name);
            if (changes != nullptr) {
                Tell(*changes, ChangeKind::kAdded, path);
            }
            if (entry.status.IsDirectory()) {
                Watch(path, changes);
            }
        }
    }

    // After events were lost: folders have come and gone, and have other names.
    void WatchAnew() {
        const auto old = std::exchange(m_folders, {{m_rootWatch, m_root}});
        WatchContent(m_root, nullptr);
        for (const auto& [watch, path] : old) {
            if (!m_folders.contains(watch)) {
                inotify_rm_watch(m_queue.Get(), watch);
            }
        }
    }

    // Ends the watches of a folder that has left the tree.
    void Forget(const std::string& folder) {
        for (auto each = m_folders.begin(); each != m_folders.end();) {
            if (each->second == folder || LiesBelow(each->second, folder)) {
                inotify_rm_watch(m_queue.Get(), each->first);
                each = m_folders.erase(each);
            } else {
                ++each;
            }
        }
    }

    // A change of one file that repeats is told once.
    static void Tell(std::vector<DirectoryChange>& changes, ChangeKind kind, const std::string& path) {
        DirectoryChange change{kind, ToEnginePath(path)};
        if (kind != ChangeKind::kModified || changes.empty() || changes.back() != change) {
            changes.push_back(std::move(change));
        }
    }

    const Descriptor m_queue;
    const Descriptor m_stop;
    const std::string m_root;
    int m_rootWatch = -1;
    bool m_isRootGone = false;
    bool m_isFull = false;                           // the system has no watch left for a folder
    std::unordered_map<int, std::string> m_folders;  // native paths by watch
    std::deque<Event> m_events;                      // fetched, not told yet
};

}  // namespace

std::unique_ptr<DirectoryWatch> DirectoryWatch::Open(TextView folder) {
    const std::string native = ToNativePath(folder);
    if (native.empty()) {
        return nullptr;
    }
    Descriptor queue(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    Descriptor stop(eventfd(0, EFD_CLOEXEC));
    if (!queue || !stop) {
        FailWithErrno(errno);
        return nullptr;
    }
    auto watch = std::make_unique<PosixDirectoryWatch>(std::move(queue), std::move(stop), native);
    return watch->Begin() ? std::move(watch) : nullptr;
}

}  // namespace rampart::platform
