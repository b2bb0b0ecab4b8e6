// Contents compared and read by ranges, however they were cut.
#include "platform/clock.h"
#include "restore/restore_fixture.h"
#include "restore/stored_reader.h"
#include "restore/vault_difference.h"
#include "support/scripted_clock.h"

namespace rampart::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Differences : public RestoreTest {
protected:
    static constexpr int64_t kBegin = 1'700'000'000;  // seconds

    std::vector<std::string> Between(int64_t from, int64_t to) {
        std::vector<std::string> lines;
        DifferenceRequest request;
        request.before = WishAt(from);
        request.after = WishAt(to);
        request.places = {{_T("\\top"), CString(), false}};
        request.visit = [&](const Difference& difference) {
            lines.push_back(std::to_string(static_cast<int>(difference.change)) + " " +
                            difference.serverPath.ToUtf8());
        };
        request.leftOut = [&](const SkippedEntry& entry) { lines.push_back("? " + entry.path.ToUtf8()); };
        EXPECT_EQ(0, VaultDifference::Run(request, message)) << message.ToUtf8();
        return lines;
    }
    static StateWish WishAt(int64_t seconds) {
        StateWish wish;
        wish.moment = seconds * 1'000'000'000;
        wish.historyOf = [](CString const& file) { return _T("\\versions") + file.Mid(4); };
        return wish;
    }
    void Replace(const std::string& name, std::string_view content, size_t pieceBytes) {
        int64_t id = 0;
        MakeFolder("\\versions\\" + name);
        EXPECT_TRUE(service->CopyFile("\\top\\" + name, "\\versions\\" + name, name + "1", id).Ok());
        clock.SetSeconds(kBegin + 3600);
        Commit(CommitOf("\\top\\" + name, content, pieceBytes));
    }

    ScriptedClock clock{kBegin};
};

TEST_F(Differences, TheSameContentInOtherPiecesIsTheSameAndOneByteIsNot) {
    MakeFolder("\\versions");
    std::string const content = Noise(300'000, 3);
    std::string other = content;
    other.back() ^= 1;
    Store("\\top\\same", content);
    Store("\\top\\other", content);
    Store("\\top\\longer", content);
    Replace("same", content, 7'777);
    Replace("other", other, 7'777);
    Replace("longer", content + "x", 100'000);
    EXPECT_THAT(Between(kBegin + 1, kBegin + 3601), ElementsAre("2 \\top\\longer", "2 \\top\\other"));
    EXPECT_THAT(Between(kBegin + 3601, kBegin + 3602), IsEmpty());
}

TEST_F(Differences, RangesAreReadAsTheyLieWithLittleInMemory) {
    std::string const content = Noise(1'000'003, 5);
    Commit(CommitOf("\\top\\f", content, 10'007));
    std::vector<LocatedFile> located;
    const std::string name = "f";
    ASSERT_TRUE(service->LocateFiles("\\top", {&name, 1}, located).Ok());
    ChunkCache cache(30'000);
    StoredReader reader(*service, cache, located.front());
    EXPECT_EQ(content.size(), reader.Size());
    std::string bytes;
    uint32_t seed = 1;
    for (int i = 0; i < 300; ++i) {
        seed = seed * 1664525 + 1013904223;
        const size_t offset = (seed >> 8) % (content.size() + 100);
        seed = seed * 1664525 + 1013904223;
        const size_t size = (seed >> 8) % 50'000;
        ASSERT_TRUE(reader.Read(offset, size, bytes).Ok());
        ASSERT_EQ(offset < content.size() ? content.substr(offset, size) : "", bytes)
            << offset << " " << size;
    }
    ASSERT_TRUE(reader.Read(UINT64_MAX - 5, 100, bytes).Ok());
    EXPECT_THAT(bytes, IsEmpty());
}

}  // namespace
}  // namespace rampart::test
