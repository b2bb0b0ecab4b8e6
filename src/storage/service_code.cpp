#include "storage/service_code.h"

#include <algorithm>
#include <iterator>

namespace rampart {
namespace {

struct CodeText {
    int code;
    const char* text;
};

// Ordered by code.
constexpr CodeText kTexts[] = {
    {kOk, "Done."},
    {kSessionLost, "The session has ended."},
    {kRefused, "The user name or the password was refused."},
    {kConnectionFailed, "The storage service cannot be reached."},
    {kSkipped, "The file was skipped."},
    {kFatalForBatch, "The batch cannot go on."},
    {kCancelled, "Cancelled."},
    {kInvalidRequest, "The request is not valid."},
    {kLocalSpace, "There is not enough room on the local disk."},
    {kFailed, "The operation failed."},
    {kNoSpace, "The storage is full."},
    {kNotFound, "The path does not exist in the storage."},
    {kBatchAborted, "The batch was broken off."},
    {kNameTaken, "The name is taken already."},
    {kBatchFull, "The batch is full."},
    {kVaultDamaged, "The vault is damaged."},
    {kVaultReadOnly, "The vault cannot be written."},
    {kVaultMissing, "There is no vault at this place."},
    {kVaultNewer, "The vault was made by a newer version of this program."},
    {kContentMissing, "Content of the file is not in the storage."},
    {kContentDamaged, "Stored content of the file is damaged."},
    {kSkippedWithWarning52, "The file was skipped."},
    {kBatchQueued, "The file is queued in the batch."},
    {kFileTooBig, "The file is bigger than this account may store."},
    {kItemLimit, "The task has more items than this account allows."},
    {kBatchRefused, "The batch was refused."},
    {kFreeItemLimit, "The task has more items than a free account allows."},
    {kSkippedWithWarning96, "The file was skipped."},
    {kSecondFactorNeeded, "A second proof of identity is needed."},
    {kReadFromSource, "The file is read from its source."},
    {kOnWorker, "The file is being sent by a worker."},
    {kWorkerLimit, "Too many files are being sent at once."},
    {kFirstWarning, "The file was skipped."},
    {kSourceUnreadable, "The file cannot be read."},
    {kSourceChanged, "The file changed while it was read."},
    {kSourceVanished, "The file does not exist any more."},
    {kSourceNotAFile, "This is not a regular file."},
    {kNameNotStorable, "The name cannot be stored."},
};

static_assert(std::is_sorted(std::begin(kTexts), std::end(kTexts),
                             [](const CodeText& a, const CodeText& b) { return a.code < b.code; }));

}  // namespace

const char* ServiceCodeText(int code) {
    const auto* found = std::lower_bound(std::begin(kTexts), std::end(kTexts), code,
                                         [](const CodeText& entry, int value) { return entry.code < value; });
    if (found != std::end(kTexts) && found->code == code) {
        return found->text;
    }
    return code >= kFirstWarning ? "The file was skipped." : "The operation failed.";
}

}  // namespace rampart
