// A ledger as a person reads it.
#pragma once

#include "common/ledger.h"
#include "options.h"

namespace rampart::cli {

using host::Ledger;
using host::SkippedEntryListener;

// The paths by their reason, one line each: of those that failed the first hundred, of those that are skipped
// by their kind (links, sockets, ...) the first few. If that leaves some out, the whole list goes to a file,
// which is named.
void PrintLedger(CommonOptions const& common, Ledger const& ledger, char const* title = "Not protected:");

}  // namespace rampart::cli
