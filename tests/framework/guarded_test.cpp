#include "framework/guarded.h"

#include <thread>

#include "framework/atomic_word.h"
#include "framework/carchive_exception.h"
#include "framework/cfile_exception.h"
#include "print_text.h"

namespace {

struct Report {
    CString line;
    std::string reason;
};

std::vector<Report>& Reports() {
    static std::vector<Report> reports;
    return reports;
}

class GuardedOperation : public testing::Test {
protected:
    void SetUp() override {
        Reports().clear();
        m_before = rampart::SetGuardSink([](rampart::TextView line, const std::string& reason) {
            Reports().push_back({CString(line), reason});
        });
    }
    void TearDown() override { rampart::SetGuardSink(m_before); }

private:
    rampart::GuardSink m_before = nullptr;
};

}  // namespace

TEST_F(GuardedOperation, GivesTheResultOrTheFallbackWithItsLine) {
    EXPECT_EQ(rampart::Guarded(_T("unused"), 0, [] { return 7; }), 7);
    EXPECT_TRUE(Reports().empty());
    EXPECT_EQ(rampart::Guarded(_T("Error:StartBackup"), 0,
                               []() -> int { throw CArchiveException(CArchiveException::endOfFile); }),
              0);
    EXPECT_EQ(rampart::Guarded(_T("second"), _T("none"), []() -> CString { throw 5; }), _T("none"));
    EXPECT_FALSE(rampart::Guarded(_T("third"),
                                  [] { throw CFileException(CFileException::diskFull, 112, _T("C:\\f")); }));
    EXPECT_TRUE(rampart::Guarded(_T("unused"), [] {}));
    ASSERT_EQ(Reports().size(), 3u);
    EXPECT_EQ(Reports()[0].line, _T("Error:StartBackup"));
    EXPECT_EQ(Reports()[0].reason, "archive: it ended early");
    EXPECT_EQ(Reports()[1].reason, "an exception of unknown type");
    EXPECT_EQ(Reports()[2].reason, "file: disk full (There is not enough space on the disk.): C:\\f");
}

TEST_F(GuardedOperation, SurvivesASinkThatFailsOrIsMissing) {
    rampart::SetGuardSink([](rampart::TextView, const std::string&) { throw std::runtime_error("log"); });
    EXPECT_EQ(rampart::Guarded(_T("line"), 1, []() -> int { throw std::bad_alloc(); }), 1);
    rampart::SetGuardSink(nullptr);
    EXPECT_EQ(rampart::Guarded(_T("line"), 2, []() -> int { throw std::bad_alloc(); }), 2);
}

TEST(Word, CountsExactlyAcrossThreads) {
    rampart::Word<int> count = 0;
    rampart::Word<unsigned> bits;
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            for (int round = 0; round < 1000; ++round) {
                ++count;
                count += 2;
                count--;
            }
            bits |= 1u << number;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(count, 8000);
    EXPECT_EQ(bits, 15u);
    rampart::Word<int> copy = count;
    copy = copy - 1;
    EXPECT_TRUE(copy.Replace(7999, 5) && !copy.Replace(7999, 6));
    EXPECT_EQ(copy.Exchange(9), 5);
    EXPECT_EQ(copy++, 9);
    EXPECT_EQ(count, 8000);
}
