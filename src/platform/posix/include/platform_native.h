// The character type of this platform and its literals. CMake puts the folder of one platform on the include
// path.
#pragma once

using TCHAR = char16_t;

#define RAMPART_WIDE(text) u##text
#define _T(text) RAMPART_WIDE(text)

// The 64-bit integer of the exported interface; a distinct overload from long on every platform.
#define __int64 long long

// Marks what the dynamic library exports.
#define VAULTLIB_API __attribute__((visibility("default")))
