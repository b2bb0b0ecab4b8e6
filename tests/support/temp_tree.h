// Real folders with real files for a test, and whole trees read back for comparison.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "platform/process.h"

namespace rampart::test {

// A path of the file system from UTF-8 on every platform; other bytes pass where the system allows them.
inline std::filesystem::path NativePath(std::string_view utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

inline std::string PathText(const std::filesystem::path& path) {
    const std::u8string text = path.generic_u8string();
    return std::string(text.begin(), text.end());
}

// A new empty folder named after the running test. It goes with the object, unless the test has failed.
// Whether file systems of this system keep names apart that differ only in case, and names of any bytes.
#ifdef _WIN32
inline constexpr bool kKeepsEveryName = false;
#else
inline constexpr bool kKeepsEveryName = true;
#endif

class TempFolder {
public:
    TempFolder() {
        static std::atomic<int> count = 0;
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        std::string name = "rampart-";
        name += test != nullptr ? std::string(test->test_suite_name()) + "." + test->name() : "tests";
        std::replace(name.begin(), name.end(), '/', '.');
        name += "-" + std::to_string(platform::ProcessId()) + "-" + std::to_string(++count);
        m_path = std::filesystem::canonical(std::filesystem::temp_directory_path()) / NativePath(name);
        std::filesystem::create_directories(m_path);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder() {
        if (!testing::Test::HasFailure()) {
            Remove();
        }
    }

    // Of the folder itself, or of what lies at `relative` in it, with forward slashes.
    std::filesystem::path Path(std::string_view relative = "") const {
        return relative.empty() ? m_path : m_path / NativePath(relative);
    }
    std::string Native(std::string_view relative = "") const { return PathText(Path(relative)); }
    platform::Text Engine(std::string_view relative = "") const {
        return platform::ToEnginePath(Native(relative));
    }

    // Makes the folders on the way; a name that ends in a slash is a folder.
    void Write(std::string_view relative, std::string_view content) const {
        const std::filesystem::path path = Path(relative);
        if (relative.ends_with('/')) {
            std::filesystem::create_directories(path);
            return;
        }
        std::filesystem::create_directories(path.parent_path());
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
        ASSERT_TRUE(file.flush().good()) << path;
    }

    std::string Read(std::string_view relative) const {
        std::ifstream file(Path(relative), std::ios::binary);
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }

    bool Exists(std::string_view relative) const {
        return std::filesystem::exists(std::filesystem::symlink_status(Path(relative)));
    }

    // Nanoseconds since 1970 UTC.
    void SetWriteTime(std::string_view relative, int64_t nanoseconds) const {
        const auto file = platform::FileHandle::Open(Engine(relative), platform::kOpenWrite);
        ASSERT_TRUE(file && file->SetTimes(-1, -1, nanoseconds)) << relative;
    }

private:
    // As far as it goes, and each name once: where somebody holds a file open, a system may list it for as
    // long, and std::filesystem::remove_all would go round for ever.
    void Remove() const {
        std::error_code error;
        std::vector<std::filesystem::path> paths = {m_path};
        for (std::filesystem::recursive_directory_iterator each(m_path, error), end; each != end && !error;
             each.increment(error)) {
            paths.push_back(each->path());
        }
        for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
            if (!std::filesystem::remove(*path, error)) {
                std::filesystem::permissions(*path, std::filesystem::perms::owner_all,
                                             std::filesystem::perm_options::add, error);
                std::filesystem::remove(*path, error);
            }
        }
    }

    std::filesystem::path m_path;
};

// TempTree tree({{"a/b.txt", "content"}, {"empty/", ""}});
class TempTree : public TempFolder {
public:
    TempTree(std::initializer_list<std::pair<std::string_view, std::string_view>> entries) {
        for (const auto& [path, content] : entries) {
            Write(path, content);
        }
    }
};

// Makes a symbolic link to `target`. False where the system does not make one.
inline bool MakeLink(const std::filesystem::path& link, const std::string& target) {
    std::error_code error;
    std::filesystem::create_symlink(target, link, error);
    return !error && std::filesystem::is_symlink(link);
}

struct TreeEntry {
    std::string content;
    int64_t writeTime = 0;  // nanoseconds since 1970 UTC; 0 for a folder

    bool operator==(const TreeEntry&) const = default;
    friend void PrintTo(const TreeEntry& entry, std::ostream* out) {
        *out << entry.content.size() << " bytes \"" << entry.content.substr(0, 40) << "\" at "
             << entry.writeTime;
    }
};

// Everything below the folder: relative paths with forward slashes, those of folders with one at the end. A
// link is not followed; its content is where it leads.
inline std::map<std::string, TreeEntry> ReadTree(const std::filesystem::path& folder) {
    std::map<std::string, TreeEntry> tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string name = PathText(entry.path().lexically_relative(folder));
        if (entry.is_symlink()) {
            tree[name] = {PathText(std::filesystem::read_symlink(entry.path())), 0};
        } else if (entry.is_directory()) {
            tree[name + "/"] = {};
        } else {
            std::ifstream file(entry.path(), std::ios::binary);
            std::ostringstream content;
            content << file.rdbuf();
            platform::FileStatus status;
            EXPECT_TRUE(platform::QueryStatus(platform::ToEnginePath(PathText(entry.path())), status))
                << name;
            tree[name] = {content.str(), status.writeTime};
        }
    }
    return tree;
}

}  // namespace rampart::test
