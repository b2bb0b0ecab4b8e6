#include "restore/file_in_work.h"

#include <algorithm>
#include <cstring>

#include "platform/error.h"
#include "platform/process.h"
#include "platform/temporary_name.h"

namespace rampart {
namespace {

constexpr size_t kPage = 4096;

bool IsDiskFull(uint32_t error) {
    return error == platform::kDiskFull || error == platform::kHandleDiskFull;
}

bool IsZero(std::string_view bytes) {
    return bytes.empty() ||
           (bytes[0] == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0);
}

// What only an administrator can give. Somebody else is told once, with the owners.
bool NeedsAdministrator(const std::string& missed) {
    return missed == "owner" || missed == "flags" || missed.starts_with("extended attribute security.") ||
           missed.starts_with("extended attribute trusted.");
}

}  // namespace

std::string SystemReason() {
    return platform::ToUtf8(platform::ErrorText(platform::LastError()));
}

bool GivesWay(Overwrite overwrite, const PlannedEntry& entry, bool isFolder, std::string& reason) {
    if (isFolder) {
        reason = "a folder is there, which is never replaced";
        return false;
    }
    if (overwrite == Overwrite::kNever) {
        reason = "a different file is there; use --overwrite to replace it";
        return false;
    }
    if (overwrite == Overwrite::kOlder && entry.isNewerThere) {
        reason = "a file is there that is not older; use --overwrite always to replace it";
        return false;
    }
    return true;
}

FileInWork::~FileInWork() {
    m_file.reset();
    if (!m_temporary.empty()) {
        m_folder->Remove(m_temporary);
    }
}

bool FileInWork::Fail(const std::string& reason) {
    m_context.Fail(m_entry, reason);
    return false;
}

bool FileInWork::FailBySystem(const char* what) {
    if (IsDiskFull(platform::LastError())) {
        m_context.noRoom = true;
        return Fail("the disk that is restored to is full");
    }
    return Fail(std::string(what) + ": " + SystemReason());
}

bool FileInWork::Begin() {
    if (m_context.noRoom) {
        return Fail("the disk that is restored to is full");
    }
    m_folder = m_context.folders.Open(m_entry.folder);
    if (!m_folder) {
        return FailBySystem("its folder cannot be opened");
    }
    return m_entry.kind != EntryKind::kFile || Make();
}

bool FileInWork::Make() {
    m_temporary = platform::NewTemporaryName();
    bool isMade = false;
    switch (m_entry.kind) {
        case EntryKind::kFile:
            m_file = m_folder->MakeFile(m_temporary);
            isMade = m_file != nullptr;
            break;
        case EntryKind::kLink:
            isMade = m_folder->MakeLink(m_temporary, m_target);
            break;
        case EntryKind::kSpecial:
            isMade = m_folder->MakeSpecial(m_temporary, m_context.attributes.Get(m_entry.attributes).decoded);
            break;
    }
    if (!isMade) {
        m_temporary.clear();
        return FailBySystem("it cannot be made");
    }
    return true;
}

bool FileInWork::Take(const Chunk& chunk, const ServiceResult& result) {
    if (!result.Ok()) {
        return Fail("its stored content cannot be read: " + result.message);
    }
    if (!DecodeChunk(chunk, m_content)) {
        return Fail("its stored content is damaged");
    }
    m_context.bytes += static_cast<int64_t>(m_content.size());
    if (m_entry.kind == EntryKind::kLink) {
        m_target += m_content;
        m_written += static_cast<int64_t>(m_content.size());
        return true;
    }
    return WriteFile(m_content);
}

bool FileInWork::WriteFile(std::string_view content) {
    if (!m_context.attributes.Get(m_entry.attributes).decoded.isSparse) {
        m_hasHoleAtEnd = false;
        const bool isWritten = WritePiece(content, m_written);
        m_written += static_cast<int64_t>(content.size());
        return isWritten;
    }
    // Runs of pages; those of zeros stay holes.
    while (!content.empty()) {
        size_t length = std::min(content.size(), kPage - static_cast<size_t>(m_written) % kPage);
        const bool isHole = IsZero(content.substr(0, length));
        while (length < content.size() && IsZero(content.substr(length, kPage)) == isHole) {
            length = std::min(content.size(), length + kPage);
        }
        if (!isHole && !WritePiece(content.substr(0, length), m_written)) {
            return false;
        }
        m_hasHoleAtEnd = isHole;
        m_written += static_cast<int64_t>(length);
        content.remove_prefix(length);
    }
    return true;
}

bool FileInWork::WritePiece(std::string_view piece, int64_t at) {
    return m_file->WriteAt(static_cast<uint64_t>(at), piece.data(), piece.size()) ==
               static_cast<int64_t>(piece.size()) ||
           FailBySystem("it cannot be written");
}

bool FileInWork::Finish() {
    if (m_written != m_entry.size && m_entry.kind != EntryKind::kSpecial) {
        return Fail("its stored pieces do not make up its size");
    }
    if (m_entry.kind != EntryKind::kFile && !Make()) {
        return false;
    }
    if (m_hasHoleAtEnd && !m_file->SetSize(static_cast<uint64_t>(m_written))) {
        return FailBySystem("it cannot be written");
    }
    if (!GiveAttributes() || !PutInPlace()) {
        return false;
    }
    m_entry.state = EntryState::kRestored;
    m_entry.isRestoredContent = true;
    ++m_context.files;
    return true;
}

bool FileInWork::GiveAttributes() {
    if (m_file && m_context.attributes.Get(m_entry.attributes).bytes.empty()) {
        const auto known = [](int64_t time) { return time == kNoTime ? -1 : time; };
        const bool isSet = m_file->SetTimes(known(m_entry.createdTime), -1, known(m_entry.writeTime));
        m_file.reset();
        return isSet || FailBySystem("its time cannot be set");
    }
    m_file.reset();
    ApplyTo(m_context, *m_folder, m_temporary, m_context.plan.PathOf(m_entry), m_entry.attributes,
            m_entry.writeTime, false);
    return true;
}

bool FileInWork::PutInPlace() {
    if (!m_folder->Rename(m_temporary, m_entry.name, m_entry.replaces)) {
        if (platform::LastError() == platform::kAlreadyExists) {
            return Fail("something was put there meanwhile");
        }
        return FailBySystem("it cannot be put in its place");
    }
    m_temporary.clear();
    return true;
}

bool FileInWork::LinkTo(const PlannedEntry& leader) {
    m_folder = m_context.folders.Open(m_entry.folder);
    const auto source = m_context.folders.Open(leader.folder);
    if (!m_folder || !source) {
        return false;
    }
    if (!m_entry.replaces) {
        if (!m_folder->MakeHardLink(m_entry.name, *source, leader.name)) {
            return false;
        }
    } else {
        const Text temporary = platform::NewTemporaryName();
        const bool isInPlace = m_folder->MakeHardLink(temporary, *source, leader.name) &&
                               m_folder->Rename(temporary, m_entry.name, true);
        // Two names of one file: renaming one to the other leaves both.
        m_folder->Remove(temporary);
        if (!isInPlace) {
            return false;
        }
    }
    m_entry.state = EntryState::kRestored;
    ++m_context.files;
    m_context.bytes += m_entry.size;
    return true;
}

void ApplyTo(RestoreContext& context, platform::FolderHandle& folder, TextView name, const CString& path,
             int64_t attributes, int64_t writeTime, bool late) {
    const AttributeStore::Item& known = context.attributes.Get(attributes);
    platform::ApplyOptions options;
    options.owner = context.request.owners;
    options.writeTime = writeTime;
    std::vector<std::string> missed;
    folder.ApplyAttributes(name, late ? known.bytes : known.early, options, missed);
    if (!options.owner) {
        if (known.HasOwner()) {
            context.ownersWithheld = true;
        }
        static const bool mayAll = platform::MayGiveFilesAway();
        if (!mayAll) {
            std::erase_if(missed, NeedsAdministrator);
        }
    }
    if (missed.empty()) {
        return;
    }
    std::string reason = "restored without its ";
    for (const std::string& what : missed) {
        reason += (&what == &missed.front() ? "" : ", ") + what;
    }
    context.Tell(path, reason, true);
}

}  // namespace rampart
