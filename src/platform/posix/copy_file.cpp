#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <time.h>

#include <tuple>

#include "platform/copy_step.h"
#include "platform/file_system.h"
#include "platform/posix/native.h"

namespace rampart::platform {
namespace {

constexpr uint64_t kSmallFile = 64 * 1024;  // moved through a buffer, in two calls
constexpr uint64_t kBlock = 512;            // unit of st_blocks
constexpr int kMostLooks = 3;               // at a file whose times have not settled
constexpr long kTickNanoseconds = 10'000'000;

// One copy, from the open source to the removal of what a failure left behind.
class FileCopy {
public:
    FileCopy(std::string from, std::string to, const CopyProgress& progress, bool mustRest)
        : m_from(std::move(from)), m_to(std::move(to)), m_progress(progress), m_mustRest(mustRest) {}

    FileCopy(const FileCopy&) = delete;
    FileCopy& operator=(const FileCopy&) = delete;

    ~FileCopy() {
        if (m_isPartial) {
            unlink(m_to.c_str());
        }
    }

    bool Run() {
        if (!OpenSource() || !OpenTarget()) {
            return false;
        }
        m_isPartial = true;
        m_isPartial = !CopyContent();
        return !m_isPartial;
    }

private:
    bool OpenSource() {
        m_source = Descriptor(Retry(
            [&] { return open(m_from.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_NOFOLLOW); }));
        if (!m_source) {
            return FailOnPath(errno, m_from);
        }
        if (!ReadSettledStatus()) {
            return FailWithErrno(errno);
        }
        if (!S_ISREG(m_status.st_mode)) {
            return FailWithErrno(EACCES);
        }
        m_total = static_cast<uint64_t>(m_status.st_size);
        return true;
    }

    // The times of a file go in ticks: two changes within one look like one. Where a later change must show,
    // the tick of the last one is over before the content is read. Not for ever: a file may be changed all
    // the time, or by a machine whose clock is ahead.
    bool ReadSettledStatus() {
        for (int look = 0; look < kMostLooks; look++) {
            timespec before = {};
            clock_gettime(CLOCK_REALTIME_COARSE, &before);  // the clock of those times
            if (fstat(m_source.Get(), &m_status) != 0) {
                return false;
            }
            const timespec& changed = m_status.st_ctim;
            if (!m_mustRest ||
                std::tie(changed.tv_sec, changed.tv_nsec) < std::tie(before.tv_sec, before.tv_nsec)) {
                break;
            }
            const timespec tick = {0, kTickNanoseconds};
            nanosleep(&tick, nullptr);
        }
        return true;
    }

    // A new file is as private as the source. An existing one is emptied only when it is known to be another
    // file.
    bool OpenTarget() {
        constexpr int kFlags = O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_NOFOLLOW;
        const mode_t mode = (m_status.st_mode & 0777) | S_IRUSR | S_IWUSR;
        m_target = Descriptor(Retry([&] { return open(m_to.c_str(), kFlags | O_CREAT | O_EXCL, mode); }));
        if (m_target) {
            return true;
        }
        if (errno != EEXIST) {
            return FailOnPath(errno, m_to);
        }
        m_target = Descriptor(Retry([&] { return open(m_to.c_str(), kFlags); }));
        struct stat status;
        if (!m_target || fstat(m_target.Get(), &status) != 0) {
            return FailOnPath(errno, m_to);
        }
        if (status.st_dev == m_status.st_dev && status.st_ino == m_status.st_ino) {
            return FailWithErrno(EBUSY);
        }
        if (!S_ISREG(status.st_mode)) {
            return FailWithErrno(EACCES);
        }
        return Retry([&] { return ftruncate(m_target.Get(), 0); }) == 0 || FailWithErrno(errno);
    }

    bool CopyContent() {
        if (!Report(0) || !MoveBytes() || (m_mustRest && !HasRested())) {
            return false;
        }
        const timespec times[2] = {m_status.st_atim, m_status.st_mtim};
        if (futimens(m_target.Get(), times) != 0) {
            return FailWithErrno(errno);
        }
        // Some file systems say only here that the disk is full.
        if (close(m_target.Release()) != 0 && errno != EINTR) {
            return FailWithErrno(errno);
        }
        return m_total == 0 || Report(m_total);
    }

