// The bytes of packs and chunks, and the small rules about names and texts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "storage/name_folding.h"
#include "storage/pack_format.h"
#include "storage/task_text.h"
#include "storage/vault_files.h"

namespace rampart::test {
namespace {

TEST(ChunkCodec, KeepsOnlyCompressionThatGains) {
    std::string buffer;
    const std::string text = TextOf(100'000, 1);
    const Chunk small = EncodeChunk(text, buffer);
    EXPECT_EQ(small.flags, kChunkCompressed);
    EXPECT_LT(small.stored.size(), text.size() / 4);
    const std::string noise = NoiseOf(100'000, 1);
    std::string otherBuffer;
    const Chunk plain = EncodeChunk(noise, otherBuffer);
    EXPECT_EQ(plain.flags, 0u);
    EXPECT_EQ(plain.stored.data(), noise.data());
}

TEST(ChunkCodec, GivesNothingThatIsNotTheContent) {
    std::string buffer;
    std::string content;
    const Chunk good = EncodeChunk(TextOf(10'000, 1), buffer);
    ASSERT_TRUE(DecodeChunk(good, content));
    Chunk bad = good;
    bad.stored.remove_suffix(1);
    EXPECT_FALSE(DecodeChunk(bad, content));
    bad = good;
    bad.size += 1;
    EXPECT_FALSE(DecodeChunk(bad, content));
    bad.size = UINT32_MAX;
    EXPECT_FALSE(DecodeChunk(bad, content));
    bad = good;
    bad.digest = ComputeDigest("other");
    EXPECT_FALSE(DecodeChunk(bad, content));
    bad = good;
    bad.flags |= kChunkEncrypted;
    EXPECT_FALSE(DecodeChunk(bad, content));
    for (size_t i = 0; i < good.stored.size(); i += 7) {
        std::string changed(good.stored);
        changed[i] = static_cast<char>(changed[i] ^ 1);
        bad = good;
        bad.stored = changed;
        EXPECT_FALSE(DecodeChunk(bad, content)) << i;
    }
}

TEST(PackFormat, EntryTellsAboutItselfAndEveryChangedBitOfItsHeaderShows) {
    std::string pack = PackHeader();
    ASSERT_EQ(pack.size(), kPackHeaderBytes);
    ASSERT_TRUE(IsPackHeader(pack));
    const std::string content = "some content";
    AppendEntry({ComputeDigest(content), 12, 0, content}, pack);
    const std::string header = pack.substr(kPackHeaderBytes, kEntryHeaderBytes);
    const auto parsed = ParseEntryHeader(header);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->digest, ComputeDigest(content));
    EXPECT_EQ(parsed->storedSize, 12u);
    EXPECT_EQ(parsed->checksum, ComputeChecksum(content));
    for (size_t bit = 0; bit < header.size() * 8; ++bit) {
        std::string changed = header;
        changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
        EXPECT_FALSE(ParseEntryHeader(changed)) << bit;
    }
    EXPECT_FALSE(ParseEntryHeader(std::string_view(header).substr(1)));
    // A pack of today must be readable for good.
    EXPECT_EQ(ToHex(ComputeDigest("")), "0e5751c026e543b2e8ab2eb06099daa1d1e5df47778f7787faab45cdf12fe3a8");
    EXPECT_EQ(ComputeChecksum("rampart"), 16799574043074400900u);
}

TEST(NameFolding, MeetsNamesThatDifferInCaseOnly) {
    EXPECT_TRUE(EqualNoCase("README.txt", "readme.TXT"));
    EXPECT_TRUE(EqualNoCase("ÄÖÜ", "äöü"));
    EXPECT_TRUE(EqualNoCase("ΣΑΣ", "σας"));
    EXPECT_FALSE(EqualNoCase("ı", "i"));
    EXPECT_FALSE(EqualNoCase("a", "ä"));
    EXPECT_EQ(FoldCase("A\xED\xB2\x80\xFF"), "a\xED\xB2\x80\xFF");
}

TEST(ServerPath, SplitsWhateverTheBackslashes) {
    EXPECT_THAT(SplitServerPath("\\a\\\\b c\\"), testing::ElementsAre("a", "b c"));
    EXPECT_THAT(SplitServerPath("\\"), testing::IsEmpty());
    EXPECT_THAT(SplitServerPath("a\\b"), testing::ElementsAre("a", "b"));
    EXPECT_EQ(SplitLastName("\\a\\b\\").name, "b");
    EXPECT_EQ(SplitLastName("\\a\\b\\").folder, "\\a");
    EXPECT_EQ(SplitLastName("\\a").folder, "");
    EXPECT_EQ(SplitLastName("\\").name, "");
    EXPECT_EQ(JoinServerPath("\\", "a"), "\\a");
    EXPECT_EQ(JoinServerPath("\\a", "b"), "\\a\\b");
}

TEST(TaskText, PercentFormBringsEveryByteBack) {
    std::string all;
    for (int i = 0; i < 256; ++i) {
        all.push_back(static_cast<char>(i));
    }
    EXPECT_EQ(PercentDecode(PercentEncode(all)), all);
    EXPECT_EQ(PercentDecode("100%"), "100%");
    EXPECT_EQ(PercentDecode("%zz%4"), "%zz%4");
    EXPECT_EQ(PercentDecode("a+b%2b"), "a+b+");
}

TEST(TaskText, ATaskIsThatOfItsOwnRequestWhenAKeyComesTwice) {
    TaskRequest request;
    ASSERT_TRUE(ParseTaskRequest("TaskID=1&ComputerID=7&TaskName=a&ComputerID=8&TaskID=2&", request));
    const std::string columns = PackTaskColumns(request);
    EXPECT_TRUE(IsSameTask(columns, request));
    TaskRequest last, first;
    ASSERT_TRUE(ParseTaskRequest("TaskID=2&ComputerID=8&TaskName=a&", last));
    ASSERT_TRUE(ParseTaskRequest("TaskID=1&ComputerID=7&TaskName=a&", first));
    EXPECT_TRUE(IsSameTask(columns, last));
    EXPECT_FALSE(IsSameTask(columns, first));
}

TEST(FixedChunker, CutsTheSameHoweverTheBytesArrive) {
    const auto chunker = MakeFixedChunker(10);
    EXPECT_EQ(chunker->NextCut("123456789", false), 0u);
    EXPECT_EQ(chunker->NextCut("123456789", true), 9u);
    EXPECT_EQ(chunker->NextCut("1234567890a", false), 10u);
    EXPECT_EQ(chunker->NextCut("", true), 0u);
}

}  // namespace
}  // namespace rampart::test
