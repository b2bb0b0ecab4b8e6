// The archive form of one item of a progress list.
#pragma once

#include "framework/framework.h"
#include "progress/task_item_info.h"

namespace rampart {

// Number, tag, folder (behind the tag ":P" only), name, size, done, seconds, rate, status. Archive exceptions
// pass through.
void StoreItem(TaskItemInfo const& item, CArchive& archive);

}  // namespace rampart