    bool MoveBytes() {
        if (m_total <= kSmallFile) {
            return MoveRange(0, m_total, /*buffered=*/true);
        }
        if (ioctl(m_target.Get(), FICLONE, m_source.Get()) == 0) {
            m_isShared = true;
            return true;
        }
        const bool sparse = static_cast<uint64_t>(m_status.st_blocks) * kBlock < m_total;
        return sparse ? MoveSparse() : MoveRange(0, m_total, /*buffered=*/false);
    }

    // Content that is shared is of one moment, whatever happens to the source.
    bool HasRested() const {
        struct stat now;
        if (!m_isShared && fstat(m_source.Get(), &now) != 0) {
            return FailWithErrno(errno);
        }
        const auto same = [](const timespec& a, const timespec& b) {
            return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
        };
        return m_isShared ||
               (now.st_size == m_status.st_size && same(now.st_mtim, m_status.st_mtim) &&
                same(now.st_ctim, m_status.st_ctim)) ||
               FailWithErrno(EBUSY);
    }

    bool MoveSparse() {
        uint64_t at = 0;
        while (at < m_total) {
            const off_t data = lseek(m_source.Get(), static_cast<off_t>(at), SEEK_DATA);
            if (data < 0 && errno == ENXIO) {
                break;  // nothing but a hole up to the end
            }
            const off_t hole = data < 0 ? -1 : lseek(m_source.Get(), data, SEEK_HOLE);
            if (hole < 0) {
                return MoveRange(at, m_total, /*buffered=*/false);
            }
            at = std::min(static_cast<uint64_t>(hole), m_total);
            if (!MoveRange(static_cast<uint64_t>(data), at, /*buffered=*/false)) {
                return false;
            }
        }
        return Retry([&] { return ftruncate(m_target.Get(), static_cast<off_t>(m_total)); }) == 0 ||
               FailWithErrno(errno);
    }

    bool MoveRange(uint64_t begin, uint64_t end, bool buffered) {
        while (begin < end) {
            const uint64_t wanted = std::min(end - begin, CopyStep::kPiece);
            int64_t moved = buffered ? -1 : MoveInKernel(begin, wanted);
            if (moved < 0) {
                buffered = true;
                moved = MoveThroughBuffer(begin, std::min<uint64_t>(wanted, kBufferSize));
            }
            if (moved < 0) {
                return FailWithErrno(errno);
            }
            if (moved == 0) {
                m_total = begin;  // the source has become shorter
                return true;
            }
            begin += static_cast<uint64_t>(moved);
            if (begin < m_total && m_step.IsOver(begin) && !Report(begin)) {
                return false;
            }
        }
        return true;
    }

    // -1 where the kernel cannot do it between these two files, and where a read or write would say better
    // why.
    int64_t MoveInKernel(uint64_t offset, uint64_t size) {
        auto in = static_cast<off64_t>(offset);
        auto out = in;
        const ssize_t moved =
            Retry([&] { return copy_file_range(m_source.Get(), &in, m_target.Get(), &out, size, 0); });
        return moved > 0 ? moved : -1;
    }

    int64_t MoveThroughBuffer(uint64_t offset, uint64_t size) {
        if (m_buffer == nullptr) {
            m_buffer = std::make_unique_for_overwrite<char[]>(std::min(m_total, kBufferSize));
        }
        const int64_t got = ReadFully(m_source.Get(), offset, m_buffer.get(), size);
        return got <= 0 ? got : WriteFully(m_target.Get(), offset, m_buffer.get(), static_cast<size_t>(got));
    }

    bool Report(uint64_t moved) {
        if (m_progress && !m_progress(m_total, moved)) {
            SetLastError(kRequestAborted);
            return false;
        }
        m_step.Begin(moved);  // a rest in the call is not of the step
        return true;
    }

    static constexpr uint64_t kBufferSize = 1024 * 1024;

    const std::string m_from;
    const std::string m_to;
    const CopyProgress& m_progress;
    const bool m_mustRest;
    Descriptor m_source;
    Descriptor m_target;
    struct stat m_status = {};
    bool m_isPartial = false;  // the target holds something, but not the whole
    bool m_isShared = false;
    uint64_t m_total = 0;
    CopyStep m_step;
    std::unique_ptr<char[]> m_buffer;
};

}  // namespace

bool CopyFileContent(TextView from, TextView to, const CopyProgress& progress, bool mustRest) {
    std::string source = ToNativePath(from);
    std::string target = ToNativePath(to);
    return !source.empty() && !target.empty() &&
           FileCopy(std::move(source), std::move(target), progress, mustRest).Run();
}

}  // namespace rampart::platform
