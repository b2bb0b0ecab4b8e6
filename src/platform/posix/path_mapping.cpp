#include "platform/path_mapping.h"

#include "platform/error.h"
#include "platform/path_names.h"
#include "platform/posix/drive_table.h"
#include "platform/posix/name_mapping.h"
#include "platform/utf.h"

namespace rampart::platform {
namespace {

constexpr TextView kLongPrefix = _T("\\\\?\\");

bool IsLetter(TCHAR c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::string Fail(uint32_t error) {
    SetLastError(error);
    return {};
}

// Takes a prefix "\\?\" and the drive off `path`; gives the native root, or null with LastError set.
const std::string* TakeRoot(TextView& path) {
    if (path.size() >= kLongPrefix.size() && IsSeparator(path[0]) && IsSeparator(path[1]) && path[2] == '?' &&
        IsSeparator(path[3])) {
        path.remove_prefix(kLongPrefix.size());
        if (path.size() < 2 || path[1] != ':') {
            SetLastError(kBadNetworkPath);
            return nullptr;
        }
    } else if (path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1])) {
        SetLastError(kBadNetworkPath);
        return nullptr;
    }
    if (path.size() < 2 || path[1] != ':' || !IsLetter(path[0])) {
        static const std::string systemRoot = "/";
        return &systemRoot;
    }
    const Drive* drive = CurrentDriveTable().FindLetter(path[0]);
    if (drive == nullptr) {
        SetLastError(kPathNotFound);
        return nullptr;
    }
    path.remove_prefix(2);
    return &drive->mountPoint;
}

// Appends a path of ASCII names to `native`, which holds the root. False, with `native` as it was, for a path
// that needs more than that.
bool AppendPlainPath(std::string& native, TextView path) {
    const size_t root = native.size();
    native.resize(root + 1 + path.size());
    char* const begin = native.data();
    char* out = begin + root;
    if (out[-1] != '/') {
        *out++ = '/';
    }
    for (size_t i = 0; i < path.size(); i++) {
        const TCHAR c = path[i];
        if (IsSeparator(c)) {
            if (out[-1] != '/') {
                *out++ = '/';
            }
            continue;
        }
        const bool dots = c == '.' && out[-1] == '/' &&
                          (i + 1 == path.size() || path[i + 1] == '.' || IsSeparator(path[i + 1]));
        if (c >= 0x80 || c == 0 || dots) {
            native.resize(root);
            return false;
        }
        *out++ = static_cast<char>(c);
    }
    if (out[-1] == '/' && out - begin > 1) {
        out--;
    }
    native.resize(static_cast<size_t>(out - begin));
    return true;
}

// Any path, name by name. "." and ".." are resolved in the text, as Windows does, and never lead above the
// root.
bool AppendMappedPath(std::string& native, TextView path) {
    const size_t root = native == "/" ? 0 : native.size();
    native.resize(root);
    while (true) {
        const TextView name = TakeName(path);
        if (name.empty()) {
            break;
        }
        if (name == TextView(_T("."))) {
            continue;
        }
        if (name == TextView(_T(".."))) {
            const size_t parent = native.rfind('/');
            native.resize(parent == std::string::npos ? root : std::max(root, parent));
            continue;
        }
        const size_t start = native.size();
        native.push_back('/');
        AppendNativeName(native, name);
        const std::string_view mapped = std::string_view(native).substr(start + 1);
        // No file has such a name, and its text must not become a way up the tree.
        if (mapped == "." || mapped == ".." || mapped.find('\0') != std::string_view::npos) {
            return false;
        }
    }
    if (native.empty()) {
        native.push_back('/');
    }
    return true;
}

// `native` without empty names, "." and "..".
std::string Normalized(std::string_view native) {
    std::string result;
    while (!native.empty()) {
        const size_t end = std::min(native.find('/'), native.size());
        const std::string_view name = native.substr(0, end);
        native.remove_prefix(std::min(end + 1, native.size()));
        if (name == "..") {
            result.resize(result.empty() ? 0 : result.rfind('/'));
        } else if (!name.empty() && name != ".") {
            result.append("/").append(name);
        }
    }
    return result.empty() ? "/" : result;
}

bool IsNormalized(std::string_view native) {
    for (size_t i = 1; i <= native.size(); i++) {
        if (native[i - 1] != '/') {
            continue;
        }
        const std::string_view rest = native.substr(i);
        if ((rest.empty() && i > 1) || rest.starts_with('/') || rest == "." || rest == ".." ||
            rest.starts_with("./") || rest.starts_with("../")) {
            return false;
        }
    }
    return true;
}

bool IsLocalPath(TextView path) {
    return path.starts_with(kLongPrefix) || (path.size() >= 2 && path[1] == ':' && IsLetter(path[0]));
}

bool IsVaultPath(TextView path) {
    return !path.empty() && path[0] == '\\' && (path.size() == 1 || path[1] != '\\');
}

// A path in the vault with the names that its files have here.
std::string VaultPathToNative(TextView path) {
    std::string native;
    while (!path.empty()) {
        const size_t end = std::min(path.find('\\', 1), path.size());
        native.push_back('/');
        AppendNativeName(native, path.substr(1, end - 1));
        path.remove_prefix(end);
    }
    return native;
}

Text ToShownText(std::string_view native) {
    constexpr TCHAR kDigits[] = _T("0123456789ABCDEF");
    Text text;
    while (!native.empty()) {
        const auto byte = static_cast<unsigned char>(native[0]);
        const DecodedUtf8 decoded = DecodeUtf8(native, /*surrogates=*/false);
        if (decoded.length == 0 || byte < 0x20 || byte == 0x7F) {
            text.append({'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]});
            native.remove_prefix(1);
        } else {
            AppendUtf16(text, decoded.codePoint);
            native.remove_prefix(decoded.length);
        }
    }
    return text;
}

}  // namespace

Text ShownPath(TextView path) {
    const uint32_t error = LastError();
    const std::string native = IsLocalPath(path)   ? ToNativePath(path)
                               : IsVaultPath(path) ? VaultPathToNative(path)
                                                   : std::string();
    SetLastError(error);
    return native.empty() ? Text(path) : ToShownText(native);
}

std::string ToNativePath(TextView enginePath) {
    if (enginePath.empty()) {
        return Fail(kPathNotFound);
    }
    TextView path = enginePath;
    const std::string* root = TakeRoot(path);
    if (root == nullptr) {
        return {};
    }
    std::string native;
    native.reserve(root->size() + 1 + path.size());
    native = *root;
    if (AppendPlainPath(native, path) || AppendMappedPath(native, path)) {
        return native;
    }
    return Fail(kInvalidName);
}

Text ToEnginePath(std::string_view native) {
    if (!native.starts_with('/') || native.find('\0') != std::string_view::npos) {
        SetLastError(kInvalidName);
        return {};
    }
    std::string normalized;
    if (!IsNormalized(native)) {
        normalized = Normalized(native);
        native = normalized;
    }
    const Drive& drive = CurrentDriveTable().FindNative(native);
    Text engine;
    engine.reserve(native.size() + 3);
    engine.push_back(drive.letter);
    engine.push_back(':');
    native.remove_prefix(drive.mountPoint == "/" ? 0 : drive.mountPoint.size());
    if (native.size() <= 1) {
        engine.push_back('\\');
        return engine;
    }
    while (!native.empty()) {
        const size_t end = std::min(native.find('/', 1), native.size());
        engine.push_back('\\');
        AppendEngineName(engine, native.substr(1, end - 1));
        native.remove_prefix(end);
    }
    return engine;
}

}  // namespace rampart::platform
