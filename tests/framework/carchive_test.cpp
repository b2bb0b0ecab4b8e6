#include "framework/carchive.h"

#include <random>

#include "framework/cmem_file.h"
#include "framework/guarded.h"
#include "print_text.h"
#include "support/temp_tree.h"

namespace {

template <class Store>
std::string Stored(Store store) {
    CMemFile file;
    CArchive archive(&file, CArchive::store);
    store(archive);
    archive.Close();
    std::string bytes(file.GetLength(), 0);
    file.SeekToBegin();
    file.Read(bytes.data(), static_cast<UINT>(bytes.size()));
    return bytes;
}

CString LoadedText(std::string bytes) {
    CMemFile file(reinterpret_cast<BYTE*>(bytes.data()), static_cast<UINT>(bytes.size()));
    CArchive archive(&file, CArchive::load);
    CString text;
    archive >> text;
    return text;
}

template <class Action>
int ArchiveCauseOf(Action action) {
    try {
        action();
    } catch (const CArchiveException& exception) {
        return exception.m_cause;
    }
    return CArchiveException::none;
}

template <size_t Size>
std::string Bytes(const char (&text)[Size]) {
    return std::string(text, Size - 1);
}

}  // namespace

TEST(Archive, PrimitivesAreLittleEndianToTheByte) {
    EXPECT_EQ(Stored([](CArchive& archive) {
                  archive << BYTE{0x01} << true << 'a' << WORD{0x0302} << short{-2} << 0x07060504
                          << DWORD{0xFFFEFDFC} << -2L << 0x89ABCDEFul;
              }),
              Bytes("\x01\x01"
                    "a\x02\x03\xFE\xFF\x04\x05\x06\x07\xFC\xFD\xFE\xFF\xFE\xFF\xFF\xFF\xEF\xCD\xAB\x89"));
    EXPECT_EQ(Stored([](CArchive& archive) {
                  archive << static_cast<__int64>(-2) << static_cast<unsigned __int64>(0x0102030405060708)
                          << 1.5 << 1.5f << CTime(0x0A0B0C0D);
              }),
              Bytes("\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x08\x07\x06\x05\x04\x03\x02\x01"
                    "\0\0\0\0\0\0\xF8\x3F\0\0\xC0\x3F\x0D\x0C\x0B\x0A\0\0\0\0"));
}

TEST(Archive, EveryPrimitiveComesBack) {
    CMemFile file;
    CArchive out(&file, CArchive::store, 0);
    out << BYTE{200} << true << false << 'x' << static_cast<signed char>(-5) << TCHAR(0x20AC) << short{-300}
        << WORD{60000} << -70000 << 4000000000u << -5L << 4000000000ul << std::numeric_limits<__int64>::min()
        << std::numeric_limits<unsigned __int64>::max() << -0.0 << 3.25f << CTime(-7) << CString(_T("text"))
        << _T("plain");
    out.Close();
    file.SeekToBegin();
    CArchive in(&file, CArchive::load, 0);
    BYTE byte;
    bool yes, no;
    char character;
    signed char small;
    TCHAR unit;
    short number16;
    WORD word;
    int number;
    unsigned int unsignedNumber;
    long longNumber;
    unsigned long unsignedLong;
    __int64 number64;
    unsigned __int64 unsigned64;
    double real;
    float narrowReal;
    CTime time;
    CString text, plain;
    in >> byte >> yes >> no >> character >> small >> unit >> number16 >> word >> number >> unsignedNumber >>
        longNumber >> unsignedLong >> number64 >> unsigned64 >> real >> narrowReal >> time >> text >> plain;
    EXPECT_EQ(byte, 200);
    EXPECT_TRUE(yes && !no);
    EXPECT_EQ(character, 'x');
    EXPECT_EQ(small, -5);
    EXPECT_EQ(unit, 0x20AC);
    EXPECT_EQ(number16, -300);
    EXPECT_EQ(word, 60000);
    EXPECT_EQ(number, -70000);
    EXPECT_EQ(unsignedNumber, 4000000000u);
    EXPECT_EQ(longNumber, -5);
    EXPECT_EQ(unsignedLong, 4000000000ul);
    EXPECT_EQ(number64, std::numeric_limits<__int64>::min());
    EXPECT_EQ(unsigned64, std::numeric_limits<unsigned __int64>::max());
    EXPECT_TRUE(real == 0 && std::signbit(real));
    EXPECT_EQ(narrowReal, 3.25f);
    EXPECT_EQ(time.GetTime(), -7);
    EXPECT_EQ(text, _T("text"));
    EXPECT_EQ(plain, _T("plain"));
    EXPECT_EQ(ArchiveCauseOf([&] { in >> byte; }), CArchiveException::endOfFile);
}

