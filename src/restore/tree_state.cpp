#include "restore/tree_state.h"

#include <algorithm>

#include "storage/server_path.h"

namespace rampart {
namespace {

class ListedState : public TreeState {
public:
    ListedState(StorageService& service, const StateWish& wish) : m_service(service), m_wish(wish) {}

    ServiceResult Entries(const std::string& folder, std::vector<StateEntry>& entries) override {
        entries.clear();
        ServiceResult listed = ReadFolder(m_service, folder, false, m_records);
        if (!listed.Ok()) {
            return listed;
        }
        const std::vector<StoredRecord> records = std::move(m_records);
        entries.reserve(records.size());
        for (const StoredRecord& record : records) {
            StateEntry entry;
            bool isThere = false;
            if (ServiceResult chosen = Choose(folder, record, entry, isThere); !chosen.Ok()) {
                return chosen;
            }
            if (isThere) {
                ForgetLaterEnd(entry.record);
                entries.push_back(std::move(entry));
            }
        }
        return {};
    }

    ServiceResult Entry(const std::string& path, StateEntry& entry) override {
        StoredRecord record;
        if (ServiceResult found = m_service.FindRecord(path, record); !found.Ok()) {
            return found;
        }
        bool isThere = false;
        const std::string folder(SplitLastName(path).folder);
        ServiceResult chosen = Choose(folder, record, entry, isThere);
        if (chosen.Ok() && !isThere) {
            return {kNotFound, path + " is not part of that state"};
        }
        ForgetLaterEnd(entry.record);
        return chosen;
    }

    int64_t NotInState() const override { return m_notInState; }
    int64_t FirstStored() const override { return m_firstStored; }

protected:
    void Note(int64_t storedTime) {
        if (storedTime != kNoTime && (m_firstStored == kNoTime || storedTime < m_firstStored)) {
            m_firstStored = storedTime;
        }
    }
    // What is stored now in a folder that held nothing in the state.
    ServiceResult NoteNotInState(const std::string& folder) {
        ServiceResult listed = ReadFolder(m_service, folder, false, m_records);
        for (const StoredRecord& record : m_records) {
            Note(record.storedTime);
            ++m_notInState;
        }
        return listed;
    }

    StorageService& m_service;
    const StateWish& m_wish;

private:
    ServiceResult Choose(const std::string& folder, const StoredRecord& record, StateEntry& entry,
                         bool& isThere) {
        if ((record.flags & kRecordPartial) != 0) {
            return {};  // was never whole
        }
        entry.record = record;
        entry.contentFolder = folder;
        entry.contentName = record.name;
        if (record.isFolder) {
            isThere = ChooseFolder(entry);
        } else {
            Note(record.storedTime);
            if (ServiceResult chosen = ChooseFile(entry, isThere); !chosen.Ok()) {
                return chosen;
            }
        }
        m_notInState += isThere ? 0 : 1;
        return {};
    }

    bool ChooseFolder(StateEntry& entry) const {
        if (!m_wish.moment) {
            return m_wish.withGone || !IsGone(entry.record);
        }
        entry.isImplied = entry.record.storedTime > *m_wish.moment;
        return m_wish.withGone || !WasGone(entry.record);
    }

    ServiceResult ChooseFile(StateEntry& entry, bool& isThere) {
        const StoredRecord& record = entry.record;
        if (!m_wish.moment && m_wish.version == 1) {
            isThere = m_wish.withGone || !IsGone(record);
            return {};
        }
        if (m_wish.moment && record.storedTime <= *m_wish.moment) {
            isThere = m_wish.withGone || !WasGone(record);
            return {};
        }
        std::string history;
        std::vector<StoredRecord> versions;
        if (ServiceResult read = ReadVersions(entry, history, versions); !read.Ok()) {
            return read;
        }
        for (const StoredRecord& version : versions) {
            Note(version.storedTime);
        }
        const StoredRecord* const chosen = m_wish.moment ? AtMoment(versions) : Numbered(record, versions);
        isThere = chosen != nullptr;
        if (isThere && chosen != &record) {
            entry.contentFolder = history;
            entry.contentName = chosen->name;
            std::string name = std::move(entry.record.name);
            entry.record = *chosen;
            entry.record.name = std::move(name);
        }
        return {};
    }

