// Files and folders by engine path. Every function may be called from any thread; failures set LastError.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/error.h"
#include "platform/text.h"

namespace rampart::platform {

// Attribute bits, with the numbers of the Windows ones.
enum FileAttribute : uint32_t {
    kReadOnly = 0x1,
    kHidden = 0x2,
    kDirectory = 0x10,
    kTemporary = 0x100,
    kReparsePoint = 0x400,    // a symbolic link; never followed by the functions here
    kMountRoot = 0x20000000,  // a folder in which another file system begins, where the system tells
    kSpecial = 0x10000000,    // a socket, a pipe or a device: nothing that has content to back up
    kSocket = 0x40000000,     // which of these
};

// Times are nanoseconds since 1970-01-01 00:00 UTC.
struct FileStatus {
    uint64_t size = 0;  // bytes of a file, or of a link's target where the system tells
    int64_t creationTime = 0;
    int64_t accessTime = 0;
    int64_t writeTime = 0;
    int64_t changeTime = 0;  // last change of content or attributes, not settable; 0 where there is none
    uint32_t attributes = 0;
    uint64_t fileId = 0;
    uint64_t volumeId = 0;
    bool IsDirectory() const { return (attributes & kDirectory) != 0; }
    // A link to a folder that the system itself takes for a folder is none of these.
    bool IsLink() const { return (attributes & (kDirectory | kReparsePoint)) == kReparsePoint; }
    bool IsSpecial() const { return (attributes & kSpecial) != 0; }
    bool IsRegularFile() const { return (attributes & (kDirectory | kReparsePoint | kSpecial)) == 0; }
};

// Does not follow a symbolic link.
bool QueryStatus(TextView path, FileStatus& status);

struct DirectoryEntry {
    Text name;
    FileStatus
        status;  // complete when `hasStatus`, otherwise only the attribute bits that the listing itself gives
    bool hasStatus = false;  // where it was asked for and is missing, LastError says why
};

// Lists one folder; "." and ".." are left out. Entries come in the order of the file system.
class DirectoryReader {
public:
    // `withStatus` asks for size and times of each entry too, which costs one system call an entry.
    static std::unique_ptr<DirectoryReader> Open(TextView folder, bool withStatus);
    virtual ~DirectoryReader() = default;
    // False at the end and on a failure; LastError is kNoMoreItems at the end. An entry that vanished is
    // passed over.
    virtual bool Next(DirectoryEntry& entry) = 0;
};

enum OpenMode : uint32_t {
    kOpenRead = 0x1,
    kOpenWrite = 0x2,
    kOpenCreate = 0x4,       // make the file if it is missing
    kOpenTruncate = 0x8,     // empty it
    kOpenExclusive = 0x10,   // with kOpenCreate: fail with kAlreadyExists if it exists
    kOpenFollowLink = 0x20,  // a symbolic link as the last name is followed; without it the open fails
};

// An open file. One thread at a time, but ReadAt and WriteAt may run beside each other.
class FileHandle {
public:
    // Null on a failure; kAccessDenied for anything but a regular file. Never blocks on a pipe. A file that
    // is made is this user's alone, where files have rights of their own.
    static std::unique_ptr<FileHandle> Open(TextView path, uint32_t mode);
    static std::unique_ptr<FileHandle> OpenNative(const std::string& nativePath, uint32_t mode);
    virtual ~FileHandle() = default;
    // Bytes moved, fewer only at the end of the file; -1 on a failure.
    virtual int64_t ReadAt(uint64_t offset, void* buffer, size_t size) = 0;
    virtual int64_t WriteAt(uint64_t offset, const void* buffer, size_t size) = 0;
    virtual bool GetSize(uint64_t& size) = 0;
    virtual bool SetSize(uint64_t size) = 0;
    // Makes all that was written durable.
    virtual bool Sync() = 0;
    virtual bool QueryStatus(FileStatus& status) = 0;
    // See platform/attributes.h; empty on a failure.
    virtual std::string ReadAttributes() = 0;
    // -1 leaves a time as it is.
    virtual bool SetTimes(int64_t creationTime, int64_t accessTime, int64_t writeTime) = 0;
    // An advisory lock on the whole file that ends with the handle or the process. False with
    // kSharingViolation when another process or handle holds it.
    virtual bool TryLock(bool exclusive) = 0;
    // The same, exclusive, and waits until it is free.
    virtual bool Lock() = 0;
};

// Folders that are made are this user's alone, where folders have rights of their own.
bool CreateFolder(TextView path);   // one level; kAlreadyExists if something is there
bool CreateFolders(TextView path);  // all levels; success if the folder exists already
// Takes the rights of others away from what belongs to this user; leaves what is somebody else's, and links.
bool KeepPrivate(TextView path);
bool RemoveFile(TextView path);
bool RemoveEmptyFolder(TextView path);
bool RenamePath(TextView from, TextView to, bool replace);
bool SetAttributes(TextView path, uint32_t attributes);  // kReadOnly only where the system has nothing else
// Gives a file the access rights of another; true at once where rights come from the folder.
bool CopyAccessRights(TextView from, TextView to);
bool SyncFolder(TextView path);         // makes renames and new names in it durable
bool SameFile(TextView a, TextView b);  // both names denote one file
// What a link itself holds, the local system's own bytes; false for anything that is no link.
bool ReadLink(TextView path, std::string& target);
// Where a link leads in the end, also when nothing is there yet if the system tells; any other path is its
// own target. Empty on a failure, such as a ring of links.
Text LinkTarget(TextView path);

// Called with the bytes of the whole file and those moved so far, first with 0; false stops the copy.
using CopyProgress = std::function<bool(uint64_t totalBytes, uint64_t movedBytes)>;

// Copies content, last-write and access time; uses a shared extent where the file system can, and keeps
// holes. The target is replaced; copying a file onto itself fails with kSharingViolation and leaves it as it
// is. On a stop or a failure the partial target is removed. LastError is kRequestAborted after a stop.
// With `mustRest` a source that changed while it was copied is a failure with kSharingViolation: parts of two
// states are no copy. A change shows in the file's times; on Windows one may go unseen that follows the
// change before it within a tick of the system's clock, and everywhere one within a tick of a file system
// with whole seconds.
bool CopyFileContent(TextView from, TextView to, const CopyProgress& progress, bool mustRest = false);

}  // namespace rampart::platform
