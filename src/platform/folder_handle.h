// An open folder, and what is done in it by one name at a time. Nothing here follows a link below the folder
// that was opened by its path, also when one is put there meanwhile, so that no name leads out of it.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/attributes.h"
#include "platform/file_system.h"

namespace rampart::platform {

// Whether a file can have this one name here, so that it is no way to elsewhere either.
bool IsFileName(TextView name);

// Names are engine names. One that no file can have, or that would be a way (".", "..", a separator, a NUL),
// fails with kInvalidName. Operations set LastError on a failure; any thread may call them.
class FolderHandle {
public:
    // A folder by its engine path, whose own links are followed: a person has named it. Null on a failure.
    static std::shared_ptr<FolderHandle> Open(TextView path);
    virtual ~FolderHandle() = default;

    // A folder in this one; a link fails. Null on a failure. A folder of this user's own that he cannot enter
    // or write in is made so.
    virtual std::shared_ptr<FolderHandle> OpenFolder(TextView name) = 0;
    // One for this user alone; kAlreadyExists if anything is there.
    virtual bool MakeFolder(TextView name) = 0;

    // A new file for this user alone, kAlreadyExists if anything is there; null on a failure.
    virtual std::unique_ptr<FileHandle> MakeFile(TextView name) = 0;
    // For reading; a link, and anything but a regular file, fails. With `fromDisk` what the system holds of
    // it in memory is dropped first, as far as it lets go.
    virtual std::unique_ptr<FileHandle> OpenFile(TextView name, bool fromDisk) = 0;
    // `target` is the system's own bytes, as ReadLink gives them.
    virtual bool MakeLink(TextView name, const std::string& target) = 0;
    virtual bool ReadLink(TextView name, std::string& target) = 0;
    // Another name of `sourceName` in `source`, which is no folder.
    virtual bool MakeHardLink(TextView name, FolderHandle& source, TextView sourceName) = 0;
    // A pipe, a socket or a device as its attributes say; kNotSupported where the system has no such thing.
    virtual bool MakeSpecial(TextView name, const Attributes& attributes) = 0;

    virtual bool QueryStatus(TextView name, FileStatus& status) = 0;
    virtual std::unique_ptr<DirectoryReader> List(bool withStatus) = 0;
    // Within this folder.
    virtual bool Rename(TextView from, TextView to, bool replace) = 0;
    virtual bool Remove(TextView name) = 0;  // of anything but a folder

    // See platform/attributes.h. An empty name is the folder itself.
    virtual bool ApplyAttributes(TextView name, std::string_view bytes, const ApplyOptions& options,
                                 std::vector<std::string>& missed) = 0;
    // Makes all that was written to the folder's file system durable.
    virtual bool SyncFileSystem() = 0;
};

}  // namespace rampart::platform
