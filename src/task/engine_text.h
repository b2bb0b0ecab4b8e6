// Short ways to the dictionary, the debug log and the state of the application, and numbers read from texts
// of other programs.
#pragma once

#include "framework/framework.h"
#include "interfaces/baselib.h"
#include "interfaces/pause.h"
#include "platform/path_mapping.h"

namespace rampart {

// The dictionary's text of `key`; empty if there is none.
inline CString DictionaryText(TCHAR const* key) {
    return DictUtil::GetValue(key, _T(""));
}

// The dictionary's text of `key` as a format for the arguments.
template <class... Arguments>
CString DictionaryFormat(TCHAR const* key, Arguments const&... arguments) {
    CString text;
    text.Format(DictionaryText(key), arguments...);
    return text;
}

// A path as a person of this system knows it; for every text that a person may see.
inline CString ShownPath(CString const& path) {
    return CString(platform::TextView(platform::ShownPath(path)));
}

inline void DebugLine(CString const& line) {
    GetManageDebugLog().AddDebugInfo(line, 0);
}

// The number that `text` begins with, behind blanks and one sign; 0 if there is none. The low 32 bits of a
// longer number count, so that an unsigned number printed as a signed one, or the other way round, reads
// back.
inline int32_t ReadNumber(CString const& text) {
    int index = 0;
    int const length = text.GetLength();
    while (index < length &&
           (text[index] == _T(' ') || (text[index] >= _T('\t') && text[index] <= _T('\r')))) {
        ++index;
    }
    bool const isNegative = index < length && text[index] == _T('-');
    if (index < length && (isNegative || text[index] == _T('+'))) {
        ++index;
    }
    uint32_t value = 0;
    for (; index < length && text[index] >= _T('0') && text[index] <= _T('9'); ++index) {
        value = value * 10 + static_cast<uint32_t>(text[index] - _T('0'));
    }
    return static_cast<int32_t>(isNegative ? 0 - value : value);
}

}  // namespace rampart
