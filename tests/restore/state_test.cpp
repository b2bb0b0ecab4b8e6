// The tree as it is, as it was, and with what is gone.
#include "platform/clock.h"
#include "restore/restore_fixture.h"
#include "support/scripted_clock.h"

namespace rampart::test {
namespace {

using testing::ElementsAre;

class RestoreState : public RestoreTest {
protected:
    static constexpr int64_t kBegin = 1'700'000'000;  // seconds
    static constexpr int64_t kHour = 3600;

    // Nanoseconds of a moment half an hour after the full hour.
    static int64_t Half(int hour) { return (kBegin + hour * kHour + kHour / 2) * 1'000'000'000; }

    std::map<std::string, std::string> At(int64_t moment, bool withGone = false) {
        const TempFolder place;
        RestoreRequest request = Request();
        request.places[0].localPath = CString(TextView(place.Engine("out")));
        request.state = wish;
        request.state.withGone = withGone;
        if (moment != 0) {
            request.state.moment = moment;
        }
        EXPECT_EQ(0, Run(request)) << message.ToUtf8();
        std::map<std::string, std::string> contents;
        for (const auto& [name, entry] : ReadTree(place.Path("out"))) {
            contents[name] = entry.content;
        }
        return contents;
    }
    std::vector<std::string> Listed(const StateWish& state) {
        std::vector<std::string> names;
        EXPECT_EQ(0,
                  VaultRestore::List(
                      state, _T("\\top"), true,
                      [&](const VaultEntry& entry) {
                          names.push_back(entry.name.ToUtf8() + (entry.goneTime == INT64_MIN ? "" : " gone"));
                          return true;
                      },
                      message));
        return names;
    }

    ScriptedClock clock{kBegin - kHour};
    StateWish wish;
};

// Hour 0: a, b and sub/c come. 1: a changes. 2: b and sub go. 3: b comes back with another content.
class RestoreHistory : public RestoreState {
protected:
    RestoreHistory() {
        wish.historyOf = [](CString const& file) { return _T("\\versions") + file.Mid(4); };
        for (const char* const folder : {"\\versions", "\\versions\\a", "\\versions\\b"}) {
            MakeFolder(folder);
        }
        clock.SetSeconds(kBegin);
        MakeFolder("\\top\\sub");
        Store("\\top\\a", "a1");
        Store("\\top\\b", "b1");
        Store("\\top\\sub\\c", "c1");
        clock.SetSeconds(kBegin + kHour);
        KeepVersion("a");
        Store("\\top\\a", "a2");
        clock.SetSeconds(kBegin + 2 * kHour);
        const std::vector<std::string> gone = {"\\top\\b", "\\top\\sub"};
        EXPECT_TRUE(service->MarkGone(gone, (kBegin + 2 * kHour) * 1'000'000'000).Ok());
        clock.SetSeconds(kBegin + 3 * kHour);
        KeepVersion("b");
        Store("\\top\\b", "b2");
        clock.SetSeconds(kBegin + 4 * kHour);
    }
    void KeepVersion(const std::string& name) {
        int64_t id = 0;
        EXPECT_TRUE(service->CopyFile("\\top\\" + name, "\\versions\\" + name, name + "1", id).Ok());
    }
    using Tree = std::map<std::string, std::string>;
};

TEST_F(RestoreHistory, EachMomentGivesTheTreeOfThatMoment) {
    const Tree first = {{"a", "a1"}, {"b", "b1"}, {"sub/", ""}, {"sub/c", "c1"}};
    EXPECT_EQ(first, At(Half(0)));
    EXPECT_EQ((Tree{{"a", "a2"}, {"b", "b1"}, {"sub/", ""}, {"sub/c", "c1"}}), At(Half(1)));
    EXPECT_EQ((Tree{{"a", "a2"}}), At(Half(2)));
    EXPECT_EQ((Tree{{"a", "a2"}, {"b", "b2"}}), At(Half(3)));
    EXPECT_EQ((Tree{{"a", "a2"}, {"b", "b2"}}), At(0)) << "what is gone does not come as it was last";
    EXPECT_EQ((Tree{{"a", "a2"}, {"b", "b2"}, {"sub/", ""}, {"sub/c", "c1"}}), At(0, true));
}

TEST_F(RestoreHistory, AMomentBeforeAllSaysWhenTheFirstStateWasStored) {
    RestoreRequest request = Request();
    request.state = wish;
    request.state.moment = (kBegin - kHour / 2) * 1'000'000'000;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ(0, report.plannedFiles);
    EXPECT_EQ(kBegin * 1'000'000'000, report.firstStored);
}

TEST_F(RestoreHistory, ListingsShowTheSameStates) {
    EXPECT_THAT(Listed(wish), ElementsAre("a", "b"));
    StateWish gone = wish;
    gone.withGone = true;
    EXPECT_THAT(Listed(gone), ElementsAre("a", "b", "sub gone", "c gone"));
    StateWish early = wish;
    early.moment = Half(0);
    EXPECT_THAT(Listed(early), ElementsAre("a", "b", "sub", "c")) << "they went later";
    std::vector<VaultEntry> versions;
    EXPECT_EQ(0, VaultRestore::Versions(wish, _T("\\top\\b"), versions, message));
    ASSERT_EQ(2u, versions.size());
    EXPECT_EQ((kBegin + 2 * kHour) * 1'000'000'000, versions[1].goneTime);
}

TEST_F(RestoreHistory, AnyVersionOfEachFileComesBack) {
    RestoreRequest request = Request();
    request.state = wish;
    request.state.version = 2;
    ASSERT_EQ(0, Run(request));
    EXPECT_EQ("a1", target.Read("out/a"));
    EXPECT_EQ("b1", target.Read("out/b"));
    EXPECT_EQ(2, report.files);
}

}  // namespace
}  // namespace rampart::test
