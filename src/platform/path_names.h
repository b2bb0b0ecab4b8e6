// The names that an engine path is made of.
#pragma once

#include "platform/text.h"

namespace rampart::platform {

inline bool IsSeparator(TCHAR c) {
    return c == '\\' || c == '/';
}

// Takes the first name and the separators before it off `path`; empty at the end.
inline TextView TakeName(TextView& path) {
    size_t begin = 0;
    while (begin < path.size() && IsSeparator(path[begin])) {
        begin++;
    }
    size_t end = begin;
    while (end < path.size() && !IsSeparator(path[end])) {
        end++;
    }
    const TextView name = path.substr(begin, end - begin);
    path.remove_prefix(end);
    return name;
}

}  // namespace rampart::platform
