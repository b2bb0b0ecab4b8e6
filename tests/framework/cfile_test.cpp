#include "framework/cfile.h"

#include <cstdlib>
#include <random>

#include "framework/cmem_file.h"
#include "platform/error.h"
#include "print_text.h"
#include "support/temp_tree.h"

using rampart::test::TempFolder;
using rampart::test::TempTree;

namespace {

constexpr UINT kReadShared = 64;
constexpr UINT kCreateShared = 4161;
constexpr UINT kUpdate = 12290;

template <class Action>
int FileCauseOf(Action action) {
    try {
        action();
    } catch (const CFileException& exception) {
        return exception.m_cause;
    }
    return CFileException::none;
}

}  // namespace

TEST(File, FlagsMeanWhatTheirNumbersSay) {
    TempTree tree({{"old.txt", "old content"}});
    const CString old(tree.Engine("old.txt"));
    char buffer[32] = {};
    CFile file;

    ASSERT_TRUE(file.Open(old, kUpdate));
    EXPECT_EQ(file.Read(buffer, 3), 3u);
    file.Write("!", 1);
    file.Close();
    EXPECT_EQ(tree.Read("old.txt"), "old!content");

    ASSERT_TRUE(file.Open(old, kReadShared));
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 11u);
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 0u);
    EXPECT_EQ(FileCauseOf([&] { file.Write("x", 1); }), CFileException::accessDenied);
    file.Close();

    ASSERT_TRUE(file.Open(old, kCreateShared));
    EXPECT_EQ(file.GetLength(), 0u);
    file.Write("new", 3);
    file.Close();
    EXPECT_EQ(tree.Read("old.txt"), "new");

    ASSERT_TRUE(file.Open(CString(tree.Engine("made.txt")), kUpdate));
    EXPECT_EQ(file.GetFileName(), _T("made.txt"));
    file.Close();
    EXPECT_TRUE(tree.Exists("made.txt"));
}

TEST(File, FailuresNameTheirCause) {
    TempTree tree({{"folder/", ""}});
    CFile file;
    CFileException error;
    const CString missing(tree.Engine("missing.txt"));
    EXPECT_FALSE(file.Open(missing, kReadShared, &error));
    EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
    EXPECT_EQ(error.m_lOsError, 2);
    EXPECT_EQ(error.m_strFileName, missing);
    EXPECT_EQ(rampart::platform::LastError(), 2u);
    EXPECT_FALSE(file.Open(missing, kReadShared));
    EXPECT_FALSE(file.Open(CString(tree.Engine("no/such/folder.txt")), kCreateShared, &error));
    EXPECT_EQ(error.m_cause, CFileException::badPath);
    EXPECT_FALSE(file.Open(CString(tree.Engine("folder")), kUpdate, &error));
    EXPECT_EQ(error.m_cause, CFileException::accessDenied);
    EXPECT_FALSE(file.Open(nullptr, kReadShared, &error));
    EXPECT_EQ(error.m_cause, CFileException::badPath);
    EXPECT_EQ(FileCauseOf([&] { CFile(missing, kReadShared); }), CFileException::fileNotFound);
    char byte = 0;
    EXPECT_EQ(FileCauseOf([&] { file.Read(&byte, 1); }), CFileException::invalidFile);
    EXPECT_EQ(FileCauseOf([&] { file.Seek(0, CFile::begin); }), CFileException::invalidFile);
    EXPECT_FALSE(file.IsOpen());
}

TEST(File, OpenersThatAskForItHaveTheFileAlone) {
    TempTree tree({{"log.dat", "content"}});
    const CString path(tree.Engine("log.dat"));
    CFile first(path, kUpdate);
    CFile second;
    CFileException error;
    EXPECT_FALSE(second.Open(path, kUpdate, &error));
    EXPECT_EQ(error.m_cause, CFileException::sharingViolation);
    EXPECT_FALSE(second.Open(path, CFile::modeCreate | CFile::modeWrite, &error));
    EXPECT_EQ(tree.Read("log.dat"), "content");  // not emptied by the one who was refused
    EXPECT_TRUE(second.Open(path, kReadShared));
    first.Close();
    EXPECT_TRUE(first.Open(path, CFile::modeRead | CFile::shareDenyWrite));
    CFile third;
    EXPECT_TRUE(third.Open(path, CFile::modeRead | CFile::shareDenyWrite));
    EXPECT_FALSE(second.Open(path, kUpdate, &error));
}

TEST(File, SeeksFromAllThreePlaces) {
    TempFolder folder;
    CFile file(CString(folder.Engine("file")), CFile::modeCreate | CFile::modeReadWrite);
    CMemFile memory;
    for (CFile* each : {&file, static_cast<CFile*>(&memory)}) {
        each->Write("0123456789", 10);
        EXPECT_EQ(each->Seek(-4, CFile::current), 6u);
        EXPECT_EQ(each->Seek(-1, CFile::end), 9u);
        EXPECT_EQ(FileCauseOf([&] { each->Seek(-1, CFile::begin); }), CFileException::badSeek);
        EXPECT_EQ(FileCauseOf([&] { each->Seek(std::numeric_limits<LONGLONG>::max(), CFile::end); }),
                  CFileException::badSeek);
        EXPECT_EQ(FileCauseOf([&] { each->Seek(0, 7); }), CFileException::badSeek);
        EXPECT_EQ(each->GetPosition(), 9u);
        EXPECT_EQ(each->Seek(12, CFile::begin), 12u);
        each->Write("x", 1);
        each->Flush();
        char bytes[13];
        each->SeekToBegin();
        ASSERT_EQ(each->Read(bytes, sizeof bytes), 13u);
        EXPECT_EQ(std::string(bytes, 13), std::string("0123456789\0\0x", 13));
        each->SetLength(2);
        EXPECT_EQ(each->GetPosition(), 2u);
        EXPECT_EQ(each->SeekToEnd(), 2u);
    }
}

TEST(MemFile, BlocksGoInAndOut) {
    CMemFile file;
    EXPECT_EQ(file.Detach(), nullptr);
    for (int count = 0; count < 1000; ++count) {
        file.Write("abcdefghij", 10);
    }
    EXPECT_EQ(file.GetLength(), 10'000u);
    BYTE* block = file.Detach();
    EXPECT_EQ(block[9'999], 'j');
    EXPECT_EQ(file.GetLength(), 0u);
    file.Attach(block, 10);
    EXPECT_EQ(file.GetLength(), 10u);
    file.SeekToEnd();
    EXPECT_EQ(FileCauseOf([&] { file.Write("x", 1); }), CFileException::diskFull);
    EXPECT_EQ(file.Detach(), block);
    file.Attach(block, 10, 512);
    EXPECT_EQ(file.GetLength(), 0u);
    const std::string content(20'000, 'z');
    file.Write(content.data(), static_cast<UINT>(content.size()));
    block = file.Detach();
    EXPECT_EQ(block[19'999], 'z');
    std::free(block);
    EXPECT_FALSE(file.Open(_T("C:\\x"), kReadShared));
    EXPECT_EQ(FileCauseOf([&] { file.SetLength(~ULONGLONG{0}); }), CFileException::diskFull);
}
