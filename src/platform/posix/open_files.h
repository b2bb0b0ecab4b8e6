// The room's own objects over descriptors that are open already.
#pragma once

#include <memory>
#include <string_view>

#include "platform/file_system.h"
#include "platform/posix/native.h"

namespace rampart::platform {

// `name` is the last name of the file. Null with LastError set for anything but a regular file.
std::unique_ptr<FileHandle> FileOf(Descriptor fd, std::string_view name);
// Null with errno set on a failure.
std::unique_ptr<DirectoryReader> ReaderOf(Descriptor fd, bool withStatus);

}  // namespace rampart::platform
