#include <gtest/gtest.h>
#include <spdlog/logger.h>

#include <thread>

#include "baselib/rotating_log_file.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "support/scripted_clock.h"
#include "support/temp_tree.h"

namespace rampart {
namespace {

size_t CountOf(const std::string& text, std::string_view part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        count++;
    }
    return count;
}

// A logger over one file that writes nothing but the line.
struct Log {
    Log(const test::TempFolder& folder, LogFileLimits limits = {})
        : file(std::make_shared<RotatingLogFile>(folder.Engine("logs"), _T("test"), limits)),
          logger("test", file) {
        logger.set_pattern("%v");
    }
    std::shared_ptr<RotatingLogFile> file;
    spdlog::logger logger;
};

TEST(LogFile, KeepsAFewOlderFilesAndLosesNoLineBetween) {
    test::TempFolder folder;
    Log log(folder, {.fileSize = 100, .olderFiles = 2});
    for (int index = 10; index < 60; index++) {
        log.logger.info("line {}", index);
    }
    const std::string all =
        folder.Read("logs/test.2.log") + folder.Read("logs/test.1.log") + folder.Read("logs/test.log");
    EXPECT_FALSE(folder.Exists("logs/test.3.log"));
    EXPECT_LE(folder.Read("logs/test.1.log").size(), 110u);
    EXPECT_EQ(all.find("line 10"), std::string::npos);
    const int first = std::stoi(all.substr(5, 2));
    std::string expected;
    for (int index = first; index < 60; index++) {
        expected += "line " + std::to_string(index) + "\n";
    }
    EXPECT_EQ(all, expected);
}

TEST(LogFile, TwoWritersNeverShareAFile) {
    test::TempFolder folder;
    Log first(folder), second(folder);
    first.logger.info("from the first");
    second.logger.info("from the second");
    EXPECT_EQ(folder.Read("logs/test.log"), "from the first\n");
    EXPECT_EQ(folder.Read("logs/test-2.log"), "from the second\n");
    EXPECT_EQ(second.file->Path(), folder.Engine("logs/test-2.log"));
}

TEST(LogFile, AppendsToWhatAnEarlierRunLeft) {
    test::TempFolder folder;
    Log(folder).logger.info("yesterday");
    Log(folder).logger.info("today");
    EXPECT_EQ(folder.Read("logs/test.log"), "yesterday\ntoday\n");
}

TEST(LogFile, AFloodIsHeldBackButAnErrorIsNot) {
    test::ScriptedClock clock(test::Utc(2024, 1, 1));
    test::TempFolder folder;
    Log log(folder, {.piecesPerSecond = 10});
    log.logger.flush_on(spdlog::level::err);
    for (int index = 0; index < 50; index++) {
        log.logger.info("line");
    }
    EXPECT_EQ(CountOf(folder.Read("logs/test.log"), "line"), 10u);
    log.logger.error("trouble");
    EXPECT_EQ(CountOf(folder.Read("logs/test.log"), "line"), 50u);
    EXPECT_EQ(CountOf(folder.Read("logs/test.log"), "trouble"), 1u);
    clock.Advance(1);
    log.logger.info("calm");
    EXPECT_EQ(CountOf(folder.Read("logs/test.log"), "calm"), 1u);
}

TEST(LogFile, WhatCannotBeWrittenIsDroppedAndCounted) {
    test::ScriptedClock clock(test::Utc(2024, 1, 1));
    test::TempFolder folder;
    folder.Write("logs", "a file where the folder should be");
    Log log(folder);
    log.logger.info("lost 1");
    log.logger.info("lost 2");
    std::filesystem::remove(folder.Path("logs"));
    log.logger.info("lost 3");  // not tried again so soon
    clock.Advance(10);
    log.logger.info("kept");
    EXPECT_EQ(folder.Read("logs/test.log"), "(3 lines could not be written)\nkept\n");
}

TEST(DebugLog, TakesLinesFromAllThreadsAndFromGuardedOperations) {
    ManageDebugLog local;
    const CString mark = CreateGUID();
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; index++) {
        threads.emplace_back([&] {
            for (int line = 0; line < 50; line++) {
                local.AddDebugInfo(mark + _T(" one\r\nline"), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    Guarded(_T("Error: DebugLogTest"), [&] { throw std::runtime_error("reason " + mark.ToUtf8()); });
    GetManageDebugLog().AddDebugInfo(mark + _T(" \u00fc"), 0);
    FlushDebugLog();
    KXFile file(GetManageDebugLog().GetFilePath(), CFile::modeRead | CFile::shareDenyNone);
    ASSERT_TRUE(file.IsOpen());
    std::string text(file.GetLength(), ' ');
    file.Read(text.data(), static_cast<UINT>(text.size()));
    EXPECT_EQ(CountOf(text, mark.ToUtf8() + " one  line\n"), 200u);
    EXPECT_EQ(CountOf(text, mark.ToUtf8() + " \xC3\xBC\n"), 1u);
    EXPECT_EQ(CountOf(text, "Error: DebugLogTest (reason " + mark.ToUtf8() + ")\n"), 1u);
}

}  // namespace
}  // namespace rampart
