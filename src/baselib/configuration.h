// The configuration and the dictionary in force.
//
// Configuration: the shipped rampart.ini, over it the one in the user's configuration folder. Dictionary: the
// English texts, over them those of the language that the configuration names.
#pragma once

#include "baselib/text_table.h"

namespace rampart {

// Valid until the calling thread asks again.
const TextTable& Configuration();
const TextTable& Dictionary();

inline constexpr TextView kDictionarySection = _T("Text");

// The user's file; it need not exist.
Text UserConfigurationFile();

// Looks at the files of both now.
void RefreshConfiguration();

}  // namespace rampart
