#include <gtest/gtest.h>

#include "progress/progress_bar.h"
#include "support/engine_stand_in.h"
#include "support/hex_bytes.h"
#include "support/service_stand_in.h"
#include "support/temp_tree.h"

namespace rampart::test {

namespace {

// What `store` writes, as a stream to read from.
class Stored {
public:
    template <class Store>
    explicit Stored(Store&& store) {
        CArchive out(&m_memory, CArchive::store);
        store(out);
        out.Close();
        m_memory.SeekToBegin();
    }
    ULONGLONG Length() const { return m_memory.GetLength(); }
    CMemFile& File() { return m_memory; }
    std::string Bytes() {
        std::string bytes(static_cast<size_t>(m_memory.GetLength()), '\0');
        m_memory.SeekToBegin();
        m_memory.Read(bytes.data(), static_cast<UINT>(bytes.size()));
        return bytes;
    }

private:
    CMemFile m_memory;
};

struct StoredItem {
    __int64 id = 0;
    CString tag, folder, name;
    __int64 size = 0, done = 0, seconds = 0, rate = 0;
    int32_t status = 0;
};

StoredItem ReadItem(CArchive& archive) {
    StoredItem item;
    archive >> item.id >> item.tag;
    if (item.tag == _T(":P")) {
        archive >> item.folder;
    }
    archive >> item.name >> item.size >> item.done >> item.seconds >> item.rate >> item.status;
    return item;
}

TEST(ArchiveForm, ItemsToTheByte) {
    TaskItemInfo first;
    first.m_id = 3;
    first.m_strPath = _T("C:\\dir\\ä.txt");
    first.m_nSize = 0x0102030405060708;
    first.m_nDone = 5;
    first.m_nSeconds = -2;
    first.m_nRate = 4;
    first.m_nStatus = TaskItemInTransfer;
    TaskItemInfo second;
    second.m_strPath = _T("bare");
    second.m_nStatus = TaskItemFailed;
    TaskItemInfo sibling;
    sibling.m_id = 1;
    sibling.m_strPath = _T("C:\\dir\\b");
    CPtrList items;
    for (TaskItemInfo* item : {&first, &second, &sibling}) {
        items.AddTail(item);
    }
    CPrgAttachment observer;
    Stored stored([&](CArchive& archive) { observer.StoreItems(items, archive); });
    EXPECT_EQ(ToHex(FromHex("03 00 00 00 00 00 00 00"
                            // number, tag, folder, name
                            "03 00 00 00 00 00 00 00  FF FE FF 02 3A 00 50 00"
                            "FF FE FF 06 43 00 3A 00 5C 00 64 00 69 00 72 00"
                            "FF FE FF 05 E4 00 2E 00 74 00 78 00 74 00"
                            // size, done, seconds, rate, status
                            "08 07 06 05 04 03 02 01  05 00 00 00 00 00 00 00"
                            "FE FF FF FF FF FF FF FF  04 00 00 00 00 00 00 00  01 00 00 00"
                            // without a parent folder: an empty tag, and the name follows
                            "00 00 00 00 00 00 00 00  FF FE FF 00  FF FE FF 04 62 00 61 00 72 00 65 00"
                            "00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00"
                            "00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  03 00 00 00"
                            // each item carries its folder, also one beside the item before
                            "01 00 00 00 00 00 00 00  FF FE FF 02 3A 00 50 00"
                            "FF FE FF 06 43 00 3A 00 5C 00 64 00 69 00 72 00  FF FE FF 01 62 00"
                            "00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00"
                            "00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00")),
              ToHex(stored.Bytes()));
}

TEST(ArchiveForm, EmptyListAndNullSnapshotAreShort) {
    CPrgAttachment observer;
    CPtrList items;
    EXPECT_EQ(Stored([&](CArchive& archive) { observer.StoreItems(items, archive); }).Bytes(),
              std::string(8, '\0'));
    EXPECT_EQ(Stored([&](CArchive& archive) { observer.StoreProgressInfo(archive); }).Bytes(),
              std::string(4, '\0'));
}

TEST(ArchiveForm, StopAndNullItemEndTheLoop) {
    TaskItemInfo item;
    CPtrList one;
    one.AddTail(&item);
    CPtrList broken;
    broken.AddTail(&item);
    broken.AddTail(static_cast<void*>(nullptr));
    broken.AddTail(&item);
    CPrgAttachment observer;
    const auto length = [&](CPtrList& items) {
        return Stored([&](CArchive& archive) { observer.StoreItems(items, archive); }).Length();
    };
    EXPECT_GT(length(one), 8U);
    EXPECT_EQ(length(broken), length(one));
    observer.m_bStop = 1;
    EXPECT_EQ(length(one), 8U);
}

TEST(ArchiveForm, SnapshotToTheByte) {
    CString file = _T("C:\\a");
    ProgresInfo info;
    info.m_nPercent = 99;
    info.m_nNowSent = 0x0102030405060708;
    info.m_nSpeed = 3;
    info.m_nAveSpeed = 4;
    info.m_nRemSec = -1;
    info.m_nLastPercent = 6;
    info.m_nBeginCount = 7;
    info.m_nLastCount = 8;
    info.m_nMillsecs = 0x01020304;
    info.m_nBarDone = 10;
    info.m_nBarTotal = 11;
    info.m_nByteSend = 12;
    info.m_pCurrentFile = &file;
    info.m_nState = ProgressStateSearching;
    CPrgAttachment observer;
    Stored stored([&](CArchive& archive) { observer.StoreProgressInfoEx(archive, &info); });
    EXPECT_EQ(ToHex(FromHex("01 00 00 00  63 00 00 00  08 07 06 05 04 03 02 01"
                            "03 00 00 00  04 00 00 00  FF FF FF FF  06 00 00 00"
                            "07 00 00 00  08 00 00 00  04 03 02 01"
                            "0A 00 00 00 00 00 00 00  0B 00 00 00 00 00 00 00  0C 00 00 00 00 00 00 00"
                            "FF FE FF 04 43 00 3A 00 5C 00 61 00  FF FE FF 00  04 00 00 00")),
              ToHex(stored.Bytes()));
}

TEST(ArchiveForm, BarStoresItsItemsInTransferAndItsWholeList) {
    TempTree tree{{"a", "1"}, {"b", "22"}};
    EngineStandIn engine;
    CPrgAttachment observer;
    CProgressBar bar;
    bar.AddAttachment(&observer);
    CStringList list;
    list.AddTail(CString(tree.Engine("a")));
    list.AddTail(CString(tree.Engine("b")));
    bar.AddFileList(list);
    EXPECT_EQ(Stored([&](CArchive& archive) { bar.SaveItemList(archive); }).Length(), 0U);
    bar.BeginFile(list.GetTail(), 0, 0);

    Stored inTransfer([&](CArchive& archive) { bar.SaveItemList(archive); });
    CArchive in(&inTransfer.File(), CArchive::load);
    __int64 count = 0;
    in >> count;
    EXPECT_EQ(count, 1);
    const StoredItem item = ReadItem(in);
    EXPECT_EQ(item.id, 1);
    EXPECT_EQ(item.name, _T("b"));

    Stored whole([&](CArchive& archive) { bar.SavePrgbarItemList(archive); });
    CArchive all(&whole.File(), CArchive::load);
    all >> count;
    EXPECT_EQ(count, 2);
    EXPECT_EQ(ReadItem(all).name, _T("a"));

    EXPECT_EQ(Stored([&](CArchive& archive) { bar.SaveProgressInfo(archive); }).Length(), 4U)
        << "no refresh yet";
    bar.SetState(ProgressStateSearching);
    EXPECT_GT(Stored([&](CArchive& archive) { bar.SaveProgressInfo(archive); }).Length(), 4U);
    CProgressBar other;  // shows itself to the same observer
    other.AddAttachment(&observer);
    other.SetPercent(77, _T(""));
    EXPECT_EQ(Stored([&](CArchive& archive) { bar.SaveProgressInfo(archive); }).Bytes(),
              Stored([&](CArchive& archive) { observer.StoreProgressInfoEx(archive, &bar.m_info); }).Bytes());
    other.RemoveAttachment(&observer);
    bar.RemoveAttachment(&observer);
}

TEST(ArchiveForm, ListThatWasTamperedWithStaysLocked) {
    CProgressBar bar;
    bar.m_items.AddTail(static_cast<void*>(nullptr));
    Stored([&](CArchive& archive) { bar.SavePrgbarItemList(archive); });
    EXPECT_EQ(WaitForObject(bar.m_hLock, 0), kWaitTimedOut);
    bar.m_items.RemoveAll();
}

}  // namespace

}  // namespace rampart::test
