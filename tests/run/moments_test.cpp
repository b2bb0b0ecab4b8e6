// Every state that a run stored comes back from the vault as it was.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <random>

#include "support/engine_home.h"

namespace rampart::test {
namespace {

namespace fs = std::filesystem;

using Tree = std::map<std::string, std::string>;  // path below the source to content; folders end in a slash

class Moments : public EngineTest {
protected:
    // What lies below the source at a moment, by the vault.
    Tree StoredAt(CBackupTask& task, int64_t moment) {
        Tree tree;
        CString const source = task.m_serverFilePath + _T("\\d");
        Collect(source.ToUtf8(), task.GetFileHistoryFolder(source).ToUtf8(), moment, "", tree);
        return tree;
    }

    static Tree LocalTree(TempTree const& tree) {
        Tree result;
        for (fs::directory_entry const& entry : fs::recursive_directory_iterator(tree.Path("d"))) {
            std::string const name = fs::relative(entry.path(), tree.Path("d")).generic_string();
            if (fs::is_symlink(entry.symlink_status())) {
                result[name] = "-> " + fs::read_symlink(entry.path()).generic_string();
            } else if (entry.is_directory()) {
                result[name + "/"] = "";
            } else {
                result[name] = tree.Read("d/" + name);
            }
        }
        return result;
    }

    int64_t RunAndTell(CBackupTask& task) {
        EXPECT_EQ(TaskStateFinished, Run(task));
        EXPECT_EQ(0, task.m_errorOccured);
        EXPECT_TRUE(skipped.empty()) << skipped.begin()->first << ": " << skipped.begin()->second;
        return platform::CurrentClock().NowNanoseconds();
    }

private:
    static void Collect(std::string const& folder, std::string const& history, int64_t moment,
                        std::string const& prefix, Tree& tree) {
        StorageService& service = PresentConnection()->Service();
        std::vector<std::string> folders;
        ServiceResult const listed = service.ListMoment(
            folder, history, moment, [&](StoredRecord const& record, std::string const& path) {
                if (record.isFolder) {
                    folders.push_back(record.name);
                } else {
                    std::string const content = ContentOf(service, path);
                    tree[prefix + record.name] =
                        (record.flags & kRecordLink) != 0 ? "-> " + content : content;
                }
                return true;
            });
        ASSERT_TRUE(listed.Ok()) << listed.message;
        for (std::string const& name : folders) {
            tree[prefix + name + "/"] = "";
            Collect(folder + "\\" + name, history + "\\" + name, moment, prefix + name + "/", tree);
        }
    }

    static std::string ContentOf(StorageService& service, std::string const& path) {
        FileContent file;
        EXPECT_TRUE(service.OpenFile(path, file).Ok()) << path;
        std::string content;
        for (ChunkReference const& chunk : file.chunks) {
            std::string piece;
            EXPECT_TRUE(service
                            .ReadChunks({&chunk.digest, 1},
                                        [&](Chunk const& stored) { return DecodeChunk(stored, piece); })
                            .Ok());
            content += piece;
        }
        return content;
    }
};

TEST_F(Moments, AFileAndAFolderThatTakeEachOthersPlaceKeepBothLives) {
    TempTree const tree(
        {{"d/x/in", "in the folder"}, {"d/x/deep/", ""}, {"d/y", "the file"}, {"d/keep", ""}});
    CBackupTask& task = MakeTask("t", {tree.Native("d")});
    std::vector<std::pair<int64_t, Tree>> states;
    auto run = [&] {
        int64_t const moment = RunAndTell(task);
        states.emplace_back(moment, LocalTree(tree));
    };
    run();
    for (int round = 0; round < 2; ++round) {
        fs::remove_all(tree.Path("d/x"));
        fs::remove_all(tree.Path("d/y"));
        tree.Write("d/x", "a file now");
        tree.Write("d/y/in", "in a folder now");
        tree.Write("d/y/empty/", "");
        run();
        fs::remove_all(tree.Path("d/x"));
        fs::remove_all(tree.Path("d/y"));
        run();
        tree.Write("d/x/in", "again in the folder");
        tree.Write("d/y", "the file again");
        run();
    }
    for (auto const& [moment, expected] : states) {
        EXPECT_EQ(expected, StoredAt(task, moment));
    }
    __int64 const sent = FilesSent();
    ASSERT_EQ(TaskStateFinished, Run(task));
    EXPECT_EQ(sent, FilesSent());
}

// Creations, changes, renames, kinds that change, deletions and returns, over many runs.
TEST_F(Moments, ARandomHistoryComesBackAtEveryMoment) {
    for (uint32_t seed : {1u, 2u, 3u}) {
        std::mt19937 random(seed);
        auto pick = [&](size_t count) { return random() % count; };
        TempTree const tree({{"d/first", "first"}});
        CBackupTask& task = MakeTask("t" + std::to_string(seed), {tree.Native("d")});
        task.m_maxVersion = 100;
        std::vector<std::pair<int64_t, Tree>> states;
        auto place = [&] {
            char const* const names[] = {"a", "b", "c"};
            std::string path = "d";
            for (size_t depth = pick(3); depth-- > 0;) {
                path += std::string("/") + names[pick(3)];
            }
            return path + "/" + names[pick(3)];
        };
        // An empty source would prove nothing: the first file stays. A file may stand in the place of a
        // parent.
        auto removeAll = [&](std::string const& path) {
            std::error_code error;
            fs::remove_all(tree.Path(path), error);
        };
        auto makeWay = [&](std::string const& path) {
            removeAll(path);
            for (fs::path folder = tree.Path(path).parent_path(); folder != tree.Path("d");
                 folder = folder.parent_path()) {
                if (fs::exists(fs::symlink_status(folder)) && !fs::is_directory(fs::symlink_status(folder))) {
                    fs::remove(folder);
                }
            }
            fs::create_directories(tree.Path(path).parent_path());
        };
        for (int run = 0; run < 15; ++run) {
            for (size_t step = pick(6); step-- > 0;) {
                std::string const path = place();
                switch (pick(6)) {
                    case 0:
                        makeWay(path);
                        fs::create_directories(tree.Path(path));
                        break;
                    case 1:
                        removeAll(path);
                        break;
                    case 2: {
                        std::string const target = place();
                        if (fs::exists(tree.Path(path)) && !target.starts_with(path + "/") &&
                            !path.starts_with(target + "/") && path != target) {
                            makeWay(target);
                            if (fs::exists(tree.Path(path))) {
                                fs::rename(tree.Path(path), tree.Path(target));
                            }
                        }
                        break;
                    }
                    case 3:
                        makeWay(path);
                        if (MakeLink(tree.Path(path), "target " + std::to_string(pick(3)))) {
                            break;
                        }
                        [[fallthrough]];
                    default:
                        makeWay(path);
                        tree.Write(path, "content " + std::to_string(pick(4)));
                }
            }
            int64_t const moment = RunAndTell(task);
            states.emplace_back(moment, LocalTree(tree));
        }
        for (size_t i = 0; i < states.size(); ++i) {
            EXPECT_EQ(states[i].second, StoredAt(task, states[i].first)) << "seed " << seed << ", run " << i;
        }
    }
    CString message;
    VaultCheck check;
    EXPECT_EQ(0, VaultAdmin::Verify(true, {}, check, message)) << message.ToUtf8();
}

}  // namespace
}  // namespace rampart::test
