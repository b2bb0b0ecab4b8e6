// The storage service: the one contract between the engine's service library and whatever keeps the data.
//
// Every operation blocks until it is done, may be called from any thread, throws nothing and answers a
// ServiceResult. Paths are server paths, "\Folder\Sub\file.txt", "\" the root; texts are UTF-8, a lone
// surrogate in its three-byte form. Names keep their case. A lookup finds the exact name first and otherwise
// one that differs only in case; writing uses the exact name, so two names that differ only in case are two
// records. Times are nanoseconds since 1970 UTC.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "storage/chunk.h"
#include "storage/digest.h"
#include "storage/service_code.h"

namespace rampart {

struct [[nodiscard]] ServiceResult {
    int code = kOk;
    std::string message;  // what went wrong, for a person; empty on success
    int64_t sequence =
        0;  // the change sequence right after a mutation that succeeded; 0 if nothing was changed

    ServiceResult() = default;
    ServiceResult(int failure, std::string text) : code(failure), message(std::move(text)) {}
    // With the code's own text.
    static ServiceResult OfCode(int code) {
        return code == kOk ? ServiceResult() : ServiceResult(code, ServiceCodeText(code));
    }
    bool Ok() const { return code == kOk; }
};

inline constexpr int64_t kNoTime = INT64_MIN;

enum RecordFlag : uint32_t {
    kRecordEncrypted = 0x1,  // content is sealed by the client; size counts the sealed header
    kRecordPartial = 0x2,    // an upload under way; size is what is stored so far
    kRecordHidden = 0x4,
    kRecordLink = 0x8,      // a symbolic link: the content is its target, the local system's own bytes
    kRecordSpecial = 0x10,  // a pipe or a device: no content, all that is known stands in the attributes
    kRecordDamaged = 0x20,  // stored bytes of its content are known to be damaged: it is to be sent again
    kRecordGone = 0x40,     // was not there any more at `goneTime`
};

struct StoredRecord {
    int64_t id =
        0;  // above 1,000,000 but for the root, so that it is never taken for a code; kept by renames
    std::string name;
    bool isFolder = false;
    uint32_t flags = 0;  // RecordFlag
    int64_t size = 0;    // bytes; 0 for a folder
    int64_t modifiedTime = kNoTime;
    int64_t createdTime = kNoTime;
    int64_t storedTime = kNoTime;
    int64_t changeTime = kNoTime;  // when the local system last changed the file or what it keeps of it
    int64_t goneTime = kNoTime;    // the look that did not find it any more; with kRecordGone alone
    int64_t attributes = 0;  // names the attributes, see ReadAttributes; equal ones have equal names; 0: none
    int64_t subItemCount = 0;  // entries of a folder, not those below them
    std::string description;
};

// Called for each record; the record is valid only during the call. False ends the listing.
using RecordVisitor = std::function<bool(const StoredRecord&)>;

// One folder of a tree, parents before children; `records` in name order. False ends the walk.
using FolderVisitor = std::function<bool(const std::string& folderPath, const StoredRecord& folder,
                                         std::span<const StoredRecord> records)>;

// Called for each record of a moment with the path by which OpenFile gives its content. False ends it.
using MomentVisitor = std::function<bool(const StoredRecord& record, const std::string& contentPath)>;

struct ChunkReference {
    Digest digest;
    uint32_t size = 0;  // bytes of the content, before compression
};

// A file to be made visible. All its chunks must be stored already or put before by this service object.
struct FileCommit {
    std::string folder;  // an existing folder
    std::string name;
    int64_t size = 0;
    int64_t modifiedTime = kNoTime;
    int64_t createdTime = kNoTime;
    int64_t changeTime = kNoTime;
    uint32_t flags = 0;
    std::string description;
    std::string sealedHeader;  // opaque to the service; given back by OpenFile
    std::string attributes;    // opaque to the service; given back by ReadAttributes
    std::vector<ChunkReference> chunks;
};

// What a record says beside its content: of a file that stays the same, or of a folder.
struct AttributeCommit {
    std::string folder;
    std::string name;
    int64_t id = 0;  // of the record that is meant; 0 for any. A file's times belong to its content
    int64_t modifiedTime = kNoTime;
    int64_t changeTime = kNoTime;
    std::string attributes;
};

struct FileContent {
    StoredRecord record;
    std::string sealedHeader;
    std::vector<ChunkReference> chunks;
};

// Where a chunk is kept: for the service itself, and for the order in which much content is best read.
struct ChunkPlace {
    int64_t pack = 0;
    int64_t offset = 0;  // of the entry header
    uint32_t storedSize = 0;
    uint32_t size = 0;
    uint32_t flags = 0;
    bool damaged = false;  // known to be; only Catalog::FindChunks tells
};

struct PlacedChunk {
    Digest digest;
    ChunkPlace place;
};

// A whole file and the places of its content, in the content's order.
struct LocatedFile {
    StoredRecord record;  // id 0: there is no whole file of that exact name
    std::vector<PlacedChunk> chunks;
    bool isComplete = false;  // false: the vault does not know a place for all of it
};

// Called for each chunk that was asked for, in that order, with its number; `result` tells why one could not
// be read. Its bytes are valid only during the call. False ends the reading.
using PlacedChunkVisitor = std::function<bool(size_t index, const Chunk& chunk, const ServiceResult& result)>;

struct SessionInfo {
    std::string sessionId;
    std::string userName;
    std::string customerId;
    std::string userType;  // "A" is an administrator
    bool paid = true;
    bool maySubscribe = false;
    std::string webAddress;  // of the service's pages, without a slash behind it; a vault has none
};

struct AccountSpace {
    int64_t usedBytes = 0;   // packs of the vault
    int64_t otherBytes = 0;  // catalog and mail
    int64_t totalBytes = 0;  // quota, or what is used and what the disk has room for
};

struct AccountLimits {
    int64_t maxItemsOfTask = 0;
    int64_t freeMaxFileBytes = 0;
    int64_t batchBytes = 0;          // a file at or above this size is not batched
    int64_t workerMaxFileBytes = 0;  // only smaller files go to an upload worker
    bool parallelTransfer = false;
    bool snapshotCopies = true;
    std::string fileFilter;  // account-wide filters
    std::string folderFilter;
};

struct ServiceStatistics {
    int64_t files = 0;
    int64_t folders = 0;
    int64_t fileBytes = 0;  // sum of the files' sizes
    int64_t chunks = 0;
    int64_t chunkBytes = 0;   // before compression
    int64_t storedBytes = 0;  // after it
    int64_t packs = 0;
    int64_t packBytes = 0;
    int64_t tasks = 0;
};

struct VerifyOptions {
    bool readData = false;  // also every byte of every chunk
    // Called now and then with the work done and the whole of it, in chunks and records; false cancels.
    std::function<bool(int64_t done, int64_t total)> progress;
};

struct VerifyReport {
    static constexpr size_t kMostProblems = 1000;
    int64_t packsChecked = 0;
    int64_t chunksChecked = 0;
    int64_t filesChecked = 0;
    int64_t bytesRead = 0;
    int64_t problemCount = 0;
    std::vector<std::string> problems;  // the first kMostProblems of them, each a sentence
};

class StorageService {
public:
    virtual ~StorageService() = default;

