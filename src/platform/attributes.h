// What the local system keeps of a file beside its name, content and last-write time, as one string of bytes:
// rights, owner, extended attributes, flags. Compact, with a version of its own, and the same for equal
// attributes, so that it can be compared and stored once. Everything above this room passes it on unread, or
// asks DecodeAttributes for what a person wants to see. What another kind of system made is kept and decoded;
// applying takes of it what this system can express.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/text.h"

namespace rampart::platform {

struct Attributes {
    enum System : uint8_t { kPosix = 1, kWindows = 2 };
    uint8_t system = kPosix;

    // POSIX. `mode` holds the kind of the file, too; names are empty where the system knew none.
    uint32_t mode = 0;
    uint32_t owner = 0;
    uint32_t group = 0;
    std::string ownerName;
    std::string groupName;
    uint32_t inodeFlags = 0;  // compressed 0x4, immutable 0x10, append only 0x20, no dump 0x40
    uint64_t device = 0;      // number of a device node
    std::vector<std::pair<std::string, std::string>> extended;  // by name, access control lists among them

    // Windows: attribute bits, creation time in nanoseconds since 1970 UTC, a self-relative security
    // descriptor, alternate streams by name.
    uint32_t fileAttributes = 0;
    int64_t creationTime = 0;
    std::string securityDescriptor;
    std::vector<std::pair<std::string, std::string>> streams;

    // Both. A last-write time that nanoseconds in 64 bits cannot hold, in seconds since 1970 UTC and what is
    // above them; 0 where they can.
    int64_t farWriteSeconds = 0;
    uint32_t farWriteNanoseconds = 0;
    // Files with the same two numbers, both above 0, are names of one file.
    uint64_t linkVolume = 0;
    uint64_t linkFile = 0;
    bool isMountRoot = false;  // a folder in which another file system began
    bool isSparse = false;     // fewer bytes are on the disk than the size says: runs of zeros are holes
};

std::string EncodeAttributes(const Attributes& attributes);
// False if the bytes are no attributes, or of a later form than this program knows.
bool DecodeAttributes(std::string_view bytes, Attributes& attributes);

// Of a path whose last name is not followed when it is a link. Empty with LastError set on a failure.
std::string ReadAttributes(TextView path);

struct ApplyOptions {
    bool owner = true;  // also the owner and the group, by their names where this system knows them
    int64_t writeTime = INT64_MIN;  // nanoseconds since 1970 UTC, set behind all else; INT64_MIN for none
};

// Gives a file, folder or link those attributes. False if something could not be given; `missed` receives a
// word for each such thing ("owner", "extended attribute user.x", ...). Set-id bits go only with the owner.
bool ApplyAttributes(TextView path, std::string_view bytes, const ApplyOptions& options,
                     std::vector<std::string>& missed);

}  // namespace rampart::platform
