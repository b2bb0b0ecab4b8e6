#include "restore/restore_plan.h"

#include "interfaces/baselib.h"

namespace rampart {

CString RestorePlan::PathOf(uint32_t folder) const {
    const PlannedFolder& planned = folders[folder];
    const CString name(TextView(planned.name));
    return planned.parent == kNoIndex ? name : PathUtilities::Append(PathOf(planned.parent), name);
}

CString RestorePlan::PathOf(const PlannedEntry& entry) const {
    return PathUtilities::Append(PathOf(entry.folder), CString(TextView(entry.name)));
}

}  // namespace rampart
