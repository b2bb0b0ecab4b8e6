// Which records of a folder stand for nothing that is there any more.
#pragma once

#include <vector>

#include "framework/framework.h"

namespace rampart {

// Server paths of those entries of `serverFolder` that are neither gone already nor named by `names`, a
// complete listing of `folder`, in any order. A record whose name differs only in case from a local one
// stands for that one, unless that one has a record of its own. Empty when the service cannot tell.
std::vector<CString> EntriesGone(CString const& serverFolder, CString const& folder,
                                 std::vector<CString>& names);

}  // namespace rampart
