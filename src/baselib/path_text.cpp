#include "baselib/path_text.h"

#include "framework/case_folding.h"

namespace rampart {
namespace {

bool IsLetter(TCHAR character) {
    return (character | 0x20) >= _T('a') && (character | 0x20) <= _T('z');
}

size_t ComponentEnd(TextView path, size_t begin) {
    return std::min(path.find(kBackslash, begin), path.size());
}

}  // namespace

size_t RootLength(TextView path) {
    const size_t prefix = path.starts_with(kLongPathPrefix) ? kLongPathPrefix.size() : 0;
    const TextView rest = path.substr(prefix);
    if (rest.size() >= 2 && rest[1] == _T(':') && IsLetter(rest[0])) {
        return prefix + (rest.size() > 2 && rest[2] == kBackslash ? 3 : 2);
    }
    if (prefix == 0 && path.starts_with(_T("\\\\"))) {
        const size_t share = ComponentEnd(path, 2) + 1;
        return share >= path.size() ? path.size() : std::min(ComponentEnd(path, share) + 1, path.size());
    }
    return prefix + (prefix == 0 && path.starts_with(kBackslash) ? 1 : 0);
}

TextView WithoutTrailingBackslashes(TextView path) {
    const size_t root = RootLength(path);
    while (path.size() > root && path.back() == kBackslash) {
        path.remove_suffix(1);
    }
    return path;
}

TextView LastComponent(TextView path) {
    path = WithoutTrailingBackslashes(path);
    const size_t root = RootLength(path);
    const size_t backslash = path.rfind(kBackslash);
    const size_t begin = backslash == TextView::npos ? root : std::max(root, backslash + 1);
    return path.substr(begin);
}

TextView ParentOf(TextView path) {
    path = WithoutTrailingBackslashes(path);
    const size_t name = LastComponent(path).size();
    return name == 0 ? TextView() : WithoutTrailingBackslashes(path.substr(0, path.size() - name));
}

bool IsInFolder(TextView path, TextView folder) {
    while (!folder.empty() && folder.back() == kBackslash) {
        folder.remove_suffix(1);
    }
    return StartsWithNoCase(path, folder) &&
           (path.size() == folder.size() || path[folder.size()] == kBackslash);
}

}  // namespace rampart
