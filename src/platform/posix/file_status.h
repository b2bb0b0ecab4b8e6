// Turns what the kernel says of a file into a FileStatus.
#pragma once

#include <string_view>

#include "platform/file_system.h"

namespace rampart::platform {

// `name` gives the hidden attribute: a file below `directory` (a descriptor or AT_FDCWD) by its last name. A
// symbolic link is not followed. False with errno set.
bool ReadStatus(int directory, const char* path, std::string_view name, FileStatus& status);
// Of an open file.
bool ReadStatus(int fd, FileStatus& status);

// Whether a time in seconds since 1970 UTC has nanoseconds that 64 bits hold. One that has not is the nearest
// that has: never a moment in another century.
bool FitsNanoseconds(int64_t seconds);

// kHidden or 0.
uint32_t HiddenBit(std::string_view name);

// The attribute bits that follow from the kind of a directory entry (DT_...) and its name.
uint32_t AttributesOfEntry(unsigned char type, std::string_view name);

std::string_view LastName(std::string_view nativePath);

}  // namespace rampart::platform