    // Session and account.
    virtual ServiceResult Logon(const std::string& user, const std::string& password) = 0;
    // Of the last logon that succeeded; an empty sessionId before it.
    virtual SessionInfo Session() = 0;
    // Whether the service answers now; no logon needed.
    virtual ServiceResult Ping() = 0;
    virtual ServiceResult Space(AccountSpace& space) = 0;
    virtual ServiceResult Limits(AccountLimits& limits) = 0;
    // Free settings of the account. A value that was never set reads as empty.
    virtual ServiceResult GetSetting(const std::string& name, std::string& value) = 0;
    virtual ServiceResult SetSetting(const std::string& name, const std::string& value) = 0;

    // Tree, reading. `sequence` receives the change sequence that the answer belongs to.
    virtual ServiceResult FindRecord(const std::string& path, StoredRecord& record) = 0;
    virtual ServiceResult ListFolder(const std::string& path, const RecordVisitor& visit,
                                     int64_t& sequence) = 0;
    // The whole tree below `path`, that folder first, as of one moment.
    virtual ServiceResult ListTree(const std::string& path, const FolderVisitor& visit,
                                   int64_t& sequence) = 0;
    // The direct entries of a folder as they were at a moment, in name order. Contents that were replaced
    // since are looked for below `historyPath`: there a folder of a file's name holds its versions. A record
    // whose content lies in such a version comes with that one's path, any other with its own.
    virtual ServiceResult ListMoment(const std::string& path, const std::string& historyPath, int64_t moment,
                                     const MomentVisitor& visit) = 0;
    // Raised by every mutation of the tree, by whatever process. Cheap when nothing changed.
    virtual ServiceResult ChangeSequence(int64_t& sequence) = 0;
    // Paths of folders whose direct entries changed after `since`. A folder that is gone shows in its parent.
    // More than `most` of them set `tooMany` and leave `folders` empty: everything may have changed.
    virtual ServiceResult ChangedFolders(int64_t since, size_t most, std::vector<std::string>& folders,
                                         bool& tooMany, int64_t& sequence) = 0;