    // The newest first.
    ServiceResult ReadVersions(const StateEntry& entry, std::string& history,
                               std::vector<StoredRecord>& versions) {
        if (!m_wish.historyOf) {
            return {};
        }
        const std::string path = JoinServerPath(entry.contentFolder, entry.contentName);
        history = m_wish.historyOf(CString::FromUtf8(path)).ToUtf8();
        // Exactly this folder: one in another case belongs to another file.
        std::string exact;
        StoredRecord record;
        if (history.empty() || !ExactPath(m_service, history, exact, record).Ok() || exact != history) {
            return {};
        }
        if (ServiceResult read = ReadFolder(m_service, history, true, versions); !read.Ok()) {
            return read;
        }
        std::erase_if(versions, [](const StoredRecord& version) {
            return version.isFolder || (version.flags & kRecordPartial) != 0;
        });
        std::stable_sort(versions.begin(), versions.end(), [](const StoredRecord& a, const StoredRecord& b) {
            return a.storedTime > b.storedTime;
        });
        return {};
    }

    const StoredRecord* AtMoment(const std::vector<StoredRecord>& versions) const {
        for (const StoredRecord& version : versions) {
            if (version.storedTime <= *m_wish.moment) {
                return m_wish.withGone || !WasGone(version) ? &version : nullptr;
            }
        }
        return nullptr;
    }

    const StoredRecord* Numbered(const StoredRecord& present,
                                 const std::vector<StoredRecord>& versions) const {
        if (IsGone(present) && !m_wish.withGone) {
            return nullptr;
        }
        const auto older = static_cast<size_t>(m_wish.version) - 2;
        return m_wish.version == 1 ? &present : older < versions.size() ? &versions[older] : nullptr;
    }

    static bool IsGone(const StoredRecord& record) { return (record.flags & kRecordGone) != 0; }
    bool WasGone(const StoredRecord& record) const {
        return IsGone(record) && record.goneTime <= *m_wish.moment;
    }
    // At the moment it was still there.
    void ForgetLaterEnd(StoredRecord& record) const {
        if (m_wish.moment && !WasGone(record)) {
            record.flags &= ~uint32_t{kRecordGone};
            record.goneTime = kNoTime;
        }
    }

    std::vector<StoredRecord> m_records;
    int64_t m_notInState = 0;
    int64_t m_firstStored = kNoTime;
};

// A moment, by one ordered walk of the vault for each folder.
class MomentState : public ListedState {
public:
    using ListedState::ListedState;

    ServiceResult Entries(const std::string& folder, std::vector<StateEntry>& entries) override {
        entries.clear();
        const std::string history =
            m_wish.historyOf ? m_wish.historyOf(CString::FromUtf8(folder)).ToUtf8() : std::string();
        ServiceResult listed = m_service.ListMoment(
            folder, history, *m_wish.moment, [&](const StoredRecord& record, const std::string& contentPath) {
                const ServerPathParts place = SplitLastName(contentPath);
                StateEntry& entry = entries.emplace_back();
                entry.record = record;
                entry.record.flags &= ~uint32_t{kRecordGone};  // a later end is no part of the moment
                entry.record.goneTime = kNoTime;
                entry.contentFolder = place.folder;
                entry.contentName = place.name;
                Note(record.storedTime);
                return true;
            });
        return listed.Ok() && entries.empty() ? NoteNotInState(folder) : listed;
    }
};

}  // namespace

std::unique_ptr<TreeState> StateOf(StorageService& service, const StateWish& wish) {
    if (wish.moment && !wish.withGone) {
        return std::make_unique<MomentState>(service, wish);
    }
    return std::make_unique<ListedState>(service, wish);
}

ServiceResult ExactPath(StorageService& service, const std::string& path, std::string& exact,
                        StoredRecord& record) {
    exact = "\\";
    ServiceResult found = service.FindRecord(exact, record);
    for (const std::string_view name : SplitServerPath(path)) {
        const std::string next = JoinServerPath(exact, name);
        found = service.FindRecord(next, record);
        if (!found.Ok()) {
            break;
        }
        exact = JoinServerPath(exact, record.name);
    }
    return found;
}

ServiceResult ReadFolder(StorageService& service, const std::string& folder, bool orNone,
                         std::vector<StoredRecord>& records) {
    int64_t sequence = 0;
    records.clear();
    ServiceResult listed = service.ListFolder(
        folder,
        [&](const StoredRecord& record) {
            records.push_back(record);
            return true;
        },
        sequence);
    if (listed.code == kNotFound && orNone) {
        return {};
    }
    return listed;
}

}  // namespace rampart
