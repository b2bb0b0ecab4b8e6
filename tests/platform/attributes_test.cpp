// The stored form of attributes.
#include "platform/attributes.h"

#include <gtest/gtest.h>

#include <random>

namespace rampart::platform {
namespace {

Attributes Sample() {
    Attributes attributes;
    attributes.mode = 0100640;
    attributes.owner = 1000;
    attributes.group = 4'000'000'000;
    attributes.ownerName = "jörg";
    attributes.groupName = "users";
    attributes.extended = {{"user.note", std::string("a\0b", 3)}, {"user.empty", ""}};
    attributes.linkVolume = 0x1234567890ABCDEF;
    attributes.linkFile = 1;
    attributes.isSparse = true;
    attributes.creationTime = -1;
    attributes.streams = {{":Zone.Identifier", std::string(300, 'z')}};
    return attributes;
}

TEST(AttributeForm, ComesBackWhole) {
    Attributes read;
    ASSERT_TRUE(DecodeAttributes(EncodeAttributes(Sample()), read));
    EXPECT_EQ(read.mode, 0100640u);
    EXPECT_EQ(read.owner, 1000u);
    EXPECT_EQ(read.group, 4'000'000'000u);
    EXPECT_EQ(read.ownerName, "jörg");
    EXPECT_EQ(read.linkVolume, 0x1234567890ABCDEFu);
    EXPECT_TRUE(read.isSparse);
    EXPECT_EQ(read.creationTime, -1);
    EXPECT_EQ(read.streams, Sample().streams);
    ASSERT_EQ(read.extended.size(), 2u);
    EXPECT_EQ(read.extended[1].second, std::string("a\0b", 3));
}

// The bytes are compared and stored once, so the order in which a system lists its attributes must not show.
TEST(AttributeForm, IsTheSameForEqualAttributes) {
    Attributes other = Sample();
    std::swap(other.extended[0], other.extended[1]);
    EXPECT_EQ(EncodeAttributes(other), EncodeAttributes(Sample()));
    other.mode = 0100600;
    EXPECT_NE(EncodeAttributes(other), EncodeAttributes(Sample()));
}

TEST(AttributeForm, DamagedBytesAreRefusedAndUnknownFieldsPassedOver) {
    const std::string bytes = EncodeAttributes(Sample());
    Attributes read;
    std::mt19937 random(7);
    for (size_t length = 0; length < bytes.size(); ++length) {
        DecodeAttributes(std::string_view(bytes).substr(0, length), read);
        std::string flipped = bytes;
        flipped[random() % flipped.size()] ^= static_cast<char>(1 << random() % 8);
        DecodeAttributes(flipped, read);  // whatever it says, it stays inside the bytes
    }
    EXPECT_FALSE(DecodeAttributes("", read));
    EXPECT_FALSE(DecodeAttributes(std::string_view(bytes).substr(0, bytes.size() - 1), read));
    EXPECT_FALSE(DecodeAttributes("\x02" + bytes.substr(1), read)) << "a later form";
    EXPECT_TRUE(DecodeAttributes(bytes + std::string("\x70\x03"
                                                     "abc",
                                                     5),
                                 read));
    EXPECT_EQ(read.owner, 1000u);
}

}  // namespace
}  // namespace rampart::platform
