// Where a vault is: its URL, its native path, and native paths as people type them.
#pragma once

#include <memory>
#include <string>

#include "framework/cstring.h"
#include "storage/storage_service.h"

namespace rampart {

// Native paths are bytes; as text, a byte that is not UTF-8 stands as the lone surrogate U+DC80 to U+DCFF.
CString NativeText(std::string_view nativeBytes);
std::string NativeBytes(TextView nativeText);

// Absolute, from the working folder if it is relative.
std::string AbsoluteNativePath(std::string_view nativePath);

struct VaultAddress {
    std::string location;    // native path
    bool isDefault = false;  // the vault in the user's own data, which nobody named
};

// Where earlier programs made the vault that nobody named: in the user's data, among those of other programs.
std::string FormerDefaultVault();

// The vault that a URL "vault:///path", a native path, or the configuration (for an empty text) names.
// kInvalidRequest for another kind of URL.
ServiceResult ResolveVaultAddress(const CString& url, VaultAddress& address);

// Opens the vault; with `create` a missing one is made first.
ServiceResult OpenVaultAt(const std::string& location, bool create, std::shared_ptr<StorageService>& service);

}  // namespace rampart
