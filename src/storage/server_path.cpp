#include "storage/server_path.h"

namespace rampart {

std::vector<std::string_view> SplitServerPath(std::string_view path) {
    std::vector<std::string_view> names;
    while (!path.empty()) {
        const size_t end = path.find('\\');
        if (end != 0) {
            names.push_back(path.substr(0, end));
        }
        if (end == std::string_view::npos) {
            break;
        }
        path.remove_prefix(end + 1);
    }
    return names;
}

ServerPathParts SplitLastName(std::string_view path) {
    while (!path.empty() && path.back() == '\\') {
        path.remove_suffix(1);
    }
    const size_t cut = path.rfind('\\');
    if (cut == std::string_view::npos) {
        return {{}, path};
    }
    return {path.substr(0, cut), path.substr(cut + 1)};
}

std::string JoinServerPath(std::string_view folder, std::string_view name) {
    while (!folder.empty() && folder.back() == '\\') {
        folder.remove_suffix(1);
    }
    std::string path;
    path.reserve(folder.size() + name.size() + 1);
    path.append(folder).append(1, '\\').append(name);
    return path;
}

namespace {

// Where names are mapped this stands for a dot at the end of one; in UTF-8.
constexpr std::string_view kStandInDot = "\xEF\x80\xAE";

// "." and "..", each dot in either form.
bool IsDots(std::string_view name) {
    int dots = 0;
    for (; !name.empty() && dots < 3; ++dots) {
        const bool isStandIn = name.starts_with(kStandInDot);
        if (!isStandIn && name[0] != '.') {
            return false;
        }
        name.remove_prefix(isStandIn ? kStandInDot.size() : 1);
    }
    return dots < 3;
}

}  // namespace

bool IsStorableName(std::string_view name) {
    using namespace std::string_view_literals;
    return name.size() <= kLongestName && !IsDots(name) &&
           name.find_first_of("\\/\0"sv) == std::string_view::npos;
}

}  // namespace rampart
