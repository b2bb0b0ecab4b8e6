// Names are the same on both sides: what this system can store an engine path can hold. Native paths are
// UTF-8 with forward slashes, "C:/Users/me" or "//server/share/folder".
#include "platform/path_mapping.h"

#include "platform/error.h"
#include "platform/win32/drive_table.h"
#include "platform/win32/native.h"

namespace rampart::platform {
namespace {

constexpr TextView kVerbatimPrefix = L"\\\\?\\";

bool StartsWithFolder(TextView path, TextView folder) {
    while (folder.ends_with(L'\\')) {
        folder.remove_suffix(1);
    }
    return path.size() >= folder.size() && (path.size() == folder.size() || path[folder.size()] == L'\\') &&
           CompareStringOrdinal(path.data(), static_cast<int>(folder.size()), folder.data(),
                                static_cast<int>(folder.size()), TRUE) == CSTR_EQUAL;
}

// The letter pinned to the longest folder that holds the path takes its place.
void ReplacePinnedFolder(Text& path) {
    const auto pins = CurrentPins();
    size_t longest = 0;
    TCHAR letter = 0;
    for (size_t i = 0; i < pins->size(); i++) {
        const Text& folder = (*pins)[i];
        if (folder.size() > longest && StartsWithFolder(path, folder)) {
            longest = folder.size();
            letter = static_cast<TCHAR>('A' + i);
        }
    }
    if (letter != 0) {
        path = Text({letter, L':'}) + path.substr(std::min(longest, path.size()));
    }
}

// "\\?\C:\a" is "C:\a", "\\?\UNC\server\share" is "\\server\share".
TextView WithoutLongPrefix(TextView path, Text& share) {
    if (!path.starts_with(kLongShare)) {
        return path.substr(kVerbatimPrefix.size());
    }
    share = Text(L"\\\\").append(path.substr(kLongShare.size()));
    return share;
}

}  // namespace

Text NameToEngine(std::string_view native) {
    return FromUtf8(native);
}

std::string NameToNative(TextView engine) {
    return ToUtf8(engine);
}

Text ShownPath(TextView path) {
    return Text(path);
}

std::string ToNativePath(TextView enginePath) {
    const std::wstring path = SystemPath(enginePath);
    if (path.empty()) {
        return {};
    }
    Text share;
    return NativeOf(WithoutLongPrefix(path, share));
}

Text ToEnginePath(std::string_view native) {
    const Text path = FromUtf8(native);
    const auto isSeparator = [](TCHAR c) { return c == '\\' || c == '/'; };
    const bool hasDrive = path.size() >= 2 && LetterIndex(path[0]) >= 0 && path[1] == ':' &&
                          (path.size() == 2 || isSeparator(path[2]));
    const bool hasShare = path.size() >= 3 && isSeparator(path[0]) && isSeparator(path[1]);
    if ((!hasDrive && !hasShare) || path.find(L'\0') != Text::npos) {
        SetLastError(kInvalidName);
        return {};
    }
    TextView rest = path;
    PathRoot root;
    if (hasShare) {
        root = TakeRoot(rest);
    } else {
        root.system = Text(kVerbatimPrefix).append({static_cast<TCHAR>('A' + LetterIndex(path[0])), L':'});
        rest.remove_prefix(2);
    }
    if (!root.IsValid()) {
        SetLastError(root.error);
        return {};
    }
    Text share;
    Text engine(WithoutLongPrefix(root.system, share));
    const size_t rootSize = engine.size();
    AppendPath(engine, rest);
    if (hasDrive) {
        ReplacePinnedFolder(engine);
    }
    if (engine.size() == 2 || (engine.size() == rootSize && hasDrive)) {
        engine.push_back(L'\\');
    }
    return engine;
}

}  // namespace rampart::platform
