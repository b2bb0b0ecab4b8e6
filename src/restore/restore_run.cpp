#include "restore/restore_run.h"

#include "platform/error.h"
#include "platform/file_system.h"
#include "restore/content_stage.h"
#include "restore/file_in_work.h"
#include "restore/restore_planner.h"

namespace rampart {

ServiceResult RestoreRun::Run() {
    ServiceResult planned = RestorePlanner(m_context).Run();
    if (!planned.Ok()) {
        FillReport();
        return planned;
    }
    ContentStage content(m_context);
    if (!m_context.request.dryRun) {
        MakeFolders();
    }
    content.Write();
    if (!m_context.request.dryRun && !m_context.cancelled) {
        content.Link();
        GiveLateAttributes();
        GiveFolderAttributes();
        SyncTargets();
        if (m_context.request.verify && !m_context.cancelled) {
            content.Verify();
        }
    }
    FillReport();
    return ServiceResult::OfCode(m_context.cancelled ? kCancelled : kOk);
}

void RestoreRun::MakeFolders() {
    for (uint32_t i = 0; i < m_context.plan.folders.size(); ++i) {
        const PlannedFolder& folder = m_context.plan.folders[i];
        if (folder.isWanted && !folder.isThere && !folder.isBlocked) {
            MakeFolder(i);
        }
    }
}

void RestoreRun::MakeFolder(uint32_t index) {
    PlannedFolder& folder = m_context.plan.folders[index];
    bool isMade = false;
    if (folder.parent == kNoIndex) {
        isMade = platform::CreateFolders(folder.name);
    } else if (m_context.plan.folders[folder.parent].isBlocked) {
        folder.isBlocked = true;
        return;
    } else if (const auto parent = m_context.folders.Open(folder.parent)) {
        if (folder.replaces) {
            parent->Remove(folder.name);
        }
        isMade = parent->MakeFolder(folder.name);
    }
    if (!isMade) {
        folder.isBlocked = true;
        ++m_context.failed;
        m_context.Tell(m_context.plan.PathOf(index), "the folder cannot be made: " + SystemReason(), true);
    }
}

void RestoreRun::GiveLateAttributes() {
    for (const PlannedEntry& entry : m_context.plan.entries) {
        if (entry.state != EntryState::kRestored || !m_context.attributes.Get(entry.attributes).locksFile) {
            continue;
        }
        if (const auto folder = m_context.folders.Open(entry.folder)) {
            ApplyTo(m_context, *folder, entry.name, m_context.plan.PathOf(entry), entry.attributes,
                    entry.writeTime, true);
        }
    }
}

void RestoreRun::GiveFolderAttributes() {
    // From the bottom up: what is done in a folder changes its time.
    for (auto index = static_cast<uint32_t>(m_context.plan.folders.size()); index-- > 0;) {
        const PlannedFolder& folder = m_context.plan.folders[index];
        const bool isKnown = folder.attributes != 0 || folder.writeTime != kNoTime;
        if (!folder.isWanted || folder.isBlocked || !folder.takesOwnAttributes || !isKnown) {
            continue;
        }
        if (const auto handle = m_context.folders.Open(index)) {
            ApplyTo(m_context, *handle, {}, m_context.plan.PathOf(index), folder.attributes, folder.writeTime,
                    true);
        }
    }
}

void RestoreRun::SyncTargets() {
    for (uint32_t i = 0; i < m_context.plan.folders.size(); ++i) {
        if (m_context.plan.folders[i].parent != kNoIndex || m_context.files == 0) {
            continue;
        }
        const auto root = m_context.folders.Open(i);
        if (root && !root->SyncFileSystem()) {
            m_context.Tell(m_context.plan.PathOf(i), "it may not be on the disk yet: " + SystemReason(),
                           true);
        }
    }
}

void RestoreRun::FillReport() const {
    RestoreReport& report = m_context.report;
    report.alreadyThere = m_context.there;
    report.conflicts = m_context.conflicts;
    report.failed = m_context.failed;
    report.verified = m_context.verified;
    report.ownersWithheld = m_context.ownersWithheld;
    for (const PlannedEntry& entry : m_context.plan.entries) {
        if (entry.state == EntryState::kRestored) {
            ++report.files;
            report.bytes += entry.size;
        }
    }
}

}  // namespace rampart
