#include "storage/catalog_snapshot.h"

#include <zstd.h>

#include <algorithm>
#include <charconv>
#include <set>

#include "platform/file_system.h"
#include "platform/path_mapping.h"
#include "storage/byte_order.h"
#include "storage/storage_error.h"

namespace rampart {
namespace {

using platform::FileHandle;

constexpr char kPrefix[] = "snapshots/";
constexpr std::string_view kSuffix = ".catalog";
constexpr size_t kNumberDigits = 10;
constexpr std::string_view kMagic = "RAMPSNAP";
constexpr uint32_t kVersion = 1;
constexpr size_t kHeaderBytes = 40;  // magic, version, zero, sequence, time, checksum
constexpr size_t kPieceBytes = 1 << 20;
constexpr int kSnapshotCompression = 3;

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int64_t kNanosecondsPerDay = 86'400 * kNanosecondsPerSecond;
constexpr size_t kNewestKept = 3;
constexpr int64_t kDaysKept = 7;

// A catalog is copied the more seldom, the longer it takes; one that is larger than these is not copied.
struct Pace {
    int64_t mostBytes;
    int64_t seconds;
};
constexpr Pace kPaces[] = {{int64_t{8} << 20, 600}, {int64_t{256} << 20, 3600}, {int64_t{8} << 30, 86400}};
constexpr int64_t kRoomLeft = 16 << 20;

std::string HeaderOf(int64_t sequence, int64_t time) {
    std::string bytes(kMagic);
    AppendLittleEndian(bytes, kVersion);
    AppendLittleEndian(bytes, uint32_t{0});
    AppendLittleEndian(bytes, static_cast<uint64_t>(sequence));
    AppendLittleEndian(bytes, static_cast<uint64_t>(time));
    AppendLittleEndian(bytes, ComputeChecksum(bytes));
    return bytes;
}

std::string KeyOf(int64_t number) {
    std::string digits = std::to_string(number);
    digits.insert(0, digits.size() < kNumberDigits ? kNumberDigits - digits.size() : 0, '0');
    return kPrefix + digits + std::string(kSuffix);
}

std::optional<int64_t> NumberOf(std::string_view key) {
    int64_t number = 0;
    if (!key.starts_with(kPrefix) || !key.ends_with(kSuffix)) {
        return std::nullopt;
    }
    const char* const end = key.data() + key.size() - kSuffix.size();
    const auto [stop, error] = std::from_chars(key.data() + sizeof kPrefix - 1, end, number);
    return error == std::errc() && stop == end && number > 0 ? std::optional(number) : std::nullopt;
}

std::vector<int64_t> Numbers(ObjectStore& store) {
    std::vector<int64_t> numbers;
    store.List(kPrefix, [&](const std::string& key, int64_t) {
        if (const auto number = NumberOf(key)) {
            numbers.push_back(*number);
        }
    });
    std::sort(numbers.rbegin(), numbers.rend());
    return numbers;
}

std::unique_ptr<FileHandle> OpenTemporary(const std::string& path, uint32_t mode) {
    auto file = FileHandle::OpenNative(path, mode);
    if (!file) {
        throw StorageError(platform::LastError() == platform::kDiskFull ? kNoSpace : kFailed,
                           "cannot open " + path);
    }
    return file;
}

// Sends the file through zstd to the end of `object`.
void Compress(FileHandle& file, AppendObject& object, int64_t offset) {
    const std::unique_ptr<ZSTD_CCtx, size_t (*)(ZSTD_CCtx*)> context(ZSTD_createCCtx(), ZSTD_freeCCtx);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_compressionLevel, kSnapshotCompression);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1);
    std::string read(kPieceBytes, '\0');
    std::string packed(ZSTD_CStreamOutSize(), '\0');
    uint64_t at = 0;
    for (bool last = false; !last;) {
        const int64_t size = file.ReadAt(at, read.data(), read.size());
        if (size < 0) {
            throw StorageError(kFailed, "cannot read the copy of the catalog");
        }
        at += static_cast<uint64_t>(size);
        last = static_cast<size_t>(size) < read.size();
        ZSTD_inBuffer input{read.data(), static_cast<size_t>(size), 0};
        for (size_t left = 1; last ? left != 0 : input.pos < input.size;) {
            ZSTD_outBuffer output{packed.data(), packed.size(), 0};
            left = ZSTD_compressStream2(context.get(), &output, &input, last ? ZSTD_e_end : ZSTD_e_continue);
            if (ZSTD_isError(left)) {
                throw StorageError(kFailed, "the copy of the catalog cannot be compressed");
            }
            object.WriteAt(offset, {packed.data(), output.pos});
            offset += static_cast<int64_t>(output.pos);
        }
    }
}

// The other way; false if the frame is damaged or has no end.
bool Decompress(ObjectStore& store, const std::string& key, FileHandle& file) {
    const std::unique_ptr<ZSTD_DCtx, size_t (*)(ZSTD_DCtx*)> context(ZSTD_createDCtx(), ZSTD_freeDCtx);
    std::string packed(kPieceBytes, '\0');
    std::string content(ZSTD_DStreamOutSize(), '\0');
    int64_t at = kHeaderBytes;
    uint64_t written = 0;
    size_t expected = 1;
    while (expected != 0) {
        const size_t size = store.GetRange(key, at, packed.data(), packed.size());
        if (size == 0) {
            return false;
        }
        at += static_cast<int64_t>(size);
        ZSTD_inBuffer input{packed.data(), size, 0};
        ZSTD_outBuffer output{content.data(), content.size(), content.size()};
        while (expected != 0 && (input.pos < input.size || output.pos == output.size)) {
            output.pos = 0;
            expected = ZSTD_decompressStream(context.get(), &output, &input);
            if (ZSTD_isError(expected)) {
                return false;
            }
            if (file.WriteAt(written, content.data(), output.pos) != static_cast<int64_t>(output.pos)) {
                throw StorageError(kNoSpace, "the catalog cannot be written anew: the disk is full");
            }
            written += output.pos;
        }
    }
    return file.Sync();
}

