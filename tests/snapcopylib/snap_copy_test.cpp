#include <gtest/gtest.h>

#include "interfaces/snapcopylib.h"
#include "support/scripted_clock.h"
#include "support/temp_tree.h"

namespace rampart {
namespace {

CString Path(const test::TempFolder& folder, std::string_view relative) {
    return CString(TextView(folder.Engine(relative)));
}

// Appends to a file each time the copy of it begins, as long as there is something to append.
struct Writer {
    const test::TempFolder& folder;
    int changesLeft;
    int copies = 0;

    static unsigned long Routine(__int64, __int64 moved, void* context) {
        auto& writer = *static_cast<Writer*>(context);
        if (moved == 0) {
            writer.copies++;
            if (writer.changesLeft > 0) {
                writer.changesLeft--;
                std::ofstream(writer.folder.Path("from"), std::ios::app) << "more";
            }
        }
        return 0;
    }
};

class SnapCopy : public testing::Test {
protected:
    test::ScriptedClock m_clock{test::Utc(2024, 1, 1)};  // pauses cost no time
    test::TempTree m_tree{{"from", "content"}, {"to", "something longer that was there"}};
    CString m_message = _T("old");
};

TEST_F(SnapCopy, AQuietFileIsCopiedOnce) {
    Writer writer{m_tree, 0};
    EXPECT_TRUE(
        VSSCopyFile(Path(m_tree, "from"), Path(m_tree, "to"), 0, Writer::Routine, &writer, m_message));
    EXPECT_EQ(m_tree.Read("to"), "content");
    EXPECT_EQ(writer.copies, 1);
    EXPECT_EQ(m_message, _T(""));
    EXPECT_TRUE(VSSCopyFile(Path(m_tree, "from"), Path(m_tree, "to"), 0, nullptr, nullptr, m_message));
}

TEST_F(SnapCopy, AFileThatChangesMeanwhileIsCopiedAgain) {
    Writer writer{m_tree, 2};
    EXPECT_TRUE(
        VSSCopyFile(Path(m_tree, "from"), Path(m_tree, "to"), 0, Writer::Routine, &writer, m_message));
    EXPECT_EQ(m_tree.Read("to"), "contentmoremore");
    EXPECT_EQ(writer.copies, 3);
}

TEST_F(SnapCopy, AFileThatNeverRestsFailsAndLeavesNoCopy) {
    Writer writer{m_tree, 1000};
    EXPECT_FALSE(
        VSSCopyFile(Path(m_tree, "from"), Path(m_tree, "to"), 0, Writer::Routine, &writer, m_message));
    EXPECT_FALSE(m_tree.Exists("to"));
    EXPECT_FALSE(m_message.IsEmpty());
}

TEST_F(SnapCopy, AStopIsNotTriedAgain) {
    int calls = 0;
    const auto stop = [](__int64, __int64, void* context) -> unsigned long {
        ++*static_cast<int*>(context);
        return 2;
    };
    EXPECT_FALSE(VSSCopyFile(Path(m_tree, "from"), Path(m_tree, "to"), 0, stop, &calls, m_message));
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(m_tree.Exists("to"));
    EXPECT_FALSE(m_message.IsEmpty());
}

TEST_F(SnapCopy, AMissingFileSaysWhy) {
    EXPECT_FALSE(VSSCopyFile(Path(m_tree, "none"), Path(m_tree, "to"), 0, nullptr, nullptr, m_message));
    EXPECT_FALSE(m_message.IsEmpty());
    EXPECT_TRUE(m_tree.Exists("to"));
    EXPECT_FALSE(VSSCopyFile(_T(""), Path(m_tree, "to"), 0, nullptr, nullptr, m_message));
    EXPECT_FALSE(m_message.IsEmpty());
}

}  // namespace
}  // namespace rampart
