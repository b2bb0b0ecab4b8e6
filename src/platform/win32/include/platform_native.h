// The character type of this platform and its literals. CMake puts the folder of one platform on the include
// path. windows.h defines the same names with the same meaning where it is included.
#pragma once

#include <cstddef>

using TCHAR = wchar_t;

#define RAMPART_WIDE(text) L##text
#ifndef _T
#define _T(text) RAMPART_WIDE(text)
#endif

// Marks what the dynamic library exports. Programs that link the library see it imported; its own objects,
// and tests that hold them, export it.
#ifdef RAMPART_USES_VAULTLIB
#define VAULTLIB_API __attribute__((dllimport))
#else
#define VAULTLIB_API __attribute__((dllexport))
#endif
