// Where the vault's packs and mails lie: named objects of bytes. One of the two seams behind the embedded
// service.
//
// Keys are ASCII with "/" between levels ("packs/0000000001.pack"). Operations throw StorageError (kNoSpace,
// kVaultReadOnly, kNotFound, kFailed) and may be called from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace rampart {

// An object that grows, owned by one writer on the whole machine until it is destroyed. One thread at a time,
// but Sync may run beside WriteAt.
class AppendObject {
public:
    virtual ~AppendObject() = default;
    virtual int64_t Size() = 0;
    // All of `bytes` or a StorageError; after an error the object's tail is undefined from `offset` on.
    virtual void WriteAt(int64_t offset, std::string_view bytes) = 0;
    // Makes all that was written durable.
    virtual void Sync() = 0;
    virtual void Truncate(int64_t size) = 0;
};

class ObjectStore {
public:
    virtual ~ObjectStore() = default;
    // Replaces the whole object; after a crash there is the old or the new one.
    virtual void Put(const std::string& key, std::string_view bytes) = 0;
    // Gives the bytes read, fewer only at the object's end. kNotFound if there is no such object.
    virtual size_t GetRange(const std::string& key, int64_t offset, void* buffer, size_t size) = 0;
    virtual std::optional<int64_t> Size(const std::string& key) = 0;
    // An object that does not exist counts as deleted.
    virtual void Delete(const std::string& key) = 0;
    // Keys that begin with `prefix`, a level with its "/"; the order is open.
    virtual void List(const std::string& prefix,
                      const std::function<void(const std::string& key, int64_t size)>& visit) = 0;
    // Null if another writer owns it. With `create` it is made, and kNameTaken if there is one already;
    // without it a missing one is kNotFound.
    virtual std::unique_ptr<AppendObject> OpenAppend(const std::string& key, bool create) = 0;
    // Bytes that can still be stored, as far as the store can tell.
    virtual int64_t FreeBytes() = 0;
};

}  // namespace rampart
