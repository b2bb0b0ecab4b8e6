#include <gtest/gtest.h>

#include <thread>

#include "eventlog/error_log.h"
#include "eventlog/log_file.h"
#include "paths/path_manage.h"
#include "support/engine_stand_in.h"
#include "support/hex_bytes.h"
#include "support/scripted_clock.h"
#include "support/service_stand_in.h"
#include "support/temp_home.h"

namespace rampart::test {

namespace {

struct Event {
    CString name;
    int id;
    CString message;
    int type;
    bool operator==(Event const&) const = default;
};

class EventLog : public testing::Test {
protected:
    void SetUp() override {
        Service().customerId = _T("4711");
        CString folder;
        ASSERT_TRUE(CPathManage::GetOrCreateInAppDataPath(CString(), folder));
        m_folder = folder + _T("4711");
        ASSERT_TRUE(KXFolder::RCreateDirectory(m_folder));
        m_path = m_folder + _T("\\errlog.txt");
    }

    std::vector<Event> Shown() {
        CPtrList list;
        EXPECT_EQ(m_log.GetErrorList(list), 1);
        return Taken(list);
    }

    std::vector<Event> Taken(CPtrList& list) {
        std::vector<Event> events;
        for (void* entry : list) {
            const auto& info = *static_cast<ErrorInfo*>(entry);
            events.push_back({info.m_strTaskName, info.m_nTaskID, info.m_strMessage, info.m_nType});
        }
        m_log.ClearErrorList(list);
        return events;
    }

    // The records as they stand in the file, with the count that its header gives.
    std::vector<Event> InFile(__int64& count) {
        KXFile file(m_path, CFile::modeRead | CFile::shareDenyNone);
        CArchive archive(&file, CArchive::load);
        __int64 marker = 0;
        float version = 0;
        archive >> marker >> count >> version;
        EXPECT_EQ(marker, -900);
        EXPECT_EQ(version, 4.5F);
        std::vector<Event> events;
        while (archive.GetFile()->GetPosition() <= file.GetLength() &&
               events.size() < static_cast<size_t>(count)) {
            Event event;
            CString time;
            int32_t id = 0;
            int32_t type = 0;
            archive >> event.name >> id >> time >> event.message >> type;
            event.id = id;
            event.type = type;
            events.push_back(event);
        }
        BYTE more = 0;
        EXPECT_EQ(archive.Read(&more, 1), 0U) << "bytes behind the last record";
        return events;
    }

    std::string Bytes() {
        KXFile file(m_path, CFile::modeRead | CFile::shareDenyNone);
        std::string bytes(static_cast<size_t>(file.GetLength()), '\0');
        file.Read(bytes.data(), static_cast<UINT>(bytes.size()));
        return bytes;
    }
    void WriteBytes(std::string const& bytes) {
        KXFile file(m_path, CFile::modeCreate | CFile::modeWrite);
        file.Write(bytes.data(), static_cast<UINT>(bytes.size()));
    }

    void WriteOldFile(std::vector<CString> const& messages) {
        KXFile file(m_path, CFile::modeCreate | CFile::modeWrite);
        CArchive archive(&file, CArchive::store);
        archive << static_cast<__int64>(messages.size());
        for (CString const& message : messages) {
            archive << CString(_T("Old task")) << int32_t{7} << CString(_T("01/02/2020 03:04:05")) << message;
        }
        archive.Close();
    }

    void Record(int count) {
        for (int number = 0; number < count; ++number) {
            ASSERT_EQ(m_log.RecordError(nullptr, FormatText(_T("event %d"), number), EVENT_INFO), 1);
        }
    }