TEST(Archive, LengthPrefixesHaveTheirExactForm) {
    const auto prefix = [](int length) {
        const std::string bytes = Stored([&](CArchive& archive) { archive << CString(TCHAR('x'), length); });
        EXPECT_EQ(LoadedText(bytes), CString(TCHAR('x'), length)) << length;
        return bytes.substr(0, bytes.size() - static_cast<size_t>(length) * 2);
    };
    EXPECT_EQ(prefix(0), Bytes("\xFF\xFE\xFF\x00"));
    EXPECT_EQ(prefix(1), Bytes("\xFF\xFE\xFF\x01"));
    EXPECT_EQ(prefix(254), Bytes("\xFF\xFE\xFF\xFE"));
    EXPECT_EQ(prefix(255), Bytes("\xFF\xFE\xFF\xFF\xFF\x00"));
    EXPECT_EQ(prefix(0xFFFD), Bytes("\xFF\xFE\xFF\xFF\xFD\xFF"));
    EXPECT_EQ(prefix(0xFFFE), Bytes("\xFF\xFE\xFF\xFF\xFF\xFF\xFE\xFF\x00\x00"));
    EXPECT_EQ(prefix(0xFFFF), Bytes("\xFF\xFE\xFF\xFF\xFF\xFF\xFF\xFF\x00\x00"));
    EXPECT_EQ(prefix(0x12345), Bytes("\xFF\xFE\xFF\xFF\xFF\xFF\x45\x23\x01\x00"));
    // The widest form is read too.
    EXPECT_EQ(LoadedText(Bytes("\xFF\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x02\0\0\0\0\0\0\0a\0b\0")),
              _T("ab"));
}

TEST(Archive, RandomTextsAroundTheBordersOfThePrefixComeBack) {
    std::mt19937 random(21);
    std::vector<CString> texts;
    const std::string bytes = Stored([&](CArchive& archive) {
        for (const int border : {0, 255, 0xFFFE, 0xFFFF}) {
            for (int length = std::max(border - 2, 0); length <= border + 2; ++length) {
                CString text;
                std::generate_n(text.GetBuffer(length), length, [&] { return static_cast<TCHAR>(random()); });
                text.ReleaseBuffer(length);
                archive << text << length;
                texts.push_back(text);
            }
        }
    });
    std::string copy = bytes;
    CMemFile file(reinterpret_cast<BYTE*>(copy.data()), static_cast<UINT>(copy.size()));
    CArchive archive(&file, CArchive::load);
    for (const CString& text : texts) {
        CString loaded;
        int length = -1;
        archive >> loaded >> length;
        ASSERT_EQ(loaded, text) << text.GetLength();
        ASSERT_EQ(length, text.GetLength());
    }
    BYTE none;
    EXPECT_EQ(archive.Read(&none, 1), 0u);
}

TEST(Archive, TextsWithoutMarkerAreInTheSystemsCodePage) {
    EXPECT_EQ(LoadedText(Bytes("\x03xyz")), _T("xyz"));
    EXPECT_EQ(LoadedText(Bytes("\x00")), CString());
    for (const char* bytes : {"Gr\xC3\xBC", "Gr\xFC"}) {
        const CString text = LoadedText(std::string(1, static_cast<char>(strlen(bytes))) + bytes);
        EXPECT_EQ(text, CString(rampart::TextView(rampart::platform::FromCodePage(bytes))));
        EXPECT_GT(text.GetLength(), 2);
    }
    std::string longer = Bytes("\xFF\x2C\x01");
    longer.append(300, 'q');
    EXPECT_EQ(LoadedText(longer), CString(TCHAR('q'), 300));
    EXPECT_EQ(LoadedText(Bytes("\xFF\xFF\xFF\x02\0\0\0ab")), _T("ab"));
}

TEST(Archive, ClaimedLengthsCostNothingAndEndEarly) {
    const std::string claims[] = {
        Bytes("\xFF\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F"),
        Bytes("\xFF\xFE\xFF\xFF\xFF\xFF\xFE\xFF\xFF\x3Fgh"),
        Bytes("\xFF\xFE\xFF\xFF\xFF\xFF\xFE\xFF\xFF\xFEgh"),
        Bytes("\xFF\xFF\xFF\xFE\xFF\xFF\x3Fgh"),
        Bytes("\xFF\xFE\xFF\x05xyz"),
        Bytes("\xFF\xFE"),
        Bytes(""),
    };
    for (const std::string& bytes : claims) {
        EXPECT_EQ(ArchiveCauseOf([&] { LoadedText(bytes); }), CArchiveException::endOfFile);
    }
    // A text that fails to load leaves the one that was there.
    CString text(_T("kept"));
    std::string cut = claims[4];
    CMemFile file(reinterpret_cast<BYTE*>(cut.data()), static_cast<UINT>(cut.size()));
    CArchive archive(&file, CArchive::load);
    EXPECT_EQ(ArchiveCauseOf([&] { archive >> text; }), CArchiveException::endOfFile);
    EXPECT_EQ(text, _T("kept"));
}

