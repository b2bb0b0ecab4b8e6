// One entry on its way to its place: written under a temporary name, given its attributes, then renamed. What
// is not finished leaves nothing.
#pragma once

#include <memory>
#include <string>

#include "platform/folder_handle.h"
#include "restore/restore_context.h"
#include "storage/chunk.h"

namespace rampart {

class FileInWork {
public:
    FileInWork(RestoreContext& context, PlannedEntry& entry) : m_context(context), m_entry(entry) {}
    ~FileInWork();
    FileInWork(const FileInWork&) = delete;
    FileInWork& operator=(const FileInWork&) = delete;

    // False after a failure, which is told then. The content comes chunk by chunk in its order.
    bool Begin();
    bool Take(const Chunk& chunk, const ServiceResult& result);
    bool Finish();
    // As another name of an entry that is there. False, and nothing told, where that is not possible.
    bool LinkTo(const PlannedEntry& leader);
    bool HasFailed() const { return m_entry.state == EntryState::kFailed; }

private:
    bool Make();
    bool WriteFile(std::string_view content);
    bool WritePiece(std::string_view piece, int64_t at);
    bool GiveAttributes();
    bool PutInPlace();
    bool Fail(const std::string& reason);
    bool FailBySystem(const char* what);

    RestoreContext& m_context;
    PlannedEntry& m_entry;
    std::shared_ptr<platform::FolderHandle> m_folder;
    std::unique_ptr<platform::FileHandle> m_file;
    Text m_temporary;       // empty when there is none
    std::string m_target;   // of a link
    std::string m_content;  // of one chunk
    int64_t m_written = 0;
    bool m_hasHoleAtEnd = false;
};

// Gives the attributes of an entry that stands under `name`, and tells what could not be given. `late`: those
// that would have kept it from being put there.
void ApplyTo(RestoreContext& context, platform::FolderHandle& folder, TextView name, const CString& path,
             int64_t attributes, int64_t writeTime, bool late);

}  // namespace rampart
