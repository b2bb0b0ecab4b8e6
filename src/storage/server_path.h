// Server paths: "\Folder\Sub\file.txt".
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace rampart {

// The names on the way from the root, as views into `path`. Empty names (a doubled, leading or trailing
// backslash) are passed over, so that "\" gives none.
std::vector<std::string_view> SplitServerPath(std::string_view path);

// Cuts a path into its folder and its last name; both empty for the root.
struct ServerPathParts {
    std::string_view folder;
    std::string_view name;
};
ServerPathParts SplitLastName(std::string_view path);

// Without a doubled backslash beside the root.
std::string JoinServerPath(std::string_view folder, std::string_view name);

// Whether a record may have this name: not empty, not "." or "..", without backslash, slash and NUL, at most
// kLongestName bytes. What stands for a dot at the end where names are mapped counts as one.
inline constexpr size_t kLongestName = 4096;
bool IsStorableName(std::string_view name);

}  // namespace rampart
