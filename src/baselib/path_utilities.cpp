#include "baselib/path_text.h"
#include "interfaces/baselib.h"
#include "platform/file_system.h"

using namespace rampart;

namespace {

// Where the extension of the last component begins, or the path's length.
size_t ExtensionBegin(TextView path) {
    const size_t point = path.rfind(_T('.'));
    const size_t backslash = path.rfind(kBackslash);
    const bool inName = point != TextView::npos && (backslash == TextView::npos || point > backslash);
    return inName ? point : path.size();
}

}  // namespace

CString PathUtilities::Append(CString const& a, CString const& b) {
    TextView left = a, right = b;
    while (!left.empty() && left.back() == kBackslash) {
        left.remove_suffix(1);
    }
    while (!right.empty() && right.front() == kBackslash) {
        right.remove_prefix(1);
    }
    CString joined;
    joined.Preallocate(static_cast<int>(left.size() + 1 + right.size()));
    joined += left;
    joined += kBackslash;
    joined += right;
    return joined;
}

CString PathUtilities::GetExtension(CString const& path) {
    return CString(path.View().substr(ExtensionBegin(path)));
}

CString PathUtilities::RemoveExtension(CString const& path) {
    const size_t begin = ExtensionBegin(path);
    return begin == path.View().size() ? path : CString(path.View().substr(0, begin));
}

CString PathUtilities::GetFileName(CString const& path) {
    return CString(LastComponent(path));
}

CString PathUtilities::GetParentFolder(CString const& path) {
    return CString(ParentOf(path));
}

CString PathUtilities::GetSubPath(CString const& full, CString const& base) {
    if (!IsInFolder(full, base)) {
        return full;
    }
    TextView folder = base;
    while (!folder.empty() && folder.back() == kBackslash) {
        folder.remove_suffix(1);
    }
    TextView rest = full.View().substr(folder.size());
    while (!rest.empty() && rest.front() == kBackslash) {
        rest.remove_prefix(1);
    }
    return CString(rest);
}

CString PathUtilities::RemoveBackslash(CString const& path) {
    TextView text = path;
    while (!text.empty() && text.back() == kBackslash) {
        text.remove_suffix(1);
    }
    return text.size() == path.View().size() ? path : CString(text);
}

CString PathUtilities::StripToRoot(CString const& path) {
    const TextView root = path.View().substr(0, RootLength(path));
    return root.empty() || root.back() == kBackslash ? CString(root) : CString(root) + kBackslash;
}

bool PathUtilities::IsExisting(CString const& path) {
    platform::FileStatus status;
    return !path.IsEmpty() && platform::QueryStatus(WithoutTrailingBackslashes(path), status);
}

int PathUtilities::IsHidePath(CString const& path) {
    platform::FileStatus status;
    return !path.IsEmpty() && platform::QueryStatus(WithoutTrailingBackslashes(path), status) &&
           (status.attributes & platform::kHidden) != 0;
}

bool PathUtilities::RenameFile(CString const& from, CString const& to) {
    return !from.IsEmpty() && !to.IsEmpty() && platform::RenamePath(from, to, false);
}
