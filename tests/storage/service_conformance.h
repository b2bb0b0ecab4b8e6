// What every implementation of StorageService must do. Included by one file of a test program, which
// instantiates ServiceConformance with its way to a new, empty service.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "storage/account_settings.h"
#include "storage/vault_files.h"

namespace rampart::test {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// `folder` is for whatever the service keeps; it outlives the service.
using ServiceFactory = std::function<std::unique_ptr<StorageService>(const TempFolder& folder)>;

class ServiceConformance : public testing::TestWithParam<ServiceFactory> {
protected:
    void SetUp() override {
        service = GetParam()(folder);
        ASSERT_TRUE(service);
    }
    StoredRecord Find(const std::string& path) {
        StoredRecord record;
        ExpectOk(service->FindRecord(path, record));
        return record;
    }
    int CodeOfFind(const std::string& path) {
        StoredRecord record;
        return service->FindRecord(path, record).code;
    }
    std::vector<std::string> NamesIn(const std::string& path) {
        std::vector<std::string> names;
        int64_t sequence = 0;
        ExpectOk(service->ListFolder(
            path,
            [&](const StoredRecord& record) {
                names.push_back(record.name);
                return true;
            },
            sequence));
        return names;
    }

    TempFolder folder;
    std::unique_ptr<StorageService> service;
};

TEST_P(ServiceConformance, LogonOpensASession) {
    EXPECT_EQ(service->Session().sessionId, "");
    ExpectOk(service->Logon("me", "secret"));
    const SessionInfo session = service->Session();
    EXPECT_NE(session.sessionId, "");
    EXPECT_NE(session.customerId, "");
    EXPECT_EQ(session.userName, "me");
}

TEST_P(ServiceConformance, ContentComesBackByteForByte) {
    const std::map<std::string, std::string> files = {
        {"\\empty", ""},
        {"\\one", "x"},
        {"\\text.txt", TextOf(50'000, 1)},
        {"\\noise.bin", NoiseOf(70'001, 2)},
        {"\\big.bin", TextOf(2'500'000, 3) + NoiseOf(1'200'000, 4)},
    };
    for (const auto& [path, content] : files) {
        ExpectOk(StoreFile(*service, path, content));
    }
    for (const auto& [path, content] : files) {
        ExpectContent(*service, path, content);
    }
    ExpectSound(*service);
}

TEST_P(ServiceConformance, RecordTellsWhatWasStored) {
    MakeFolder(*service, "\\Docs");
    FileCommit file;
    ExpectOk(SendContent(*service, "\\Docs\\a.txt", "hello", file));
    file.description = "a note";
    file.createdTime = kNoTime;
    file.flags = kRecordHidden;
    std::vector<int64_t> ids;
    ExpectOk(service->CommitFiles({&file, 1}, ids));

    const StoredRecord record = Find("\\Docs\\a.txt");
    ASSERT_THAT(ids, ElementsAre(record.id));
    EXPECT_GT(record.id, 1'000'000);
    EXPECT_EQ(record.name, "a.txt");
    EXPECT_FALSE(record.isFolder);
    EXPECT_EQ(record.size, 5);
    EXPECT_EQ(record.modifiedTime, kSomeTime);
    EXPECT_EQ(record.createdTime, kNoTime);
    EXPECT_NE(record.storedTime, kNoTime);
    EXPECT_EQ(record.flags, kRecordHidden);
    EXPECT_EQ(record.description, "a note");
    EXPECT_TRUE(Find("\\Docs").isFolder);
    EXPECT_TRUE(Find("\\").isFolder);
    EXPECT_EQ(CodeOfFind("\\Docs\\b.txt"), kNotFound);
    EXPECT_EQ(CodeOfFind("\\Docs\\a.txt\\below"), kNotFound);
}

TEST_P(ServiceConformance, SealedFileKeepsItsHeaderAndSize) {
    FileCommit file;
    ExpectOk(SendContent(*service, "\\sealed", "cipher text with a tag", file));
    file.flags = kRecordEncrypted;
    file.size = 128 + 5;
    file.sealedHeader = NoiseOf(128, 9);
    std::vector<int64_t> ids;
    ExpectOk(service->CommitFiles({&file, 1}, ids));
    FileContent content;
    ExpectOk(service->OpenFile("\\sealed", content));
    EXPECT_EQ(content.sealedHeader, file.sealedHeader);
    EXPECT_EQ(content.record.size, 133);
    EXPECT_EQ(content.record.flags, kRecordEncrypted);
}

TEST_P(ServiceConformance, EqualContentIsStoredOnce) {
    const std::string content = NoiseOf(300'000, 5);
    ExpectOk(StoreFile(*service, "\\a", content));
    ServiceStatistics before;
    ExpectOk(service->Statistics(before));
    ExpectOk(StoreFile(*service, "\\b", content));
    ServiceStatistics after;
    ExpectOk(service->Statistics(after));
    EXPECT_EQ(after.files, before.files + 1);
    EXPECT_EQ(after.chunks, before.chunks);
    EXPECT_EQ(after.packBytes, before.packBytes);
}

TEST_P(ServiceConformance, ReplacedFileKeepsItsIdAndShowsOnlyTheNewContent) {
    ExpectOk(StoreFile(*service, "\\a", "old"));
    const int64_t id = Find("\\a").id;
    ExpectOk(StoreFile(*service, "\\a", "newer"));
    EXPECT_EQ(Find("\\a").id, id);
    EXPECT_EQ(Find("\\").subItemCount, 1);
    ExpectContent(*service, "\\a", "newer");
}

TEST_P(ServiceConformance, NamesThatDifferInCaseAreTwoRecords) {
    MakeFolder(*service, "\\Docs");
    ExpectOk(StoreFile(*service, "\\Docs\\Readme", "upper"));
    ExpectOk(StoreFile(*service, "\\DOCS\\readme", "lower"));
    EXPECT_THAT(NamesIn("\\Docs"), ElementsAre("Readme", "readme"));
    ExpectContent(*service, "\\Docs\\Readme", "upper");
    ExpectContent(*service, "\\docs\\readme", "lower");
    const std::vector<std::string> gone{"\\Docs\\README", "\\Docs\\readme"};
    ExpectOk(service->Delete(gone, {}));
    EXPECT_EQ(Find("\\docs\\README").name, "Readme");
    MakeFolder(*service, "\\docs");
    EXPECT_THAT(NamesIn("\\docs"), IsEmpty());
    EXPECT_THAT(NamesIn("\\Docs"), ElementsAre("Readme"));
}

TEST_P(ServiceConformance, AnyNameOfAFileComesBack) {
    const std::vector<std::string> names = {
        "ÄÖ ß.txt", "\xED\xB2\x80\xED\xB3\xBF", "日本語", "a%b=c&d",
        "Στίγμας",  std::string(1000, 'n'),     " blank", "-",
    };
    for (const std::string& name : names) {
        ExpectOk(StoreFile(*service, "\\" + name, name));
    }
    for (const std::string& name : names) {
        EXPECT_EQ(Find("\\" + name).name, name);
        ExpectContent(*service, "\\" + name, name);
    }
    EXPECT_EQ(Find("\\äÖ ß.TXT").name, "ÄÖ ß.txt");
    EXPECT_EQ(Find("\\ΣΤΊΓΜΑΣ").name, "Στίγμας");
}

TEST_P(ServiceConformance, NamesThatWouldEscapeAreRefused) {
    using namespace std::string_literals;
    for (const std::string& name : {""s, "."s, ".."s, "a/b"s, "a\\b"s, "a\0b"s}) {
        FileCommit file;
        file.folder = "\\";
        file.name = name;
        std::vector<int64_t> ids;
        EXPECT_EQ(service->CommitFiles({&file, 1}, ids).code, kInvalidRequest) << name;
        ExpectOk(StoreFile(*service, "\\ok", ""));
        EXPECT_EQ(service->Rename("\\ok", name).code, kInvalidRequest) << name;
    }
    EXPECT_THAT(NamesIn("\\"), ElementsAre("ok"));
}

TEST_P(ServiceConformance, FoldersAreMadeOneLevelAtATime) {
    int64_t id = 0;
    EXPECT_EQ(service->CreateFolder("\\a\\b", "", 0, id).code, kNotFound);
    ExpectOk(service->CreateFolder("\\a", "first", kRecordHidden, id));
    EXPECT_EQ(Find("\\a").description, "first");
    EXPECT_EQ(Find("\\a").flags, kRecordHidden);
    int64_t again = 0;
    const ServiceResult second = service->CreateFolder("\\a", "second", 0, again);
    ExpectOk(second);
    EXPECT_EQ(second.sequence, 0);
    EXPECT_EQ(again, id);
    ExpectOk(StoreFile(*service, "\\file", ""));
    EXPECT_EQ(service->CreateFolder("\\file", "", 0, id).code, kNameTaken);
    EXPECT_EQ(StoreFile(*service, "\\a", "x").code, kNameTaken);
}

TEST_P(ServiceConformance, RenamedFolderTakesItsTreeAlong) {
    MakeFolder(*service, "\\a");
    MakeFolder(*service, "\\a\\b");
    ExpectOk(StoreFile(*service, "\\a\\b\\file", "content"));
    const int64_t id = Find("\\a\\b").id;
    ExpectOk(service->Rename("\\a", "A new name"));
    EXPECT_EQ(CodeOfFind("\\a"), kNotFound);
    EXPECT_EQ(Find("\\A new name\\b").id, id);
    ExpectContent(*service, "\\A new name\\b\\file", "content");
    ExpectOk(service->Rename("\\a new NAME", "a new name"));
    EXPECT_THAT(NamesIn("\\"), ElementsAre("a new name"));
    MakeFolder(*service, "\\other");
    EXPECT_EQ(service->Rename("\\other", "a new name").code, kNameTaken);
    EXPECT_EQ(service->Rename("\\nothing", "x").code, kNotFound);
    EXPECT_EQ(service->Rename("\\", "x").code, kInvalidRequest);
}

TEST_P(ServiceConformance, DeletedFolderGoesWithAllBelowIt) {
    for (const char* path : {"\\a", "\\a\\b", "\\a\\b\\c", "\\keep"}) {
        MakeFolder(*service, path);
    }
    ExpectOk(StoreFile(*service, "\\a\\b\\c\\file", "x"));
    ExpectOk(StoreFile(*service, "\\keep\\file", "x"));
    const std::vector<std::string> paths{"\\a", "\\never\\was", "\\keep\\nothing"};
    ExpectOk(service->Delete(paths, {}));
    EXPECT_THAT(TreeOf(*service),
                ElementsAre(testing::Pair("\\keep\\", -1), testing::Pair("\\keep\\file", 1)));
    ExpectSound(*service);
}

// A folder that is gone already is not its namesake in another case.
TEST_P(ServiceConformance, DeletingNamesEachFolderExactly) {
    MakeFolder(*service, "\\Docs");
    ExpectOk(StoreFile(*service, "\\Docs\\f", "x"));
    MakeFolder(*service, "\\docs");
    ExpectOk(StoreFile(*service, "\\docs\\f", "y"));
    const std::vector<std::string> paths{"\\Docs", "\\Docs\\f"};
    ExpectOk(service->Delete(paths, {}));
    EXPECT_THAT(TreeOf(*service), ElementsAre(testing::Pair("\\docs\\", -1), testing::Pair("\\docs\\f", 1)));
}

TEST_P(ServiceConformance, DeletingStopsWhenItIsCancelled) {
    const std::vector<std::string> paths{"\\a", "\\b", "\\c"};
    for (const std::string& path : paths) {
        ExpectOk(StoreFile(*service, path, path));
    }
    EXPECT_EQ(service->Delete(paths, [](size_t done) { return done < 2; }).code, kCancelled);
    EXPECT_THAT(NamesIn("\\"), ElementsAre("c"));
}

TEST_P(ServiceConformance, CopyKeepsTimesAndContent) {
    MakeFolder(*service, "\\history");
    ExpectOk(StoreFile(*service, "\\a", "first"));
    int64_t id = 0;
    const int64_t firstStored = Find("\\a").storedTime;
    ExpectOk(service->CopyFile("\\a", "\\history", "", id));
    ExpectOk(StoreFile(*service, "\\a", "second"));
    EXPECT_EQ(Find("\\history\\a").storedTime, firstStored);
    EXPECT_GT(Find("\\a").storedTime, firstStored);
    const StoredRecord copy = Find("\\history\\a");
    EXPECT_EQ(copy.id, id);
    EXPECT_EQ(copy.modifiedTime, kSomeTime);
    EXPECT_EQ(copy.createdTime, kSomeTime);
    ExpectContent(*service, "\\history\\a", "first");
    ExpectOk(service->CopyFile("\\a", "\\history", "a", id));
    EXPECT_EQ(Find("\\history").subItemCount, 1);
    ExpectContent(*service, "\\history\\a", "second");
    ExpectOk(service->CopyFile("\\a", "\\history", "a1", id));
    EXPECT_EQ(Find("\\history").subItemCount, 2);
    EXPECT_EQ(service->CopyFile("\\history", "\\", "x", id).code, kInvalidRequest);
    EXPECT_EQ(service->CopyFile("\\a", "\\", "history", id).code, kNameTaken);
    EXPECT_EQ(service->CopyFile("\\a", "\\nowhere", "", id).code, kNotFound);
    ExpectSound(*service);
}

TEST_P(ServiceConformance, AttributesAreKeptWithTheFileAndChangedWithoutIt) {
    MakeFolder(*service, "\\docs");
    FileCommit file;
    ExpectOk(SendContent(*service, "\\docs\\a", "content", file));
    file.changeTime = 5;
    file.attributes = "rights of a";
    std::vector<int64_t> ids;
    ExpectOk(service->CommitFiles({&file, 1}, ids));
    const StoredRecord first = Find("\\docs\\a");
    EXPECT_EQ(first.changeTime, 5);
    std::string bytes;
    ExpectOk(service->ReadAttributes(first.attributes, bytes));
    EXPECT_EQ(bytes, "rights of a");
    EXPECT_EQ(service->ReadAttributes(12345, bytes).code, kNotFound);

    int64_t before = 0;
    ExpectOk(service->ChangeSequence(before));
    const AttributeCommit commits[] = {{"\\docs", "a", ids[0], 9, 6, "other rights"},
                                       {"\\", "docs", 0, 9, 7, "rights of a"},
                                       {"\\docs", "a", ids[0] + 1, 9, 8, "of another record"},
                                       {"\\docs", "missing", 0, 9, 8, "x"}};
    ExpectOk(service->SetAttributes(commits));
    const StoredRecord second = Find("\\docs\\a");
    EXPECT_EQ(second.changeTime, 6);
    EXPECT_EQ(second.modifiedTime, kSomeTime);
    EXPECT_EQ(second.storedTime, first.storedTime);
    ExpectOk(service->ReadAttributes(second.attributes, bytes));
    EXPECT_EQ(bytes, "other rights");
    ExpectContent(*service, "\\docs\\a", "content");
    const StoredRecord docs = Find("\\docs");
    EXPECT_EQ(docs.modifiedTime, 9);
    EXPECT_EQ(docs.attributes, first.attributes);
    std::vector<std::string> changed;
    bool tooMany = false;
    int64_t sequence = 0;
    ExpectOk(service->ChangedFolders(before, 10, changed, tooMany, sequence));
    EXPECT_THAT(changed, UnorderedElementsAre("\\", "\\docs"));

    int64_t id = 0;
    ExpectOk(service->CopyFile("\\docs\\a", "\\", "b", id));
    EXPECT_EQ(Find("\\b").attributes, second.attributes);
    EXPECT_EQ(Find("\\b").changeTime, 6);
}

TEST_P(ServiceConformance, WhatIsGoneIsMarkedWithAllBelowItUntilItIsStoredAgain) {
    MakeFolder(*service, "\\docs");
    MakeFolder(*service, "\\docs\\deep");
    ExpectOk(StoreFile(*service, "\\docs\\deep\\a", "x"));
    ExpectOk(StoreFile(*service, "\\docs\\early", "x"));
    const std::vector<std::string> early{"\\docs\\early"};
    ExpectOk(service->MarkGone(early, 10));
    const std::vector<std::string> gone{"\\docs", "\\never"};
    ExpectOk(service->MarkGone(gone, 20));
    for (const char* path : {"\\docs", "\\docs\\deep", "\\docs\\deep\\a"}) {
        EXPECT_EQ(Find(path).goneTime, 20) << path;
        EXPECT_TRUE((Find(path).flags & kRecordGone) != 0) << path;
    }
    EXPECT_EQ(Find("\\docs\\early").goneTime, 10);
    ExpectContent(*service, "\\docs\\deep\\a", "x");
    ExpectOk(StoreFile(*service, "\\docs\\deep\\a", "y"));
    EXPECT_EQ(Find("\\docs\\deep\\a").flags, 0u);
    EXPECT_EQ(service->MarkGone(gone, 30).sequence, 0) << "it is gone already";
}

TEST_P(ServiceConformance, CommitIsAllOrNothing) {
    MakeFolder(*service, "\\a");
    FileCommit good;
    ExpectOk(SendContent(*service, "\\a\\good", "good", good));
    FileCommit missing = good;
    missing.name = "missing";
    missing.chunks[0].digest = ComputeDigest("never sent");
    FileCommit nowhere = good;
    nowhere.folder = "\\nowhere";
    FileCommit wrongSize = good;
    wrongSize.size = 5;
    FileCommit wrongChunk = good;
    wrongChunk.chunks[0].size = 7;
    wrongChunk.size = 7;
    const std::vector<std::pair<FileCommit, int>> faults = {{missing, kContentMissing},
                                                            {nowhere, kNotFound},
                                                            {wrongSize, kInvalidRequest},
                                                            {wrongChunk, kInvalidRequest}};
    std::vector<int64_t> ids;
    for (const auto& [bad, code] : faults) {
        const std::vector<FileCommit> files{good, bad};
        EXPECT_EQ(service->CommitFiles(files, ids).code, code);
        EXPECT_THAT(NamesIn("\\a"), IsEmpty());
    }
    ExpectOk(service->CommitFiles({&good, 1}, ids));
    ExpectContent(*service, "\\a\\good", "good");
    ExpectSound(*service);
}

TEST_P(ServiceConformance, UploadUnderWayShowsAsPartAndResumes) {
    const std::string content = NoiseOf(3 << 20, 6);
    FileCommit first;
    ExpectOk(SendContent(*service, "\\movie", content.substr(0, 2 << 20), first));
    ExpectOk(service->RecordProgress("\\", "movie", 1 << 20, kSomeTime));
    ExpectOk(service->RecordProgress("\\", "movie", 2 << 20, kSomeTime));
    EXPECT_EQ(Find("\\movie.part").size, 2 << 20);
    EXPECT_TRUE((Find("\\movie.part").flags & kRecordPartial) != 0);
    EXPECT_EQ(CodeOfFind("\\movie"), kNotFound);
    FileContent opened;
    EXPECT_EQ(service->OpenFile("\\movie.part", opened).code, kInvalidRequest);

    std::vector<uint8_t> known;
    const std::vector<Digest> digests{first.chunks[0].digest, first.chunks[1].digest, ComputeDigest("other")};
    ExpectOk(service->HasChunks(digests, known));
    EXPECT_THAT(known, ElementsAre(1, 1, 0));
    ExpectOk(StoreFile(*service, "\\movie", content));
    EXPECT_THAT(NamesIn("\\"), ElementsAre("movie"));
    EXPECT_EQ(Find("\\").subItemCount, 1);
    ExpectContent(*service, "\\movie", content);
}

TEST_P(ServiceConformance, WholeFileNamedPartIsNoUploadUnderWay) {
    ExpectOk(StoreFile(*service, "\\a.part", "mine"));
    ExpectOk(service->RecordProgress("\\", "a", 100, kSomeTime));
    ExpectContent(*service, "\\a.part", "mine");
    ExpectOk(StoreFile(*service, "\\a", "whole"));
    ExpectContent(*service, "\\a.part", "mine");
    ExpectOk(service->RecordProgress("\\", "b", 100, kSomeTime));
    ExpectOk(StoreFile(*service, "\\b.part", "a whole file now"));
    ExpectContent(*service, "\\b.part", "a whole file now");
    ExpectSound(*service);
}

TEST_P(ServiceConformance, ChangesAreToldFolderByFolder) {
    MakeFolder(*service, "\\a");
    MakeFolder(*service, "\\b");
    int64_t start = 0;
    ExpectOk(service->ChangeSequence(start));
    ExpectOk(StoreFile(*service, "\\a\\file", "x"));
    ExpectOk(service->Rename("\\b", "c"));
    int64_t now = 0;
    ExpectOk(service->ChangeSequence(now));
    EXPECT_EQ(now, start + 2);
    std::vector<std::string> folders;
    bool tooMany = true;
    int64_t told = 0;
    ExpectOk(service->ChangedFolders(start, 10, folders, tooMany, told));
    EXPECT_FALSE(tooMany);
    EXPECT_EQ(told, now);
    EXPECT_THAT(folders, UnorderedElementsAre("\\", "\\a"));
    ExpectOk(service->ChangedFolders(start, 1, folders, tooMany, told));
    EXPECT_TRUE(tooMany);
    ExpectOk(service->ChangedFolders(now, 10, folders, tooMany, told));
    EXPECT_THAT(folders, IsEmpty());
    int64_t listed = 0;
    ExpectOk(service->ListFolder(
        "\\a", [](const StoredRecord&) { return true; }, listed));
    EXPECT_EQ(listed, now);
}

TEST_P(ServiceConformance, WholeTreeIsListedParentsFirst) {
    for (const char* path : {"\\a", "\\a\\x", "\\b"}) {
        MakeFolder(*service, path);
    }
    ExpectOk(StoreFile(*service, "\\a\\x\\file", "abc"));
    std::vector<std::string> folders;
    int64_t sequence = 0;
    const FolderVisitor visit = [&](const std::string& path, const StoredRecord& folder,
                                    std::span<const StoredRecord> records) {
        EXPECT_EQ(folder.subItemCount, static_cast<int64_t>(records.size()));
        folders.push_back(path);
        return true;
    };
    ExpectOk(service->ListTree("\\", visit, sequence));
    EXPECT_THAT(folders, ElementsAre("\\", "\\a", "\\a\\x", "\\b"));
    folders.clear();
    ExpectOk(service->ListTree("\\A", visit, sequence));
    EXPECT_THAT(folders, ElementsAre("\\a", "\\a\\x"));
    EXPECT_EQ(service->ListTree("\\none", visit, sequence).code, kNotFound);
}

TEST_P(ServiceConformance, QuotaIsKept) {
    ExpectOk(service->SetSetting(account_setting::kQuotaBytes.name, "200000"));
    ExpectOk(StoreFile(*service, "\\a", NoiseOf(150'000, 7)));
    EXPECT_EQ(StoreFile(*service, "\\b", NoiseOf(60'000, 8)).code, kNoSpace);
    AccountSpace space;
    ExpectOk(service->Space(space));
    EXPECT_EQ(space.totalBytes, 200000);
    EXPECT_GE(space.usedBytes, 150'000);
    ExpectOk(service->SetSetting(account_setting::kQuotaBytes.name, ""));
    ExpectOk(StoreFile(*service, "\\b", NoiseOf(60'000, 8)));
    ExpectOk(service->Space(space));
    EXPECT_GT(space.totalBytes, space.usedBytes + space.otherBytes);
}

TEST_P(ServiceConformance, LimitsAreSettingsOfTheAccount) {
    AccountLimits limits;
    ExpectOk(service->Limits(limits));
    EXPECT_EQ(limits.batchBytes, account_setting::kBatchBytes.fallback);
    EXPECT_FALSE(limits.parallelTransfer);
    ExpectOk(service->SetSetting(account_setting::kMaxItemsOfTask.name, "7"));
    ExpectOk(service->SetSetting(account_setting::kParallelTransfer.name, "1"));
    ExpectOk(service->SetSetting(account_setting::kFileFilter, "|*.tmp"));
    ExpectOk(service->Limits(limits));
    EXPECT_EQ(limits.maxItemsOfTask, 7);
    EXPECT_TRUE(limits.parallelTransfer);
    EXPECT_EQ(limits.fileFilter, "|*.tmp");
}

TEST_P(ServiceConformance, TaskRowComesBackInTheReplyForm) {
    ExpectOk(service->StoreTask(
        "TaskID=0&ComputerID=-7&TaskName=My%20T%C3%A4sk&Descr=&PcName=pc%3D1&Type=1&BackupDate=2024-01-31%"
        "2008%3A05%3A00&"
        "ServerPath=%5Cb&LogFilePath=x&FilterExts=%7Ctmp&FilterPaths=&MaxVersion=10&NextDate=&BeginDate=&"
        "EndDate=&"
        "ResumeDate=&ModifyTime=2024-12-01%2023%3A59%3A59&RemoteSize=5&IsResume=0&Upgraded=1&FilterType=0&"
        "OldTaskName=My%20T%C3%A4sk&status=8&AdvancedOption=2&Action=Add&"
        "Path0=C%3A%5Ca%26b&Serial0=4000000000&IsFolder0=1&Action0=0&localPathNum=1&"));
    std::string reply;
    ExpectOk(service->QueryTasks("my tÄsk", false, reply));
    EXPECT_EQ(reply,
              "RETURN_TaskID=1\nRETURN_PcID=-7\nRETURN_TaskName=My%20T%C3%A4sk\nRETURN_Descr=\nRETURN_PcName="
              "pc%3D1\n"
              "RETURN_Type=1\nRETURN_BackupDate=1%2F31%2F2024%208%3A5%3A0\nRETURN_ServerPath=%5Cb\n"
              "RETURN_LogFilePath=x\nRETURN_FilterExts=%7Ctmp\nRETURN_FilterPaths=\nETURN_MaxVersion=10\n"
              "RETURN_NextDate=\nRETURN_BeginDate=\nRETURN_EndDate=\nRETURN_ResumeDate=\n"
              "RETURN_ModifyTime=12%2F1%2F2024%2023%3A59%3A59\nRETURN_RemoteSize=5\nRETURN_IsResume=0\n"
              "RETURN_FilterType=0\nRETURN_Status=8\nRETURN_AdvancedOption=2\n");
    ExpectOk(service->QueryTasks("My Täsk", true, reply));
    EXPECT_EQ(reply, "RETURN_Path=C%3A%5Ca%26b\nRETURN_Serial=4000000000\nRETURN_IsFolder=1\n");
    ExpectOk(service->QueryTasks("another", false, reply));
    EXPECT_EQ(reply, "");
}

TEST_P(ServiceConformance, TaskIsEditedRenamedAndDeleted) {
    const auto request = [](const std::string& name, const std::string& old, const std::string& action,
                            const std::string& paths) {
        return "TaskID=5&ComputerID=1&TaskName=" + name + "&OldTaskName=" + old + "&Action=" + action + "&" +
               paths;
    };
    ExpectOk(service->StoreTask(request(
        "one", "one", "Add",
        "Path0=a&Serial0=1&IsFolder0=0&Action0=0&Path1=b&Serial1=1&IsFolder1=0&Action1=0&localPathNum=2&")));
    ExpectOk(service->StoreTask(request("two", "two", "Add", "localPathNum=0&")));
    ExpectOk(service->StoreTask(
        request("ONE renamed", "ONE", "Edit",
                "Path0=a&Action0=1&Path1=c&Serial1=2&IsFolder1=1&Action1=0&localPathNum=2&")));
    std::vector<std::string> names;
    ExpectOk(service->TaskNames(names));
    EXPECT_THAT(names, ElementsAre("ONE renamed", "two"));
    std::string reply;
    ExpectOk(service->QueryTasks("one renamed", true, reply));
    EXPECT_EQ(reply,
              "RETURN_Path=b\nRETURN_Serial=1\nRETURN_IsFolder=0\nRETURN_Path=c\nRETURN_Serial=2\nRETURN_"
              "IsFolder=1\n");
    EXPECT_EQ(service->StoreTask(request("two", "ONE renamed", "Edit", "")).code, kNameTaken);
    EXPECT_EQ(service->StoreTask(request("unknown", "unknown", "Edit", "")).code, kNotFound);
    // Sent twice it is the same; of another task or machine it would take the name away.
    ExpectOk(service->StoreTask(request("two", "two", "Add", "")));
    for (const char* const stranger : {"TaskID=6&ComputerID=1&", "TaskID=5&ComputerID=2&"}) {
        EXPECT_EQ(service->StoreTask(std::string(stranger) + "TaskName=Two&Action=Add&").code, kNameTaken);
    }
    ExpectOk(service->DeleteTask("TWO"));
    ExpectOk(service->DeleteTask("two"));
    ExpectOk(service->TaskNames(names));
    EXPECT_THAT(names, ElementsAre("ONE renamed"));
    EXPECT_EQ(service->StoreTask("Descr=no name&Action=Add&").code, kInvalidRequest);
    EXPECT_EQ(service->StoreTask(request("short", "short", "Add", "Path0=a&localPathNum=2&")).code,
              kInvalidRequest);
}

TEST_P(ServiceConformance, ManyThreadsUploadAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kFiles = 40;
    for (int t = 0; t < kThreads; ++t) {
        MakeFolder(*service, "\\" + std::to_string(t));
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kFiles; ++i) {
                const std::string path = "\\" + std::to_string(t) + "\\" + std::to_string(i);
                // Neighbouring threads send equal content.
                ExpectOk(StoreFile(*service, path, NoiseOf(20'000, static_cast<uint32_t>(i + t / 2))));
                int64_t sequence = 0;
                ExpectOk(service->ListFolder(
                    "\\", [](const StoredRecord&) { return true; }, sequence));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(NamesIn("\\" + std::to_string(t)).size(), size_t{kFiles});
        ExpectContent(*service, "\\" + std::to_string(t) + "\\7",
                      NoiseOf(20'000, static_cast<uint32_t>(7 + t / 2)));
    }
    ExpectSound(*service);
}

}  // namespace rampart::test
