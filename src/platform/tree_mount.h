// A tree that this program shows as a folder of the file system, for reading only and for the user who mounts
// it alone.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/attributes.h"
#include "platform/text.h"

namespace rampart::platform {

// Times are nanoseconds since 1970 UTC.
struct MountedStatus {
    enum class Kind : uint8_t { kFile, kFolder, kLink, kSpecial };
    Kind kind = Kind::kFile;
    uint64_t size = 0;
    int64_t writeTime = 0;
    int64_t changeTime = 0;
    // Null, or those of another kind of system: it is the mounting user's own.
    std::shared_ptr<const Attributes> attributes;
    // Where what stands under the path may be another thing later: a path that leads to this one for ever.
    // Empty where the path itself does, once the one above it does.
    Text lastingPath;
};

enum class MountedAnswer { kDone, kNotFound, kWrongKind, kFailed };

class MountedFile {
public:
    virtual ~MountedFile() = default;
    // Up to `size` bytes, fewer only at the end. False: they cannot be read. Any thread.
    virtual bool Read(uint64_t offset, size_t size, std::string& bytes) = 0;
};

// What is shown. Paths are engine names with a backslash before each; empty is the mounted folder itself.
// Below a lasting path nothing changes. Any thread, several at once.
class MountedTree {
public:
    using Visitor = std::function<void(const Text& name, const MountedStatus& status)>;

    virtual ~MountedTree() = default;
    virtual MountedAnswer Status(TextView path, MountedStatus& status) = 0;
    virtual MountedAnswer List(TextView folder, const Visitor& visit) = 0;
    virtual MountedAnswer Open(TextView path, std::unique_ptr<MountedFile>& file) = 0;
    // The system's own bytes.
    virtual MountedAnswer ReadLink(TextView path, std::string& target) = 0;
};

class TreeMount {
public:
    // False, with the reason as a sentence, where this program or this system cannot do it at all.
    static bool IsAvailable(std::string& reason);
    // `tree` must outlive it. Null with the reason on a failure.
    static std::unique_ptr<TreeMount> Mount(TextView folder, MountedTree& tree, std::string& reason);
    // Takes the folder out of the file system again, also while somebody uses it.
    virtual ~TreeMount() = default;
    // Answers until somebody unmounts the folder, or `goOn`, which is asked some times a second, says no.
    virtual void Serve(const std::function<bool()>& goOn) = 0;
};

}  // namespace rampart::platform
