#include "run/upload_dispatch.h"

#include <gtest/gtest.h>

namespace rampart {

namespace {

struct Row {
    __int64 code;
    FileAction threaded;
    FileAction sequential;
    bool endsThreaded;
    bool endsSequential;
    ReportAction report;
};

constexpr FileAction kDone = FileAction::kDone;
constexpr FileAction kSkip = FileAction::kSkip;
constexpr FileAction kFailed = FileAction::kFailed;

constexpr Row kRows[] = {
    {0, kDone, kDone, false, false, ReportAction::kNone},
    {1, kFailed, kDone, false, false, ReportAction::kFail},
    {2, kFailed, kDone, false, false, ReportAction::kFail},
    {3, kFailed, kDone, false, false, ReportAction::kFailCounted},
    {4, kSkip, kSkip, false, false, ReportAction::kWarn},
    {5, kFailed, kDone, true, true, ReportAction::kFail},
    {6, kFailed, kDone, false, true, ReportAction::kNone},
    {8, kFailed, kDone, false, false, ReportAction::kFail},
    {10, kFailed, kDone, false, false, ReportAction::kFail},
    {12, kFailed, kDone, true, true, ReportAction::kFail},
    {20, FileAction::kSendBatch, FileAction::kSendBatch, false, false, ReportAction::kNone},
    {52, kSkip, kSkip, false, false, ReportAction::kWarn},
    {70, FileAction::kQueued, FileAction::kQueued, false, false, ReportAction::kNone},
    {71, kFailed, kDone, false, false, ReportAction::kFail},
    {73, kFailed, kDone, true, true, ReportAction::kFail},
    {74, kFailed, kDone, true, true, ReportAction::kFail},
    {75, kFailed, kDone, true, true, ReportAction::kFail},
    {96, kSkip, kSkip, false, false, ReportAction::kWarn},
    {100, kFailed, kDone, true, true, ReportAction::kDebugOnly},
    {102, kSkip, kSkip, false, false, ReportAction::kFail},
    {103, FileAction::kOnWorker, kDone, false, false, ReportAction::kFail},
    {104, FileAction::kLimitWorkers, kDone, false, false, ReportAction::kFail},
    {999, kFailed, kDone, false, false, ReportAction::kFail},
    {1000, kSkip, kSkip, false, false, ReportAction::kWarn},
    {123456, kSkip, kSkip, false, false, ReportAction::kWarn},
    {-1, kFailed, kDone, false, false, ReportAction::kFail},
};

}  // namespace

TEST(UploadDispatch, EachCodeHasItsActionItsReportAndItsEffectOnTheRun) {
    for (Row const& row : kRows) {
        SCOPED_TRACE(row.code);
        EXPECT_EQ(row.threaded, ActionOf(row.code, true));
        EXPECT_EQ(row.sequential, ActionOf(row.code, false));
        EXPECT_EQ(row.endsThreaded, EndsUpload(row.code, true));
        EXPECT_EQ(row.endsSequential, EndsUpload(row.code, false));
        EXPECT_EQ(row.report, ReportOf(row.code, false).action);
    }
}

TEST(UploadDispatch, CacheErrorsAndSkippedFilesHaveTextsOfTheirOwn) {
    EXPECT_EQ(CString(_T("IDS_STRNOCACHESPACE")), CString(ReportOf(8, true).key));
    EXPECT_EQ(CString(_T("IDS_STRLOGUPLOADFAIL")), CString(ReportOf(8, false).key));
    EXPECT_EQ(nullptr, ReportOf(52, false).key);
    EXPECT_TRUE(ReportOf(5, false).byServerPath);
    EXPECT_EQ(CString(_T("IDS_STRLOGUPLOADFAIL")), CString(ReportOf(1000, false).key));
}

}  // namespace rampart