std::string TemporaryOf(const std::string& base, int64_t number) {
    return base + "-" + std::to_string(number);
}

// The newest stay, and the newest of each of the last days.
void Thin(ObjectStore& store, int64_t now, const std::string& temporaryBase) {
    std::set<int64_t> days;
    size_t kept = 0;
    std::set<std::string> keep;
    for (const SnapshotInfo& snapshot : ListSnapshots(store)) {
        const int64_t day = snapshot.time / kNanosecondsPerDay;
        const bool newOfDay = now - snapshot.time < kDaysKept * kNanosecondsPerDay && days.insert(day).second;
        if (kept < kNewestKept || newOfDay) {
            keep.insert(snapshot.key);
            ++kept;
        }
    }
    for (const int64_t number : Numbers(store)) {
        const std::string key = KeyOf(number);
        // What has no sound header is one that a killed process began, or that another one makes now.
        if (!keep.contains(key) && kept > 0 && store.OpenAppend(key, false)) {
            store.Delete(key);
            platform::RemoveFile(platform::ToEnginePath(TemporaryOf(temporaryBase, number)));
        }
    }
}

}  // namespace

std::vector<SnapshotInfo> ListSnapshots(ObjectStore& store) {
    std::vector<SnapshotInfo> snapshots;
    for (const int64_t number : Numbers(store)) {
        SnapshotInfo info{KeyOf(number), number};
        char bytes[kHeaderBytes];
        const std::string_view header(bytes, store.GetRange(info.key, 0, bytes, sizeof bytes));
        if (header.size() < kHeaderBytes) {
            continue;
        }
        info.sequence = static_cast<int64_t>(LittleEndianAt<uint64_t>(header, 16));
        info.time = static_cast<int64_t>(LittleEndianAt<uint64_t>(header, 24));
        if (header == HeaderOf(info.sequence, info.time)) {
            snapshots.push_back(std::move(info));
        }
    }
    return snapshots;
}

bool IsSnapshotDue(Catalog& catalog, ObjectStore& store, int64_t nowNs, int64_t everySeconds) {
    const int64_t bytes = catalog.OwnBytes();
    const auto* const pace = std::find_if(std::begin(kPaces), std::end(kPaces),
                                          [&](const Pace& each) { return bytes <= each.mostBytes; });
    if (pace == std::end(kPaces) || store.FreeBytes() < 2 * bytes + kRoomLeft) {
        return false;
    }
    const auto snapshots = ListSnapshots(store);
    if (snapshots.empty()) {
        return true;
    }
    const SnapshotInfo& newest = snapshots.front();
    const int64_t age = nowNs - newest.time;  // less than nothing: the clock was set
    const int64_t due = (everySeconds < 0 ? pace->seconds : everySeconds) * kNanosecondsPerSecond;
    return newest.sequence != catalog.ChangeSequence() && (age < 0 || age >= due);
}

bool MakeSnapshot(Catalog& catalog, ObjectStore& store, int64_t nowNs, const std::string& temporaryBase) {
    const auto numbers = Numbers(store);
    const int64_t number = numbers.empty() ? 1 : numbers.front() + 1;
    const std::string key = KeyOf(number);
    std::unique_ptr<AppendObject> object;
    try {
        object = store.OpenAppend(key, true);
    } catch (const StorageError& error) {
        if (error.code() != kNameTaken) {
            throw;
        }
    }
    if (!object) {
        return false;
    }
    const std::string temporaryPath = TemporaryOf(temporaryBase, number);
    const auto temporary = platform::ToEnginePath(temporaryPath);
    try {
        platform::RemoveFile(temporary);
        OpenTemporary(temporaryPath, platform::kOpenWrite | platform::kOpenCreate | platform::kOpenExclusive)
            .reset();
        const int64_t sequence = catalog.CopyTo(temporaryPath);
        const auto file = OpenTemporary(temporaryPath, platform::kOpenRead);
        Compress(*file, *object, kHeaderBytes);
        object->Sync();
        // The header last: without it there is no snapshot.
        object->WriteAt(0, HeaderOf(sequence, nowNs));
        object->Sync();
    } catch (...) {
        platform::RemoveFile(temporary);
        object.reset();
        store.Delete(key);
        throw;
    }
    platform::RemoveFile(temporary);
    object.reset();
    Thin(store, nowNs, temporaryBase);
    return true;
}

bool UnpackSnapshot(ObjectStore& store, const SnapshotInfo& snapshot, const std::string& path) {
    bool whole = false;
    {
        const auto file = OpenTemporary(path, platform::kOpenRead | platform::kOpenWrite |
                                                  platform::kOpenCreate | platform::kOpenExclusive);
        whole = Decompress(store, snapshot.key, *file);
    }
    if (!whole) {
        platform::RemoveFile(platform::ToEnginePath(path));
    }
    return whole;
}

}  // namespace rampart