    TempHome m_home;
    EngineStandIn m_engine;
    CErrorLog m_log;
    CString m_folder;
    CString m_path;
};

TEST_F(EventLog, FirstEventMakesTheFile) {
    ScriptedClock clock(Utc(2024, 3, 5, 17, 8, 9), 3600);
    ASSERT_EQ(m_log.RecordError(nullptr, _T("something happened"), EVENT_WARNING), 1);
    __int64 count = 0;
    const std::vector<Event> expected{
        {DictUtil::GetValue(_T("GlobalError"), CString()), 0, _T("something happened"), 1}};
    EXPECT_EQ(InFile(count), expected);
    EXPECT_EQ(count, 1);
    CPtrList list;
    ASSERT_EQ(m_log.GetErrorList(list), 1);
    EXPECT_EQ(static_cast<ErrorInfo*>(list.GetHead())->m_strTime, _T("03/05/2024 17:08:09"));
    m_log.ClearErrorList(list);
}

TEST_F(EventLog, FileToTheByte) {
    ScriptedClock clock(Utc(2024, 3, 5, 17, 8, 9), 3600);
    CBackupTask task;
    task.m_taskName = _T("Täg");
    task.m_taskID = 0x01020304;
    ASSERT_EQ(m_log.RecordError(&task, _T("gone"), EVENT_ERROR), 1);
    ASSERT_EQ(m_log.RecordError(&task, CString(), EVENT_INFO), 1);
    const std::string header =
        // marker -900, two records, version 4.5
        "7C FC FF FF FF FF FF FF  02 00 00 00 00 00 00 00  00 00 90 40";
    const std::string nameAndId = "FF FE FF 03 54 00 E4 00 67 00  04 03 02 01";
    const std::string time =
        "FF FE FF 13 30 00 33 00 2F 00 30 00 35 00 2F 00 32 00 30 00 32 00 34 00 20 00"
        "31 00 37 00 3A 00 30 00 38 00 3A 00 30 00 39 00";
    EXPECT_EQ(ToHex(FromHex(header + nameAndId + time + "FF FE FF 04 67 00 6F 00 6E 00 65 00  02 00 00 00" +
                            nameAndId + time + "FF FE FF 00  00 00 00 00")),
              ToHex(Bytes()));
}

// A file of another version keeps its number; the old form gets a header, and its records a type.
TEST_F(EventLog, WrittenFilesAreReadToTheByte) {
    ScriptedClock clock(Utc(2024, 3, 5, 17, 8, 9), 0);
    const std::string record = "FF FE FF 01 41 00  07 00 00 00  FF FE FF 01 31 00  FF FE FF 01 6D 00";
    WriteBytes(
        FromHex("7C FC FF FF FF FF FF FF  01 00 00 00 00 00 00 00  00 00 80 40" + record + "01 00 00 00"));
    EXPECT_EQ(Shown(), (std::vector<Event>{{_T("A"), 7, _T("m"), EVENT_WARNING}}));
    Record(1);
    EXPECT_EQ(Bytes().substr(0, 20),
              FromHex("7C FC FF FF FF FF FF FF  02 00 00 00 00 00 00 00  00 00 80 40"));

    WriteBytes(FromHex("01 00 00 00 00 00 00 00" + record));
    CMemFile memory;
    CArchive out(&memory, CArchive::store);
    ASSERT_EQ(m_log.StoreErrorList(out), 1);
    EXPECT_EQ(ToHex(Bytes()), ToHex(FromHex("7C FC FF FF FF FF FF FF  01 00 00 00 00 00 00 00  00 00 90 40" +
                                            record + "02 00 00 00")));
}

TEST_F(EventLog, NewestEventIsShownFirst) {
    Record(3);
    const auto shown = Shown();
    ASSERT_EQ(shown.size(), 3U);
    EXPECT_EQ(shown.front().message, _T("event 2"));
    CPtrList list;
    ASSERT_EQ(m_log.GetEventList(2, list), 1);
    const auto last = Taken(list);
    ASSERT_EQ(last.size(), 2U);
    EXPECT_EQ(last.back().message, _T("event 1"));
}

TEST_F(EventLog, OldFormBecomesNewOnTheFirstEvent) {
    WriteOldFile({_T("one"), _T("two"), _T("three")});
    Record(1);
    __int64 count = 0;
    const std::vector<Event> events = InFile(count);
    EXPECT_EQ(count, 4);
    ASSERT_EQ(events.size(), 4U);
    EXPECT_EQ(events[0], (Event{_T("Old task"), 7, _T("three"), EVENT_ERROR}));
    EXPECT_EQ(events[2], (Event{_T("Old task"), 7, _T("one"), EVENT_ERROR}));
    EXPECT_EQ(events[3].message, _T("event 0"));
}

TEST_F(EventLog, StoringTrimsToTheLimitAndTheReaderTakesItBack) {
    Record(21);
    CMemFile memory;
    CArchive out(&memory, CArchive::store);
    ASSERT_EQ(m_log.StoreErrorList(out), 1);
    out.Close();
    __int64 count = 0;
    const auto inFile = InFile(count);
    EXPECT_EQ(count, 20);
    EXPECT_EQ(inFile.front().message, _T("event 20"));
    EXPECT_EQ(inFile.back().message, _T("event 1"));

    memory.SeekToBegin();
    CArchive in(&memory, CArchive::load);
    CPtrList list;
    ASSERT_EQ(m_log.LoadErrorList(list, in), 1);
    EXPECT_EQ(Taken(list).size(), 20U);
    Record(1);
    EXPECT_EQ(Shown().size(), 21U);
}

TEST_F(EventLog, RenamedTaskShowsItsPresentName) {
    CBackupTask task;
    task.m_taskName = _T("Before");
    task.m_taskID = 12;
    m_engine.tasks[12] = &task;
    ASSERT_EQ(m_log.RecordError(&task, _T("started"), EVENT_INFO), 1);
    task.m_taskName = _T("After");
    EXPECT_EQ(Shown().front().name, _T("After"));
    __int64 count = 0;
    EXPECT_EQ(InFile(count).front().name, _T("Before"));
    m_engine.tasks.clear();
    EXPECT_EQ(Shown().front().name, _T("Before"));

    m_engine.tasks[12] = &task;
    Record(19);
    ASSERT_EQ(m_log.RecordError(nullptr, _T("one too many"), EVENT_INFO), 1);
    ASSERT_EQ(m_log.RecordError(&task, _T("ended"), EVENT_INFO), 1);
    task.m_taskName = _T("Later");
    CMemFile memory;
    CArchive out(&memory, CArchive::store);
    ASSERT_EQ(m_log.StoreErrorList(out), 1);
    EXPECT_EQ(InFile(count).front().name, _T("Later"));
}

// Whoever holds the manager's locks may be waiting to record an event.
TEST_F(EventLog, IsNotLockedWhileTheManagerIsAsked) {
    CBackupTask task;
    task.m_taskID = 5;
    m_engine.tasks[5] = &task;
    for (int number = 0; number < 21; ++number) {
        ASSERT_EQ(m_log.RecordError(&task, _T("event"), EVENT_INFO), 1);
    }
    int asked = 0;
    m_engine.onQuestion = [&] {
        ++asked;
        std::thread([] { CErrorLog().RecordError(nullptr, _T("meanwhile"), EVENT_INFO); }).join();
    };
    Shown();
    CMemFile memory;
    CArchive out(&memory, CArchive::store);
    EXPECT_EQ(m_log.StoreErrorList(out), 1);
    EXPECT_GE(asked, 2);
}

TEST_F(EventLog, ThreadsThatRecordTogetherLoseNothing) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([] {
            for (int number = 0; number < 25; ++number) {
                CErrorLog().RecordError(nullptr, _T("event"), EVENT_ERROR);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    __int64 count = 0;
    EXPECT_EQ(InFile(count).size(), 100U);
}

TEST_F(EventLog, CutFileKeepsWhatCanBeRead) {
    Record(25);
    {
        KXFile file(m_path, CFile::modeReadWrite);
        file.SetLength(file.GetLength() - 3);
    }
    EXPECT_EQ(Shown().size(), 24U);
    CMemFile memory;
    CArchive out(&memory, CArchive::store);
    EXPECT_EQ(m_log.StoreErrorList(out), 1);
    __int64 count = 0;
    EXPECT_EQ(InFile(count).front().message, _T("event 23"));
    Record(1);
    EXPECT_EQ(Shown().size(), 21U);
}

// A file whose writes and changes of length fail after the first `writes`, up to `failures` of them.
class FailingFile : public KXFile {
public:
    FailingFile(CString const& path, int writes, int failures)
        : KXFile(path, CFile::modeReadWrite), m_writes(writes), m_failures(failures) {}
    void Write(const void* buffer, UINT count) override {
        Step();
        KXFile::Write(buffer, count);
    }
    void SetLength(ULONGLONG length) override {
        Step();
        KXFile::SetLength(length);
    }
    bool HasFailed() const { return m_hasFailed; }

private:
    void Step() {
        if (m_writes-- <= 0 && m_failures-- > 0) {
            m_hasFailed = true;
            throw CFileException(CFileException::diskFull);
        }
    }

    int m_writes;
    int m_failures;
    bool m_hasFailed = false;
};

// The program ends between any two writes of an append: nothing is written any more.
TEST_F(EventLog, AnEndWithinAnAppendHidesNoEvent) {
    ErrorInfo lost;
    lost.m_strMessage = _T("lost");
    bool isCut = true;
    for (int writes = 0; isCut; ++writes) {
        ASSERT_LT(writes, 10);
        m_log.RemoveAllLogs();
        Record(2);
        {
            LogContent log;
            ASSERT_TRUE(ReadLogHeader(m_path, log));
            FailingFile file(m_path, writes, INT_MAX);
            try {
                AppendRecord(file, log.header, lost);
            } catch (CFileException const&) {
            }
            isCut = file.HasFailed();
        }
        EXPECT_EQ(Shown().size(), isCut ? 2U : 3U) << writes;
        ASSERT_EQ(m_log.RecordError(nullptr, _T("newest"), EVENT_INFO), 1);
        auto const shown = Shown();
        EXPECT_EQ(shown.size(), isCut ? 3U : 4U) << writes;
        EXPECT_EQ(shown.front().message, _T("newest")) << writes;
        EXPECT_EQ(shown.back().message, _T("event 0")) << writes;
    }
}

// The disk is full: the file is as it was before.
TEST_F(EventLog, AnEventThatCannotBeWrittenLeavesTheFileAsItWas) {
    Record(2);
    std::string const before = Bytes();
    for (int writes : {0, 1}) {
        LogContent log;
        ASSERT_TRUE(ReadLogHeader(m_path, log));
        FailingFile file(m_path, writes, 1);
        EXPECT_THROW(AppendRecord(file, log.header, ErrorInfo()), CFileException);
        file.Close();
        EXPECT_EQ(ToHex(before), ToHex(Bytes())) << writes;
    }
}

// The newest event is cut off at each byte: those before it stay.
TEST_F(EventLog, AFileThatIsCutAnywhereKeepsTheEventsBefore) {
    Record(1);
    std::string const first = Bytes();
    Record(1);
    std::string const both = Bytes();
    for (size_t length = first.size(); length < both.size(); ++length) {
        WriteBytes(both.substr(0, length));
        EXPECT_EQ(Shown().size(), 1U) << length;
    }
    for (size_t length = 0; length < first.size(); ++length) {
        WriteBytes(both.substr(0, length));
        EXPECT_TRUE(Shown().empty()) << length;
    }
}

TEST_F(EventLog, TheOldestGoAndTheOthersStayInTheirOrder) {
    Record(25);
    std::string const whole = Bytes();
    m_log.KeepNewest(25);
    EXPECT_EQ(ToHex(whole), ToHex(Bytes()));
    m_log.KeepNewest(23);
    __int64 count = 0;
    auto const kept = InFile(count);
    EXPECT_EQ(count, 23);
    EXPECT_EQ(kept.front().message, _T("event 2"));
    EXPECT_EQ(kept.back().message, _T("event 24"));
    ASSERT_EQ(m_log.RecordError(nullptr, _T("newest"), EVENT_INFO), 1);
    m_log.KeepNewest(3);
    auto const shown = Shown();
    EXPECT_EQ(shown.size(), 20U) << "the limit of the configuration";
    EXPECT_EQ(shown.front().message, _T("newest"));
    EXPECT_EQ(shown.back().message, _T("event 6"));

    WriteOldFile(std::vector<CString>(30, _T("old")));
    m_log.KeepNewest(25);
    EXPECT_EQ(InFile(count).size(), 25U);
    m_log.RemoveAllLogs();
    m_log.KeepNewest(25);
    EXPECT_FALSE(KXFile::FileExists(m_path));
}

TEST_F(EventLog, AFewBytesCountAsAnEmptyFile) {
    {
        KXFile file(m_path, CFile::modeCreate | CFile::modeWrite);
        file.Write("abc", 3);
    }
    EXPECT_TRUE(Shown().empty());
    Record(1);
    __int64 count = 0;
    EXPECT_EQ(InFile(count).size(), 1U);
}

TEST_F(EventLog, UnusableFileLosesTheEventWithoutThrowing) {
    ASSERT_TRUE(KXFolder::RCreateDirectory(m_path));
    EXPECT_EQ(m_log.RecordError(nullptr, _T("lost"), EVENT_INFO), 0);
    CPtrList list;
    EXPECT_EQ(m_log.GetErrorList(list), 0);
    CMemFile memory;
    CArchive out(&memory, CArchive::store);
    EXPECT_EQ(m_log.StoreErrorList(out), 0);
}

TEST_F(EventLog, RemovedLogStartsAnew) {
    Record(2);
    m_log.RemoveAllLogs();
    EXPECT_FALSE(KXFile::FileExists(m_path));
    Record(1);
    EXPECT_EQ(Shown().size(), 1U);
}

TEST_F(EventLog, ExportHoldsNumberedGroupsAndAnEndMark) {
    XMLDocument document;
    document.Create(_T("Log"));
    XMLNode root = document.GetAsNode();
    Record(25);
    ASSERT_TRUE(m_log.SaveErrorLogListToXMLNode(root));
    int count = 0;
    EXPECT_TRUE(root.GetValue(_T("Count"), count, 0));
    EXPECT_EQ(count, 20);
    CString text;
    EXPECT_TRUE(root.GetValue(_T("FlagValue"), text, CString()));
    EXPECT_EQ(text, _T("-900"));
    EXPECT_TRUE(root.GetValue(_T("Description0"), text, CString()));
    EXPECT_EQ(text, _T("event 24"));
    EXPECT_TRUE(root.GetValue(_T("Type19"), count, -1));
    EXPECT_FALSE(root.GetValue(_T("Type20"), count, -1));
    EXPECT_TRUE(root.GetValue(_T("EndMessage"), count, 0));
}

TEST_F(EventLog, ExportHoldsEveryFieldOfEveryEvent) {
    ScriptedClock clock(Utc(2024, 3, 5, 17, 8, 9), 3600);
    CBackupTask task;
    task.m_taskName = _T("Täg <1>");
    task.m_taskID = 42;
    ASSERT_EQ(m_log.RecordError(&task, _T("a & b"), EVENT_WARNING), 1);
    clock.Advance(60);
    ASSERT_EQ(m_log.RecordError(nullptr, CString(), EVENT_ERROR), 1);
    XMLDocument document;
    document.Create(_T("Log"));
    XMLNode root = document.GetAsNode();
    ASSERT_TRUE(m_log.SaveErrorLogListToXMLNode(root));
    std::vector<std::pair<CString, CString>> elements;
    for (int index = 0; index < root.GetNumberOfNodes(); ++index) {
        CString const name = root.GetNode(index).GetName();
        CString text;
        EXPECT_TRUE(root.GetValue(name, text, _T("none")));
        elements.emplace_back(name, text);
    }
    EXPECT_EQ(elements, (std::vector<std::pair<CString, CString>>{
                            {_T("FlagValue"), _T("-900")},
                            {_T("Count"), _T("2")},
                            {_T("ErrorLogVersion"), _T("4.5")},
                            {_T("TaskName0"), _T("Täg <1>")},
                            {_T("TaskID0"), _T("42")},
                            {_T("BackupDate0"), _T("03/05/2024 17:08:09")},
                            {_T("Description0"), _T("a & b")},
                            {_T("Type0"), _T("1")},
                            {_T("TaskName1"), DictUtil::GetValue(_T("GlobalError"), CString())},
                            {_T("TaskID1"), _T("0")},
                            {_T("BackupDate1"), _T("03/05/2024 17:09:09")},
                            {_T("Description1"), CString()},
                            {_T("Type1"), _T("2")},
                            {_T("EndMessage"), _T("1")},
                        }));
}

TEST_F(EventLog, EmptyLogExportsItsEndMarkAlone) {
    XMLDocument document;
    document.Create(_T("Log"));
    XMLNode root = document.GetAsNode();
    ASSERT_TRUE(m_log.SaveErrorLogListToXMLNode(root));
    EXPECT_EQ(root.GetNumberOfNodes(), 1);
    XMLNode invalid;
    EXPECT_FALSE(m_log.SaveErrorLogListToXMLNode(invalid));
}

}  // namespace

}  // namespace rampart::test
