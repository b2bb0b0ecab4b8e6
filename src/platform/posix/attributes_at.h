// Attributes by descriptor and by name in an open folder.
#pragma once

#include <string>
#include <vector>

#include "platform/attributes.h"

namespace rampart::platform {

// Of an open file or folder. Empty with errno set on a failure.
std::string ReadAttributes(int fd);

// `name` is one name in the folder `directory`, or any path with AT_FDCWD; a link there is not followed. See
// ApplyAttributes.
bool ApplyAttributesAt(int directory, const char* name, std::string_view bytes, const ApplyOptions& options,
                       std::vector<std::string>& missed);

// The owner and the group by their names where this system knows them, else by their numbers.
uint32_t OwnerNumber(const Attributes& attributes);
uint32_t GroupNumber(const Attributes& attributes);

}  // namespace rampart::platform
