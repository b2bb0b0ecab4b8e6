#include "transferlib/vault_address.h"

#include <filesystem>

#include "baselib/product_folder.h"
#include "interfaces/baselib.h"
#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "platform/process.h"
#include "platform/utf.h"
#include "storage/embedded_service.h"
#include "storage/task_text.h"
#include "storage/vault_place.h"

namespace rampart {
namespace {

constexpr std::string_view kVaultScheme = "vault://";
constexpr std::string_view kSchemeMark = "://";
constexpr TCHAR kVaultName[] = _T("\\vault");
constexpr char32_t kFirstByteSurrogate = 0xDC00;

// "/C:/vaults/a", the path of a URL, is "C:/vaults/a" where drives have letters.
std::string_view WithoutSlashBeforeDrive(std::string_view path) {
    const bool drive = path.size() >= 3 && path[0] == '/' && path[2] == ':';
    return drive && std::filesystem::path::preferred_separator != '/' ? path.substr(1) : path;
}

// A vault that an earlier program made stays where it is and in use: nothing that names it goes wrong, and
// there are never two. A link is one whose disk may be away.
std::string DefaultVault() {
    std::string vault = platform::ToNativePath(ProductDataFolder() + kVaultName);
    std::string former = FormerDefaultVault();
    platform::FileStatus status;
    const bool isLink = platform::QueryStatus(platform::ToEnginePath(former), status) && status.IsLink();
    return !VaultLiesAt(vault) && (isLink || VaultLiesAt(former)) ? former : vault;
}

}  // namespace

std::string FormerDefaultVault() {
    return platform::ToNativePath(platform::UserDataFolder() + kVaultName);
}

CString NativeText(std::string_view bytes) {
    Text text;
    for (size_t at = 0; at < bytes.size();) {
        const platform::DecodedUtf8 decoded = platform::DecodeUtf8(bytes.substr(at), false);
        if (decoded.length == 0) {
            text.push_back(static_cast<TCHAR>(kFirstByteSurrogate + static_cast<unsigned char>(bytes[at])));
            ++at;
        } else {
            platform::AppendUtf16(text, decoded.codePoint);
            at += decoded.length;
        }
    }
    return CString(TextView(text));
}

std::string NativeBytes(TextView text) {
    std::string bytes;
    for (size_t at = 0; at < text.size();) {
        const char32_t character = platform::TakeCodePoint(text, at);
        if (character >= kFirstByteSurrogate + 0x80 && character <= kFirstByteSurrogate + 0xFF) {
            bytes.push_back(static_cast<char>(character - kFirstByteSurrogate));
        } else {
            platform::AppendUtf8(bytes, character);
        }
    }
    return bytes;
}

std::string AbsoluteNativePath(std::string_view nativePath) {
    const std::u8string text(nativePath.begin(), nativePath.end());
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(std::filesystem::path(text), error);
    const std::u8string result = error ? std::filesystem::path(text).generic_u8string()
                                       : absolute.lexically_normal().generic_u8string();
    return std::string(result.begin(), result.end());
}

ServiceResult ResolveVaultAddress(const CString& url, VaultAddress& address) {
    CString named = url;
    if (named.IsEmpty()) {
        named = DictUtil::GetConfigString(_T("Service"), _T("Url"), _T(""), _T(""));
        named.Trim();
    }
    if (named.IsEmpty()) {
        address.location = DefaultVault();
        address.isDefault = true;
        return {};
    }
    std::string text = NativeBytes(named);
    if (text.starts_with(kVaultScheme)) {
        const std::string path = PercentDecode(std::string_view(text).substr(kVaultScheme.size()));
        address.location = AbsoluteNativePath(WithoutSlashBeforeDrive(path));
        return {};
    }
    if (text.find(kSchemeMark) != std::string::npos) {
        return {kInvalidRequest, "\"" + text +
                                     "\" is not the address of a vault: it must be a folder or begin with "
                                     "\"vault:///\""};
    }
    address.location = AbsoluteNativePath(text);
    return {};
}

ServiceResult OpenVaultAt(const std::string& location, bool create,
                          std::shared_ptr<StorageService>& service) {
    std::unique_ptr<EmbeddedService> vault;
    ServiceResult opened = EmbeddedService::Open(location, {}, vault);
    if (opened.code == kVaultMissing && create) {
        if (ServiceResult made = EmbeddedService::Create(location); !made.Ok()) {
            return made;
        }
        opened = EmbeddedService::Open(location, {}, vault);
    }
    service = std::move(vault);
    return opened;
}

}  // namespace rampart
