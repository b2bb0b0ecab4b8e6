// Over libfuse's low level interface, in which a file is what was once looked up and not a path: whoever is
// in a folder, or reads a file, stays with what it was, also when the path leads to something newer. With a
// loop of our own: the library's ends neither at once nor safely when another thread asks for it.
#include "platform/tree_mount.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "platform/posix/mount_operations.h"
#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

constexpr size_t kThreads = 4;
constexpr std::chrono::milliseconds kAskPeriod{100};

std::mutex s_logMutex;
std::string s_lastLog;  // guarded by s_logMutex

void OnLog(fuse_log_level, const char* format, va_list arguments) {
    char line[512];
    std::vsnprintf(line, sizeof line, format, arguments);
    std::lock_guard lock(s_logMutex);
    s_lastLog = line;
    while (!s_lastLog.empty() && s_lastLog.back() == '\n') {
        s_lastLog.pop_back();
    }
}

std::string LastLog() {
    std::lock_guard lock(s_logMutex);
    return s_lastLog.empty() ? std::string("unknown reason") : s_lastLog;
}

class FuseMount : public TreeMount {
public:
    explicit FuseMount(MountedTree& tree) : m_shown(tree), m_wake(eventfd(0, EFD_CLOEXEC)) {}
    ~FuseMount() override {
        if (m_isMounted) {
            fuse_session_unmount(m_session);
        }
        if (m_session != nullptr) {
            fuse_session_destroy(m_session);
        }
    }

    bool Mount(const std::string& folder) {
        std::string program = "rampart";
        std::string option = "-o";
        std::string options = "ro,nosuid,nodev,fsname=rampart,subtype=rampart";
        char* arguments[] = {program.data(), option.data(), options.data()};
        fuse_args list = FUSE_ARGS_INIT(static_cast<int>(std::size(arguments)), arguments);
        static const fuse_lowlevel_ops operations = MountOperations();
        m_session = fuse_session_new(&list, &operations, sizeof operations, &m_shown);
        fuse_opt_free_args(&list);
        m_isMounted = m_session != nullptr && fuse_session_mount(m_session, folder.c_str()) == 0;
        if (m_isMounted) {
            const int fd = fuse_session_fd(m_session);
            fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
        }
        return m_isMounted;
    }

    void Serve(const std::function<bool()>& goOn) override {
        m_running = kThreads;
        std::vector<std::thread> threads;
        for (size_t i = 0; i < kThreads; ++i) {
            threads.emplace_back([this] {
                Answer();
                std::lock_guard lock(m_mutex);
                --m_running;
                m_ended.notify_all();
            });
        }
        std::unique_lock lock(m_mutex);
        while (m_running == kThreads && goOn()) {
            m_ended.wait_for(lock, kAskPeriod);
        }
        lock.unlock();
        fuse_session_exit(m_session);
        const uint64_t wake = 1;
        [[maybe_unused]] const ssize_t told = write(m_wake.Get(), &wake, sizeof wake);
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

private:
    void Answer() {
        fuse_buf buffer{};
        pollfd sources[] = {{fuse_session_fd(m_session), POLLIN, 0}, {m_wake.Get(), POLLIN, 0}};
        while (!fuse_session_exited(m_session)) {
            if (Retry([&] { return poll(sources, std::size(sources), -1); }) < 0 || sources[1].revents != 0) {
                break;
            }
            const int received = fuse_session_receive_buf(m_session, &buffer);
            if (received > 0) {
                fuse_session_process_buf(m_session, &buffer);
            } else if (received != -EAGAIN && received != -EINTR) {
                break;  // unmounted
            }
        }
        std::free(buffer.mem);
    }

    Shown m_shown;
    fuse_session* m_session = nullptr;
    bool m_isMounted = false;
    const Descriptor m_wake;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    size_t m_running = 0;  // guarded by m_mutex
};

}  // namespace

bool TreeMount::IsAvailable(std::string& reason) {
    if (access("/dev/fuse", F_OK) == 0) {
        return true;
    }
    reason = "this system has no /dev/fuse, which mounting needs";
    return false;
}

std::unique_ptr<TreeMount> TreeMount::Mount(TextView folder, MountedTree& tree, std::string& reason) {
    fuse_set_log_func(&OnLog);
    auto mount = std::make_unique<FuseMount>(tree);
    if (!mount->Mount(ToNativePath(folder))) {
        reason = LastLog();
        return nullptr;
    }
    return mount;
}

}  // namespace rampart::platform
