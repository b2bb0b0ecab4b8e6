// Comparison of a local file with its server record.
#pragma once

#include "framework/framework.h"
#include "run/time_agreement.h"

namespace rampart {

// Option "IgnoreTimeSpan", seconds; read at every call.
int32_t IgnoreTimeSpan();

// Seconds since 1970 UTC of a record's stamp; 0 if its year is below 1900.
__int64 RecordSeconds(SYSTEMTIME const& stamp);

}  // namespace rampart
