#include <gtest/gtest.h>

#include "progress/progress_bar.h"
#include "support/engine_stand_in.h"
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

TEST(ArchiveForm, ItemsCarryTheirFolder) {
    TaskItemInfo first;
    first.m_id = 3;
    first.m_strPath = _T("C:\\folder\\a.txt");
    first.m_nSize = 10;
    first.m_nDone = 5;
    first.m_nSeconds = 2;
    first.m_nRate = 4;
    first.m_nStatus = TaskItemInTransfer;
    TaskItemInfo second;
    second.m_strPath = _T("bare");
    CPtrList items;
    items.AddTail(&first);
    items.AddTail(&second);
    CPrgAttachment observer;
    Stored stored([&](CArchive& archive) { observer.StoreItems(items, archive); });
    CArchive in(&stored.File(), CArchive::load);
    __int64 count = 0;
    in >> count;
    EXPECT_EQ(count, 2);
    const StoredItem item = ReadItem(in);
    EXPECT_EQ(item.id, 3);
    EXPECT_EQ(item.folder, _T("C:\\folder"));
    EXPECT_EQ(item.name, _T("a.txt"));
    EXPECT_EQ(item.size, 10);
    EXPECT_EQ(item.done, 5);
    EXPECT_EQ(item.seconds, 2);
    EXPECT_EQ(item.rate, 4);
    EXPECT_EQ(item.status, 1);
    EXPECT_EQ(ReadItem(in).name, _T("bare"));
    BYTE more = 0;
    EXPECT_EQ(in.Read(&more, 1), 0U);
}

TEST(ArchiveForm, EmptyListAndNullSnapshotAreShort) {
    CPrgAttachment observer;
    CPtrList items;
    EXPECT_EQ(Stored([&](CArchive& archive) { observer.StoreItems(items, archive); }).Length(), 8U);
    EXPECT_EQ(Stored([&](CArchive& archive) { observer.StoreProgressInfo(archive); }).Length(), 4U);
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

TEST(ArchiveForm, SnapshotComesInTheOrderOfItsFields) {
    CString file = _T("C:\\a");
    ProgresInfo info;
    info.m_nPercent = 1;
    info.m_nNowSent = 2;
    info.m_nSpeed = 3;
    info.m_nAveSpeed = 4;
    info.m_nRemSec = 5;
    info.m_nLastPercent = 6;
    info.m_nBeginCount = 7;
    info.m_nLastCount = 8;
    info.m_nMillsecs = 9;
    info.m_nBarDone = 10;
    info.m_nBarTotal = 11;
    info.m_nByteSend = 12;
    info.m_pCurrentFile = &file;
    info.m_nState = ProgressStateSearching;
    CPrgAttachment observer;
    Stored stored([&](CArchive& archive) { observer.StoreProgressInfoEx(archive, &info); });
    CArchive in(&stored.File(), CArchive::load);
    const auto number = [&] {
        int32_t value = 0;
        in >> value;
        return value;
    };
    const auto wide = [&] {
        __int64 value = 0;
        in >> value;
        return value;
    };
    EXPECT_EQ(number(), 1);
    EXPECT_EQ(number(), 1);
    EXPECT_EQ(wide(), 2);
    for (int32_t expected = 3; expected <= 9; ++expected) {
        EXPECT_EQ(number(), expected);
    }
    for (__int64 expected = 10; expected <= 12; ++expected) {
        EXPECT_EQ(wide(), expected);
    }
    CString text;
    in >> text;
    EXPECT_EQ(text, file);
    in >> text;
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(number(), 4);
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
