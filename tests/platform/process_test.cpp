#include "platform/process.h"

#include <set>

#include "platform/error.h"
#include "platform/file_system.h"
#include "support/temp_home.h"

namespace rampart::platform {
namespace {

using test::ScopedVariable;
using test::TempHome;

TEST(NamedMutex, OneHolderAtATime) {
    TempHome home;
    const Text name = _T("Local\\Rampart: a name/with \u20AC");
    EXPECT_FALSE(NamedMutex::Exists(name));
    auto mutex = NamedMutex::Create(name);
    ASSERT_TRUE(mutex);
    EXPECT_TRUE(NamedMutex::Exists(name));
    EXPECT_FALSE(NamedMutex::Exists(_T("Local\\Rampart")));
    SetLastError(kNoError);
    EXPECT_FALSE(NamedMutex::Create(name));
    EXPECT_EQ(LastError(), kAlreadyExists);
    EXPECT_TRUE(NamedMutex::Exists(name));
    mutex.reset();
    EXPECT_FALSE(NamedMutex::Exists(name));
    EXPECT_TRUE(NamedMutex::Create(name));
}

TEST(NamedMutex, AskingDisturbsNobodyWhoTakesIt) {
    TempHome home;
    std::atomic<bool> stop = false;
    std::thread asker([&] {
        while (!stop) {
            NamedMutex::Exists(_T("busy"));
        }
    });
    for (int round = 0; round < 2000; round++) {
        ASSERT_TRUE(NamedMutex::Create(_T("busy")));
    }
    stop = true;
    asker.join();
}

TEST(StandardFolders, HomeMovesAllOfThemAndTheConfigurationMovesAlone) {
    TempHome home;
    EXPECT_EQ(UserDataFolder(), home.Engine("data"));
    EXPECT_EQ(ConfigurationFolder(), home.Engine("config"));
    ScopedVariable configuration("RAMPART_CONFIG", home.Native("elsewhere"));
    EXPECT_EQ(ConfigurationFolder(), home.Engine("elsewhere"));
    EXPECT_EQ(UserDataFolder(), home.Engine("data"));
}

TEST(SystemInformation, ThisProcessAndMachine) {
    FileStatus status;
    EXPECT_TRUE(QueryStatus(ExecutableFolder(), status) && status.IsDirectory());
    EXPECT_FALSE(ExecutableFolder().ends_with('\\'));
    EXPECT_NE(ProcessId(), 0u);
    std::set<uint64_t> threads = {ThreadId()};
    std::thread([&] {
        SetThreadPriority(-1);
        threads.insert(ThreadId());
    }).join();
    EXPECT_EQ(threads.size(), 2u);
    EXPECT_EQ(RandomBytes(1000).size(), 1000u);
    EXPECT_NE(RandomBytes(16), RandomBytes(16));
}

TEST(StartProcess, AProgramThatIsNotThereIsAnError) {
    TempHome home;
    SetLastError(kNoError);
    EXPECT_FALSE(StartProcess(FromUtf8("\"" + home.Native("none") + "\" --option")));
    EXPECT_EQ(LastError(), kFileNotFound);
    SetLastError(kNoError);
    EXPECT_FALSE(StartProcess(_T("\"open quote")));
    EXPECT_EQ(LastError(), kInvalidParameter);
    EXPECT_FALSE(StartProcess(_T("  ")));
}

}  // namespace
}  // namespace rampart::platform