TEST(Archive, DirectionsAreKept) {
    CMemFile file;
    CArchive store(&file, CArchive::store);
    CArchive load(&file, CArchive::load);
    int number = 0;
    EXPECT_TRUE(store.IsStoring() && load.IsLoading());
    EXPECT_EQ(ArchiveCauseOf([&] { store >> number; }), CArchiveException::writeOnly);
    EXPECT_EQ(ArchiveCauseOf([&] { load << number; }), CArchiveException::readOnly);
    store.Close();
    EXPECT_EQ(ArchiveCauseOf([&] { store << number; }), CArchiveException::genericException);
    if constexpr (sizeof(long) == 8) {
        CArchive other(&file, CArchive::store);
        const long tooWide = static_cast<long>(0x100000000);
        EXPECT_EQ(ArchiveCauseOf([&] { other << tooWide; }), CArchiveException::genericException);
    }
}

TEST(Archive, FlushLetsTheFileBeUsedBeside) {
    rampart::test::TempFolder folder;
    CFile file(CString(folder.Engine("archive")), CFile::modeCreate | CFile::modeReadWrite);
    CArchive store(&file, CArchive::store);
    store << 1 << 2 << 3;
    EXPECT_EQ(file.GetLength(), 0u);
    store.Flush();
    EXPECT_EQ(file.GetLength(), 12u);
    store.Close();
    file.SeekToBegin();
    CArchive load(&file, CArchive::load);
    int number = 0;
    load >> number;
    load.Flush();
    EXPECT_EQ(file.GetPosition(), 4u);
    load >> number;
    EXPECT_EQ(number, 2);
}

TEST(Archive, DestructorWritesTheRestAndReportsWhatItCannot) {
    rampart::test::TempTree tree({{"read-only", "abc"}});
    CMemFile file;
    { CArchive(&file, CArchive::store) << 7; }
    EXPECT_EQ(file.GetLength(), 4u);
    { CArchive(&file, CArchive::store | CArchive::bNoFlushOnDelete) << 7; }
    EXPECT_EQ(file.GetLength(), 4u);

    static rampart::Text line;
    line.clear();
    const rampart::GuardSink before =
        rampart::SetGuardSink([](rampart::TextView text, const std::string&) { line = text; });
    CFile unwritable(CString(tree.Engine("read-only")), CFile::modeRead);
    { CArchive(&unwritable, CArchive::store) << 7; }
    rampart::SetGuardSink(before);
    EXPECT_EQ(line, _T("Error: CArchive"));
}

// Gives a few bytes at a time, like a pipe.
class DribblingFile : public CMemFile {
public:
    UINT Read(void* buffer, UINT count) override { return CMemFile::Read(buffer, std::min(count, 7u)); }
};

TEST(Archive, RandomSequencesComeBackThroughEveryBufferSize) {
    std::mt19937 random(9);
    for (const int bufferSize : {0, 200, 4096, 1 << 22}) {
        std::vector<CString> texts;
        std::vector<std::string> blocks;
        DribblingFile file;
        CArchive store(&file, CArchive::store, bufferSize);
        for (int count = 0; count < 200; ++count) {
            CString text;
            for (size_t length = random() % (count % 20 == 0 ? 70'000 : 50); length > 0; --length) {
                text += static_cast<TCHAR>(random());
            }
            std::string block(random() % 9000, 0);
            std::generate(block.begin(), block.end(), [&] { return static_cast<char>(random()); });
            store << text << static_cast<int>(block.size());
            store.Write(block.data(), static_cast<UINT>(block.size()));
            texts.push_back(text);
            blocks.push_back(block);
        }
        store.Close();
        file.SeekToBegin();
        CArchive load(&file, CArchive::load, bufferSize);
        for (size_t index = 0; index < texts.size(); ++index) {
            CString text;
            int size = 0;
            load >> text >> size;
            ASSERT_EQ(text, texts[index]);
            ASSERT_EQ(static_cast<size_t>(size), blocks[index].size());
            std::string block(blocks[index].size(), 0);
            load.EnsureRead(block.data(), static_cast<UINT>(block.size()));
            ASSERT_EQ(block, blocks[index]);
        }
    }
}
