#include "restore/same_attributes.h"

#include "platform/attributes.h"

namespace rampart {
namespace {

using platform::Attributes;

bool SameOwner(uint32_t a, const std::string& aName, uint32_t b, const std::string& bName) {
    return a == b || (!aName.empty() && aName == bName);
}

bool SamePosix(const Attributes& a, const Attributes& b) {
    return a.mode == b.mode && SameOwner(a.owner, a.ownerName, b.owner, b.ownerName) &&
           SameOwner(a.group, a.groupName, b.group, b.groupName) && a.inodeFlags == b.inodeFlags &&
           a.device == b.device && a.extended == b.extended;
}

bool SameWindows(const Attributes& a, const Attributes& b) {
    return a.fileAttributes == b.fileAttributes && a.securityDescriptor == b.securityDescriptor &&
           a.streams == b.streams;
}

}  // namespace

bool SameAttributes(std::string_view a, std::string_view b) {
    Attributes left;
    Attributes right;
    if (a == b || a.empty() || b.empty() || !platform::DecodeAttributes(a, left) ||
        !platform::DecodeAttributes(b, right) || left.system != right.system) {
        return true;
    }
    return left.system == Attributes::kPosix ? SamePosix(left, right) : SameWindows(left, right);
}

ServiceResult CompareAttributes(StorageService& service, int64_t a, std::string_view b, bool& same) {
    std::string bytes;
    same = true;
    if (a == 0) {
        return {};
    }
    ServiceResult read = service.ReadAttributes(a, bytes);
    same = !read.Ok() || SameAttributes(bytes, b);
    return read.code == kNotFound ? ServiceResult() : read;
}

ServiceResult CompareAttributes(StorageService& service, int64_t a, int64_t b, bool& same) {
    std::string bytes;
    same = true;
    if (a == b || a == 0 || b == 0) {
        return {};
    }
    ServiceResult read = service.ReadAttributes(b, bytes);
    return read.Ok() ? CompareAttributes(service, a, bytes, same)
                     : (read.code == kNotFound ? ServiceResult() : read);
}

}  // namespace rampart
