// A stored file's content compared with a local file.
#pragma once

#include <functional>
#include <string>

#include "framework/cstring.h"
#include "storage/storage_service.h"

namespace rampart {

// `same` becomes true when a local file, or the target of a link, is the stored content, by digest. `goOn`
// (may be empty) is asked between pieces; false ends it. The result is that of the service.
ServiceResult CompareStoredContent(StorageService& service, const std::string& serverPath,
                                   const CString& localPath, const std::function<bool()>& goOn, bool& same);

}  // namespace rampart
