#include "transferlib/mirror_folder.h"

#include <gtest/gtest.h>

#include <map>

#include "framework/case_folding.h"
#include "storage/name_folding.h"

namespace rampart {
namespace {

StoredRecord File(const std::string& name, int64_t size = 1) {
    StoredRecord record;
    record.name = name;
    record.size = size;
    record.modifiedTime = record.createdTime = 5;
    record.storedTime = 6;
    return record;
}

StoredRecord Folder(const std::string& name, int64_t id) {
    StoredRecord record;
    record.id = id;
    record.name = name;
    record.isFolder = true;
    return record;
}

std::string NameOf(const MirrorFolder& folder, uint32_t entry) {
    return entry == MirrorFolder::kNoEntry ? "" : platform::ToUtf8(folder.Name(entry));
}

TEST(MirrorFolder, TheExactNameComesBeforeOneInAnotherCase) {
    MirrorFolder folder(nullptr, 0);
    folder.Put(File("Readme"));
    folder.Put(File("README"));
    EXPECT_EQ(NameOf(folder, folder.Find(_T("Readme"), false)), "Readme");
    EXPECT_EQ(NameOf(folder, folder.Find(_T("README"), false)), "README");
    EXPECT_EQ(NameOf(folder, folder.Find(_T("reAdme"), false)), "README") << "the least name";
    folder.Put(File("readme"));
    EXPECT_EQ(NameOf(folder, folder.Find(_T("reAdme"), false)), "readme") << "the folded name";
    EXPECT_EQ(folder.Find(_T("readm"), false), MirrorFolder::kNoEntry);
    EXPECT_EQ(folder.Find(_T("readme"), true), MirrorFolder::kNoEntry) << "no folder";
}

// A name is looked for in the mirror first and by the service then.
TEST(MirrorFolder, NamesMeetHereAsTheyMeetInTheService) {
    for (uint32_t code = 1; code < 0x20000; ++code) {
        if (code >= 0xD800 && code < 0xE000) {
            continue;
        }
        const Text name = code < 0x10000 ? Text(1, static_cast<TCHAR>(code))
                                         : Text{static_cast<TCHAR>(0xD7C0 + (code >> 10)),
                                                static_cast<TCHAR>(0xDC00 + (code & 0x3FF))};
        ASSERT_EQ(platform::ToUtf8(FoldCase(name)), FoldCase(platform::ToUtf8(name))) << std::hex << code;
    }
}

TEST(MirrorFolder, HoldsTheSameAsAMapThroughManyChanges) {
    MirrorFolder folder(nullptr, 0);
    std::map<std::string, int64_t> expected;
    uint32_t random = 7;
    const auto next = [&](uint32_t below) {
        random = random * 1664525 + 1013904223;
        return (random >> 8) % below;
    };
    for (int step = 0; step < 20'000; ++step) {
        const std::string name = (next(2) != 0 ? "Name " : "nAME ") + std::to_string(next(300));
        const uint32_t entry = folder.FindExact(platform::FromUtf8(name));
        ASSERT_EQ(entry != MirrorFolder::kNoEntry, expected.contains(name));
        switch (next(3)) {
            case 0:
                folder.Put(File(name, step));
                expected[name] = step;
                break;
            case 1:
                if (entry != MirrorFolder::kNoEntry) {
                    folder.Remove(entry);
                    expected.erase(name);
                }
                break;
            default: {
                const std::string other = "other " + std::to_string(step);
                if (entry != MirrorFolder::kNoEntry) {
                    folder.Rename(entry, platform::FromUtf8(other));
                    expected[other] = expected.extract(name).mapped();
                }
            }
        }
    }
    std::map<std::string, int64_t> found;
    for (const uint32_t entry : folder.SortedEntries()) {
        StoredRecord record;
        folder.Read(entry, record);
        found[record.name] = record.size;
        EXPECT_EQ(folder.FindExact(folder.Name(entry)), entry);
    }
    EXPECT_EQ(found, expected);
}

TEST(MirrorFolder, WhatIsRareComesBackAndMovesWithItsEntry) {
    MirrorFolder folder(nullptr, 0);
    folder.Put(File("first"));
    StoredRecord odd = File("odd");
    odd.createdTime = 4;
    odd.description = "told";
    odd.flags = kRecordPartial;
    folder.Put(odd);
    StoredRecord named = Folder("named", 9);
    named.description = "named";
    folder.Put(named);
    folder.Remove(folder.FindExact(_T("first")));  // the last entry takes its place
    StoredRecord read;
    folder.Read(folder.FindExact(_T("odd")), read);
    EXPECT_EQ(read.createdTime, 4);
    EXPECT_EQ(read.description, "told");
    EXPECT_EQ(read.flags, kRecordPartial);
    folder.Rename(folder.FindExact(_T("named")), _T("renamed"));
    folder.Read(folder.FindExact(_T("renamed")), read);
    EXPECT_EQ(read.description, "named") << "a description stays when the name goes";
    EXPECT_EQ(read.id, 9);
}

TEST(MirrorFolder, AListingKeepsWhatIsKnownBelowAFolderThatIsStillTheSame) {
    MirrorFolder root(nullptr, 0);
    root.Put(Folder("kept", 10));
    root.Put(Folder("remade", 11));
    root.Child(root.FindExact(_T("kept")))->Put(File("inside"));
    root.Child(root.FindExact(_T("remade")))->Put(File("inside"));
    MirrorFolder listing(nullptr, 0);
    listing.Put(File("a new one"));
    listing.Put(Folder("kept", 10));
    listing.Put(Folder("remade", 12));
    root.TakeListing(listing);
    const MirrorFolder* const kept = root.Child(root.FindExact(_T("kept")));
    EXPECT_EQ(kept->Count(), 1u);
    EXPECT_EQ(kept->Path(), _T("\\kept"));
    EXPECT_EQ(root.Child(root.FindExact(_T("remade")))->Count(), 0u);
}

TEST(MirrorFolder, AMillionFilesFitIntoTheirRoom) {
    constexpr size_t kFolders = 500, kFiles = 200;
    constexpr size_t kMostBytesAFile = 150;
    MirrorFolder root(nullptr, 0);
    for (size_t i = 0; i < kFolders; ++i) {
        const std::string name = "folder number " + std::to_string(i);
        root.Put(Folder(name, static_cast<int64_t>(i) + 1));
        MirrorFolder listing(nullptr, 0);
        for (size_t j = 0; j < kFiles; ++j) {
            listing.Put(File("Document about subject " + std::to_string(j) + ".docx"));
        }
        MirrorFolder* const child = root.Child(root.FindExact(platform::FromUtf8(name)));
        child->TakeListing(listing);
        child->Put(File("one more.txt"));
    }
    EXPECT_LT(root.MemoryBytes() / (kFolders * (kFiles + 1)), kMostBytesAFile);
}

}  // namespace
}  // namespace rampart
