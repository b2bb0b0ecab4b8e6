// The form of attributes: a version, the system, then fields of a tag, a length and bytes, all little-endian.
// A field that is zero or empty is left out. Readers pass over tags that they do not know.
#include "platform/attributes.h"

#include <algorithm>
#include <cstring>

namespace rampart::platform {
namespace {

constexpr uint8_t kVersion = 1;

enum Tag : uint8_t {
    kMode = 1,
    kOwner = 2,
    kGroup = 3,
    kOwnerName = 4,
    kGroupName = 5,
    kInodeFlags = 6,
    kDevice = 7,
    kExtended = 8,  // name, a zero byte, value; one field for each
    kLinkVolume = 9,
    kLinkFile = 10,
    kSparse = 11,
    kFileAttributes = 12,
    kCreationTime = 13,
    kSecurityDescriptor = 14,
    kStream = 15,  // as kExtended
    kMountRootTag = 16,
    kFarWriteSeconds = 17,
    kFarWriteNanoseconds = 18,
};

void AppendLength(std::string& bytes, size_t length) {
    for (; length >= 0x80; length >>= 7) {
        bytes.push_back(static_cast<char>((length & 0x7F) | 0x80));
    }
    bytes.push_back(static_cast<char>(length));
}

void AppendText(std::string& bytes, Tag tag, std::string_view text) {
    if (text.empty()) {
        return;
    }
    bytes.push_back(static_cast<char>(tag));
    AppendLength(bytes, text.size());
    bytes.append(text);
}

// Without leading zero bytes.
void AppendNumber(std::string& bytes, Tag tag, uint64_t number) {
    std::string text;
    for (; number != 0; number >>= 8) {
        text.push_back(static_cast<char>(number & 0xFF));
    }
    AppendText(bytes, tag, text);
}

void AppendPairs(std::string& bytes, Tag tag, std::vector<std::pair<std::string, std::string>> pairs) {
    std::sort(pairs.begin(), pairs.end());
    for (const auto& [name, value] : pairs) {
        AppendText(bytes, tag, name + '\0' + value);
    }
}

struct Field {
    uint8_t tag = 0;
    std::string_view bytes;
};

// Takes the next field off the front. False at a field that is cut off.
bool TakeField(std::string_view& rest, Field& field) {
    field.tag = static_cast<uint8_t>(rest.front());
    size_t length = 0;
    size_t at = 1;
    for (int shift = 0;; shift += 7, ++at) {
        if (at >= rest.size() || shift > 28) {
            return false;
        }
        const auto byte = static_cast<uint8_t>(rest[at]);
        length |= static_cast<size_t>(byte & 0x7F) << shift;
        if ((byte & 0x80) == 0) {
            break;
        }
    }
    rest.remove_prefix(at + 1);
    if (length > rest.size()) {
        return false;
    }
    field.bytes = rest.substr(0, length);
    rest.remove_prefix(length);
    return true;
}

uint64_t NumberOf(std::string_view bytes) {
    uint64_t number = 0;
    for (size_t i = std::min<size_t>(bytes.size(), sizeof(number)); i-- > 0;) {
        number = number << 8 | static_cast<uint8_t>(bytes[i]);
    }
    return number;
}

void TakePair(std::string_view bytes, std::vector<std::pair<std::string, std::string>>& pairs) {
    const size_t end = std::min(bytes.find('\0'), bytes.size());
    pairs.emplace_back(bytes.substr(0, end), bytes.substr(std::min(end + 1, bytes.size())));
}

void TakeInto(const Field& field, Attributes& attributes) {
    const auto number32 = [&] { return static_cast<uint32_t>(NumberOf(field.bytes)); };
    switch (field.tag) {
        case kMode:
            attributes.mode = number32();
            break;
        case kOwner:
            attributes.owner = number32();
            break;
        case kGroup:
            attributes.group = number32();
            break;
        case kOwnerName:
            attributes.ownerName = field.bytes;
            break;
        case kGroupName:
            attributes.groupName = field.bytes;
            break;
        case kInodeFlags:
            attributes.inodeFlags = number32();
            break;
        case kDevice:
            attributes.device = NumberOf(field.bytes);
            break;
        case kExtended:
            TakePair(field.bytes, attributes.extended);
            break;
        case kLinkVolume:
            attributes.linkVolume = NumberOf(field.bytes);
            break;
        case kLinkFile:
            attributes.linkFile = NumberOf(field.bytes);
            break;
        case kSparse:
            attributes.isSparse = NumberOf(field.bytes) != 0;
            break;
        case kFileAttributes:
            attributes.fileAttributes = number32();
            break;
        case kCreationTime:
            attributes.creationTime = static_cast<int64_t>(NumberOf(field.bytes));
            break;
        case kSecurityDescriptor:
            attributes.securityDescriptor = field.bytes;
            break;
        case kMountRootTag:
            attributes.isMountRoot = NumberOf(field.bytes) != 0;
            break;
        case kFarWriteSeconds:
            attributes.farWriteSeconds = static_cast<int64_t>(NumberOf(field.bytes));
            break;
        case kFarWriteNanoseconds:
            attributes.farWriteNanoseconds = number32();
            break;
        case kStream:
            TakePair(field.bytes, attributes.streams);
            break;
        default:
            break;
    }
}

}  // namespace

std::string EncodeAttributes(const Attributes& attributes) {
    std::string bytes;
    bytes.push_back(static_cast<char>(kVersion));
    bytes.push_back(static_cast<char>(attributes.system));
    AppendNumber(bytes, kMode, attributes.mode);
    AppendNumber(bytes, kOwner, attributes.owner);
    AppendNumber(bytes, kGroup, attributes.group);
    AppendText(bytes, kOwnerName, attributes.ownerName);
    AppendText(bytes, kGroupName, attributes.groupName);
    AppendNumber(bytes, kInodeFlags, attributes.inodeFlags);
    AppendNumber(bytes, kDevice, attributes.device);
    AppendPairs(bytes, kExtended, attributes.extended);
    AppendNumber(bytes, kLinkVolume, attributes.linkVolume);
    AppendNumber(bytes, kLinkFile, attributes.linkFile);
    AppendNumber(bytes, kSparse, attributes.isSparse ? 1 : 0);
    AppendNumber(bytes, kFileAttributes, attributes.fileAttributes);
    AppendNumber(bytes, kCreationTime, static_cast<uint64_t>(attributes.creationTime));
    AppendText(bytes, kSecurityDescriptor, attributes.securityDescriptor);
    AppendPairs(bytes, kStream, attributes.streams);
    AppendNumber(bytes, kMountRootTag, attributes.isMountRoot ? 1 : 0);
    AppendNumber(bytes, kFarWriteSeconds, static_cast<uint64_t>(attributes.farWriteSeconds));
    AppendNumber(bytes, kFarWriteNanoseconds, attributes.farWriteNanoseconds);
    return bytes;
}

bool DecodeAttributes(std::string_view bytes, Attributes& attributes) {
    attributes = {};
    if (bytes.size() < 2 || static_cast<uint8_t>(bytes[0]) != kVersion) {
        return false;
    }
    attributes.system = static_cast<uint8_t>(bytes[1]);
    bytes.remove_prefix(2);
    Field field;
    while (!bytes.empty()) {
        if (!TakeField(bytes, field)) {
            return false;
        }
        TakeInto(field, attributes);
    }
    return true;
}

}  // namespace rampart::platform
