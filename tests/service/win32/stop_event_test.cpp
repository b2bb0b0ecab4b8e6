// The named event that stops the service of this system.
#include "service/programs.h"

#include "platform/process.h"
#include "platform/win32/native.h"
#include "platform/win32/standard_folders.h"

#undef StartService  // means the fixture's

namespace rampart::test {

namespace {

using testing::HasSubstr;

class StopEvent : public ServiceProgram {
protected:
    void TearDown() override {
        if (m_event != nullptr) {
            CloseHandle(m_event);
        }
        ServiceProgram::TearDown();
    }
    HANDLE Event() {
        if (m_event == nullptr) {
            std::wstring const name =
                L"Local\\" + platform::SharedNamePrefix() + L"KorvaneRampartServiceStop";
            m_event = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
        }
        return m_event;
    }

private:
    HANDLE m_event = nullptr;
};

TEST_F(StopEvent, StopsTheServiceThatRunsAndNotTheNextOne) {
    WriteMany("big");
    AddDaily("big", "big");
    StartService();
    ASSERT_EQ(0, Task({"run", "big", "--no-wait"}).exitCode);
    ASSERT_TRUE(WaitForLog("task 'big' started"));
    ASSERT_TRUE(SetEvent(Event()));
    EXPECT_EQ(0, WaitForService());
    EXPECT_THAT(Log(), HasSubstr("stopped"));
    StartService();
    AddDaily("docs", "docs");
    EXPECT_TRUE(WaitForLog("Task 'docs' is added"));
    EXPECT_EQ(0, StopService());
    EXPECT_EQ(0, Rampart({"vault", "verify"}).exitCode);
}

TEST_F(StopEvent, IsLeftForTheServiceThatRunsByOneThatIsRefused) {
    auto const running = platform::NamedMutex::Create(platform::FromUtf8("Global\\KorvaneRampartService"));
    ASSERT_TRUE(running);
    ASSERT_TRUE(SetEvent(Event()));
    EXPECT_EQ(1, Launch(RAMPART_SERVICE, {}, "second")->Wait());
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(Event(), 0));
}

}  // namespace

}  // namespace rampart::test
