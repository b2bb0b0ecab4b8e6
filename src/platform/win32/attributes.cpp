#include "platform/win32/native.h"

// Need the header above.
#include <aclapi.h>
#include <sddl.h>

#include "platform/win32/attributes_of.h"

namespace rampart::platform {
namespace {

constexpr DWORD kKeptAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                  FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
constexpr SECURITY_INFORMATION kKeptSecurity =
    OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
// Streams hold notes about a file, such as where it came from; what is bigger is left out.
constexpr LONGLONG kMostStreamBytes = 64 * 1024;
constexpr std::wstring_view kStreamSuffix = L":$DATA";

struct CloseSearch {
    using pointer = HANDLE;
    void operator()(HANDLE search) const { FindClose(search); }
};

std::string ReadStream(const std::wstring& path, LONGLONG size) {
    const SystemHandle stream =
        OpenPath(path, GENERIC_READ, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, /*followLink=*/false);
    std::string bytes(static_cast<size_t>(size), '\0');
    DWORD read = 0;
    if (!stream ||
        ReadFile(stream.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) == 0) {
        return {};
    }
    bytes.resize(read);
    return bytes;
}

void ReadStreams(const std::wstring& path, Attributes& attributes) {
    WIN32_FIND_STREAM_DATA found;
    const std::unique_ptr<HANDLE, CloseSearch> search(
        FindFirstStreamW(path.c_str(), FindStreamInfoStandard, &found, 0));
    if (search.get() == INVALID_HANDLE_VALUE) {
        return;  // a file system without streams, or none beside the content
    }
    do {
        std::wstring name = found.cStreamName;
        if (name == L"::$DATA" || !name.ends_with(kStreamSuffix) ||
            found.StreamSize.QuadPart > kMostStreamBytes) {
            continue;
        }
        name.resize(name.size() - kStreamSuffix.size());
        attributes.streams.emplace_back(ToUtf8(name), ReadStream(path + name, found.StreamSize.QuadPart));
    } while (FindNextStreamW(search.get(), &found) != 0);
}

void ReadSecurity(HANDLE file, Attributes& attributes) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(file, SE_FILE_OBJECT, kKeptSecurity, nullptr, nullptr, nullptr, nullptr,
                        &descriptor) == ERROR_SUCCESS) {
        attributes.securityDescriptor.assign(static_cast<const char*>(descriptor),
                                             GetSecurityDescriptorLength(descriptor));
        LocalFree(descriptor);
    }
}

void SetSecurity(const std::wstring& path, const Attributes& attributes, const ApplyOptions& options,
                 std::vector<std::string>& missed) {
    std::string descriptor = attributes.securityDescriptor;
    if (descriptor.empty()) {
        return;
    }
    if (descriptor.size() < SECURITY_DESCRIPTOR_MIN_LENGTH ||
        IsValidSecurityDescriptor(descriptor.data()) == 0 ||
        GetSecurityDescriptorLength(descriptor.data()) > descriptor.size()) {
        missed.emplace_back("security descriptor");
        return;
    }
    if (options.owner &&
        SetFileSecurityW(path.c_str(), OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION,
                         descriptor.data()) == 0) {
        missed.emplace_back("owner");
    }
    if (SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.data()) == 0) {
        missed.emplace_back("permissions");
    }
}

void SetStreams(const std::wstring& path, const Attributes& attributes, std::vector<std::string>& missed) {
    for (const auto& [name, bytes] : attributes.streams) {
        const SystemHandle stream = OpenPath(path + FromUtf8(name), GENERIC_WRITE, CREATE_ALWAYS,
                                             FILE_FLAG_BACKUP_SEMANTICS, /*followLink=*/false);
        DWORD written = 0;
        if (!stream ||
            WriteFile(stream.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) == 0) {
            missed.push_back("stream " + name);
        }
    }
}

void SetTimesAndBits(const std::wstring& path, const Attributes& attributes, const ApplyOptions& options,
                     std::vector<std::string>& missed) {
    const SystemHandle file = OpenPath(path, FILE_WRITE_ATTRIBUTES, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS,
                                       /*followLink=*/false);
    const bool isOurs = attributes.system == Attributes::kWindows;
    const FILETIME created = FileTimeOf(attributes.creationTime);
    const FILETIME written = FileTimeOf(options.writeTime);
    if (!file || SetFileTime(file.Get(), isOurs && attributes.creationTime != 0 ? &created : nullptr, nullptr,
                             options.writeTime == INT64_MIN ? nullptr : &written) == 0) {
        missed.emplace_back("last-write time");
    }
    const DWORD old = GetFileAttributesW(path.c_str());
    if (!isOurs || old == INVALID_FILE_ATTRIBUTES) {
        return;
    }
    const DWORD wanted = (old & ~kKeptAttributes) | (attributes.fileAttributes & kKeptAttributes);
    if (wanted != old &&
        SetFileAttributesW(path.c_str(), wanted == 0 ? FILE_ATTRIBUTE_NORMAL : wanted) == 0) {
        missed.emplace_back("attribute bits");
    }
}

}  // namespace

std::string ReadAttributes(HANDLE file, const std::wstring& path) {
    BY_HANDLE_FILE_INFORMATION information;
    if (GetFileInformationByHandle(file, &information) == 0) {
        FailWithSystemError();
        return {};
    }
    Attributes attributes;
    attributes.system = Attributes::kWindows;
    attributes.fileAttributes = information.dwFileAttributes & kKeptAttributes;
    attributes.creationTime = NanosecondsOf(information.ftCreationTime);
    const bool isFolder = (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!isFolder && information.nNumberOfLinks > 1) {
        attributes.linkVolume = information.dwVolumeSerialNumber;
        attributes.linkFile =
            static_cast<uint64_t>(information.nFileIndexHigh) << 32 | information.nFileIndexLow;
    }
    attributes.isSparse = (information.dwFileAttributes & FILE_ATTRIBUTE_SPARSE_FILE) != 0;
    ReadSecurity(file, attributes);
    ReadStreams(path, attributes);
    return EncodeAttributes(attributes);
}

std::string ReadAttributes(TextView path) {
    const std::wstring system = SystemPath(path);
    if (system.empty()) {
        return {};
    }
    const SystemHandle file = OpenPath(system, FILE_READ_ATTRIBUTES | READ_CONTROL, OPEN_EXISTING,
                                       FILE_FLAG_BACKUP_SEMANTICS, /*followLink=*/false);
    if (!file) {
        FailWithSystemError();
        return {};
    }
    return ReadAttributes(file.Get(), system);
}

bool ApplyAttributes(TextView path, std::string_view bytes, const ApplyOptions& options,
                     std::vector<std::string>& missed) {
    const std::wstring system = SystemPath(path);
    const size_t before = missed.size();
    Attributes attributes;
    attributes.system = Attributes::kWindows;
    if (!bytes.empty() && !DecodeAttributes(bytes, attributes)) {
        missed.emplace_back("attributes of a later form");
    }
    if (system.empty()) {
        missed.emplace_back("attributes");
        return false;
    }
    if (attributes.system == Attributes::kWindows) {
        SetStreams(system, attributes, missed);
        SetSecurity(system, attributes, options, missed);
    }
    SetTimesAndBits(system, attributes, options, missed);
    return missed.size() == before;
}

}  // namespace rampart::platform
