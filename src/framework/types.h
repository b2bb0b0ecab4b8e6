// The plain names of the framework: integers with the width that MFC programmers expect of them, texts,
// handles.
//
// The integer names have the very types that windows.h gives them, so that both may be seen by one reader; a
// file that includes windows.h itself belongs in src/platform and does not include this one (SYSTEMTIME would
// be defined twice).
#pragma once

#include <platform_native.h>

#include <cstdint>
#include <type_traits>

#include "platform/text.h"

using BOOL = int;
using BYTE = unsigned char;
using WORD = unsigned short;
using UINT = unsigned int;
// 32 bits on every platform.
using DWORD = std::conditional_t<sizeof(unsigned long) == 4, unsigned long, unsigned int>;
using LONG = std::conditional_t<sizeof(long) == 4, long, int>;
using LONGLONG = long long;
using ULONGLONG = unsigned long long;
using ULONG_PTR = unsigned long long;
using HRESULT = LONG;

using LPVOID = void*;
using LPCVOID = const void*;
using LPTSTR = TCHAR*;
using LPCTSTR = const TCHAR*;
using LPCSTR = const char*;

// A place in a list; null is "no place". Only the list that gave it may read it.
struct __POSITION {};
using POSITION = __POSITION*;

// Names a waitable object of this process: an event, a thread, a watched directory (framework/waitable.h).
// The value is opaque and never reused; a stale or foreign one is recognised and refused, it is never
// dereferenced.
using HANDLE = void*;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// Broken-down time. `wMonth` counts from 1, `wDayOfWeek` from 0, which is Sunday.
struct SYSTEMTIME {
    WORD wYear = 0;
    WORD wMonth = 0;
    WORD wDayOfWeek = 0;
    WORD wDay = 0;
    WORD wHour = 0;
    WORD wMinute = 0;
    WORD wSecond = 0;
    WORD wMilliseconds = 0;
};

// A data message to another process: a command number and a block of bytes.
struct COPYDATASTRUCT {
    ULONG_PTR dwData = 0;
    DWORD cbData = 0;
    void* lpData = nullptr;
};

namespace rampart {

using platform::Text;
using platform::TextView;

inline constexpr HRESULT kErrorFail = static_cast<HRESULT>(0x80004005);             // E_FAIL
inline constexpr HRESULT kErrorInvalidArgument = static_cast<HRESULT>(0x80070057);  // E_INVALIDARG

inline constexpr DWORD kWaitForever = ~DWORD{0};

}  // namespace rampart
