// A folder as it was at a moment: what stands there now, earlier lives of its folders, and the versions of
// files that were replaced or went away since.
#include <map>
#include <set>

#include "storage/server_path.h"
#include "storage/sqlite_catalog.h"
#include "storage/sqlite_schema.h"

namespace rampart {
namespace {

bool IsThere(const StoredRecord& record, int64_t moment) {
    return record.storedTime <= moment && (record.goneTime == kNoTime || record.goneTime > moment);
}

class MomentListing {
public:
    MomentListing(SqliteConnection& connection, std::string_view path, std::string_view historyPath,
                  int64_t moment)
        : m_connection(connection),
          m_tree(connection),
          m_folder(m_tree.RequireFolder(path)),
          m_path(path),
          m_historyPath(historyPath),
          m_moment(moment) {
        if (!historyPath.empty()) {
            m_history = m_tree.FindExactFolder(historyPath);
        }
    }

    void Run(const MomentVisitor& visit) {
        CollectRecords();
        CollectPastFolders();
        CollectVersions();
        for (const auto& [name, entry] : m_found) {
            if (!visit(entry.record, entry.contentPath)) {
                return;
            }
        }
    }

private:
    struct Entry {
        StoredRecord record;
        std::string contentPath;
    };

    void CollectRecords() {
        m_tree.List(m_folder, [&](const StoredRecord& record) {
            if ((record.flags & kRecordPartial) != 0) {
                return true;
            }
            if (!record.isFolder && record.storedTime <= m_moment) {
                m_decided.insert(record.name);  // no version is younger
            }
            if (IsThere(record, m_moment)) {
                m_found[record.name] = {record, JoinServerPath(m_path, record.name)};
            }
            return true;
        });
    }

    void CollectPastFolders() {
        SqliteStatement query = m_connection.Prepare(
            "SELECT id, name, 1, flags, 0, modified, modified, stored, 0, description, touched, attribute, "
            "gone"
            " FROM past WHERE parent=?1 AND stored<=?2 AND gone>?2");
        query.Bind(1, m_folder).Bind(2, m_moment);
        StoredRecord record;
        while (query.Step()) {
            SqliteTree::ReadRecord(query, record);
            m_found[record.name] = {record, JoinServerPath(m_path, record.name)};
        }
    }

    // Each folder of the history folder is named as the file whose versions it holds.
    void CollectVersions() {
        if (!m_history) {
            return;
        }
        std::vector<StoredRecord> files;
        m_tree.List(*m_history, [&](const StoredRecord& record) {
            if (record.isFolder && !m_found.contains(record.name) && !m_decided.contains(record.name)) {
                files.push_back(record);
            }
            return true;
        });
        for (const StoredRecord& file : files) {
            CollectVersionsOf(file);
        }
    }

    void CollectVersionsOf(const StoredRecord& file) {
        Entry best;
        best.record.storedTime = kNoTime;
        m_tree.List(file.id, [&](const StoredRecord& version) {
            if (!version.isFolder && (version.flags & kRecordPartial) == 0 &&
                version.storedTime <= m_moment && version.storedTime >= best.record.storedTime) {
                best = {version, JoinServerPath(JoinServerPath(m_historyPath, file.name), version.name)};
            }
            return true;
        });
        if (best.record.storedTime != kNoTime && IsThere(best.record, m_moment)) {
            best.record.name = file.name;
            m_found[file.name] = std::move(best);
        }
    }

    SqliteConnection& m_connection;
    SqliteTree m_tree;
    const int64_t m_folder;
    const std::string m_path;
    const std::string m_historyPath;
    const int64_t m_moment;
    std::optional<int64_t> m_history;
    std::map<std::string, Entry> m_found;
    std::set<std::string> m_decided;  // files whose present record says whether they were there
};

}  // namespace

void SqliteCatalog::ListMoment(std::string_view path, std::string_view historyPath, int64_t moment,
                               const MomentVisitor& visit) {
    Read([&](SqliteConnection& connection) {
        MomentListing(connection, path, historyPath, moment).Run(visit);
    });
}

}  // namespace rampart
