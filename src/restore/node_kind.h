// What stands under a name.
#pragma once

#include <cstdint>

#include "storage/storage_service.h"

namespace rampart {

enum class NodeKind : uint8_t { kFile, kFolder, kLink, kSpecial };

inline NodeKind KindOfRecord(const StoredRecord& record) {
    return record.isFolder                        ? NodeKind::kFolder
           : (record.flags & kRecordLink) != 0    ? NodeKind::kLink
           : (record.flags & kRecordSpecial) != 0 ? NodeKind::kSpecial
                                                  : NodeKind::kFile;
}

}  // namespace rampart
