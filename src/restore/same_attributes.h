// Whether what is recorded of a file beside its content says the same.
#pragma once

#include "storage/storage_service.h"

namespace rampart {

// What each system keeps: rights, owner (by its number or its name), flags, extended attributes; attribute
// bits, security, streams. Not which other names a file has, when its present one was made, nor how it lies
// on the disk. What only one side knows, and what cannot be decoded, counts as the same.
bool SameAttributes(std::string_view a, std::string_view b);

// The same of two names of attributes, see StorageService::ReadAttributes.
ServiceResult CompareAttributes(StorageService& service, int64_t a, int64_t b, bool& same);
// Of a name and of the attributes themselves.
ServiceResult CompareAttributes(StorageService& service, int64_t a, std::string_view b, bool& same);

}  // namespace rampart