    // Tree, writing. Each is one durable commit.
    // The parent must exist. If the exact name is a folder already, its id is given and nothing changes.
    virtual ServiceResult CreateFolder(const std::string& path, const std::string& description,
                                       uint32_t flags, int64_t& id) = 0;
    // File or folder, in its place; kNameTaken if that exact name is another record.
    virtual ServiceResult Rename(const std::string& path, const std::string& newName) = 0;
    virtual ServiceResult Describe(const std::string& path, const std::string& description) = 0;
    // What is known of records changes and their content stays: one durable commit for all. A record that is
    // not there (any more) is passed over. Of a file the last-write time stays, too: it belongs to the
    // content.
    virtual ServiceResult SetAttributes(std::span<const AttributeCommit> commits) = 0;
    // A complete look at their folders did not find these at `when`: one durable commit for all. A folder
    // goes with all below it. What is gone already, or not there, keeps its moment. They stay in listings,
    // with kRecordGone, until they are deleted or stored again.
    virtual ServiceResult MarkGone(std::span<const std::string> paths, int64_t when) = 0;
    // A folder goes with all below it. A path that does not exist counts as deleted. Only a record of the
    // exact name is deleted. `proceed` (may be empty) is asked before each path with the number done; false
    // gives kCancelled, with the paths so far deleted.
    virtual ServiceResult Delete(std::span<const std::string> paths,
                                 const std::function<bool(size_t)>& proceed) = 0;
    // Shares the content, keeps all three times and the description, so that a version stays of the moment
    // at which it was stored. A file of that name in the folder is replaced.
    virtual ServiceResult CopyFile(const std::string& path, const std::string& targetFolder,
                                   const std::string& newName, int64_t& id) = 0;

    // Upload. Chunks go first, then the files that name them; a chunk is durable with the next CommitFiles or
    // RecordProgress of this object, whoever calls it.
    // `known[i]` becomes 1 for a digest that need not be sent.
    virtual ServiceResult HasChunks(std::span<const Digest> digests, std::vector<uint8_t>& known) = 0;
    // The bytes are borrowed for the call. A chunk that is stored already is passed over.
    virtual ServiceResult PutChunks(std::span<const Chunk> chunks) = 0;
    // All or none, in one durable commit. A file of the exact name is replaced and keeps its id; its partial
    // record goes. `ids` receives one id a file. kContentMissing: nothing was committed, send the chunks
    // again.
    virtual ServiceResult CommitFiles(std::span<const FileCommit> files, std::vector<int64_t>& ids) = 0;
    // Makes what was put durable and shows it as record `name`.part of `storedBytes`. A whole file of that
    // name is left alone.
    virtual ServiceResult RecordProgress(const std::string& folder, const std::string& name,
                                         int64_t storedBytes, int64_t modifiedTime) = 0;

    // Download.
    // The attributes that a record names; kNotFound if there are none of that name.
    virtual ServiceResult ReadAttributes(int64_t attributes, std::string& bytes) = 0;
    virtual ServiceResult OpenFile(const std::string& path, FileContent& content) = 0;
    // In the order asked for, as they are stored; DecodeChunk gives their content and checks the digest. The
    // chunk's bytes are valid only during the call. False from `visit` gives kCancelled.
    virtual ServiceResult ReadChunks(std::span<const Digest> digests,
                                     const std::function<bool(const Chunk&)>& visit) = 0;

    // For the content of many files: what lies in one folder, one answer a name; then the chunks themselves,
    // neighbours with one access. A chunk that has moved since is looked up anew. kCancelled when `visit`
    // ended it.
    virtual ServiceResult LocateFiles(const std::string& folder, std::span<const std::string> names,
                                      std::vector<LocatedFile>& files) = 0;
    virtual ServiceResult ReadPlaced(std::span<const PlacedChunk> chunks,
                                     const PlacedChunkVisitor& visit) = 0;

    // Task database. A request is "KEY=value&" pairs with encoded values; a reply is lines "KEY=value". To
    // edit a task that is not there is kNotFound; to add one under the name of another task is kNameTaken.
    virtual ServiceResult StoreTask(const std::string& request) = 0;
    // All rows for an empty name; with `paths` the source paths of the named task. No such row: an empty
    // reply.
    virtual ServiceResult QueryTasks(const std::string& name, bool paths, std::string& reply) = 0;
    virtual ServiceResult TaskNames(std::vector<std::string>& names) = 0;
    virtual ServiceResult DeleteTask(const std::string& name) = 0;

    // Keeps a finished mail (RFC 5322 text) for delivery by somebody else.
    virtual ServiceResult QueueMail(const std::string& message) = 0;

    // Care.
    // A fault that was found is a problem in the report, and code kVaultDamaged.
    virtual ServiceResult Verify(const VerifyOptions& options, VerifyReport& report) = 0;
    virtual ServiceResult Statistics(ServiceStatistics& statistics) = 0;
};

}  // namespace rampart
