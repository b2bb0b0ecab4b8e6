// What is known of records beside their content, and when they ceased to be seen.
#include <algorithm>
#include <map>

#include "storage/server_path.h"
#include "storage/sqlite_attributes.h"
#include "storage/sqlite_catalog.h"
#include "storage/sqlite_schema.h"

namespace rampart {
namespace {

void BindTime(SqliteStatement& statement, int parameter, int64_t time) {
    time == kNoTime ? statement.BindNull(parameter) : statement.Bind(parameter, time);
}

// The folders that a transaction has changed, raised to one change sequence at its end.
class TouchedFolders {
public:
    explicit TouchedFolders(SqliteTree& tree) : m_tree(tree) {}
    void Add(int64_t folder) {
        if (m_folders.empty() || m_folders.back() != folder) {
            m_folders.push_back(folder);
        }
    }
    // 0 if there are none.
    int64_t Raise() {
        if (m_folders.empty()) {
            return 0;
        }
        std::sort(m_folders.begin(), m_folders.end());
        m_folders.erase(std::unique(m_folders.begin(), m_folders.end()), m_folders.end());
        const int64_t sequence = m_tree.RaiseSequence();
        for (const int64_t folder : m_folders) {
            m_tree.TouchFolder(folder, 0, sequence);
        }
        return sequence;
    }

private:
    SqliteTree& m_tree;
    std::vector<int64_t> m_folders;
};

// A folder itself is touched in its parent; the root in itself.
int64_t ListingOf(const SqliteTree::Place& place) {
    return place.parent == 0 ? kRootFolderId : place.parent;
}

class GoneMarker {
public:
    GoneMarker(SqliteConnection& connection, TouchedFolders& touched, int64_t when)
        : m_connection(connection), m_touched(touched), m_when(when) {}

    void Mark(const SqliteTree::Place& place, const StoredRecord& record) {
        SqliteStatement update =
            m_connection.Prepare("UPDATE record SET gone=?1 WHERE parent=?2 AND name=?3 AND gone IS NULL");
        update.Bind(1, m_when).Bind(2, place.parent).BindText(3, place.name).Run();
        m_touched.Add(place.parent);
        if (record.isFolder) {
            MarkBelow(record.id);
        }
    }

private:
    void MarkBelow(int64_t folder) {
        std::vector<int64_t> left{folder};
        while (!left.empty()) {
            const int64_t id = left.back();
            left.pop_back();
            SqliteStatement subfolders =
                m_connection.Prepare("SELECT id FROM record WHERE parent=? AND kind=1 AND gone IS NULL");
            subfolders.Bind(1, id);
            while (subfolders.Step()) {
                left.push_back(subfolders.Int(0));
            }
            SqliteStatement update =
                m_connection.Prepare("UPDATE record SET gone=?1 WHERE parent=?2 AND gone IS NULL");
            update.Bind(1, m_when).Bind(2, id).Run();
            m_touched.Add(id);
        }
    }

    SqliteConnection& m_connection;
    TouchedFolders& m_touched;
    const int64_t m_when;
};

}  // namespace

int64_t SqliteCatalog::SetAttributes(std::span<const AttributeCommit> commits) {
    return Write([&](SqliteConnection& connection) {
        SqliteTree tree(connection);
        SqliteAttributes attributes(connection);
        TouchedFolders touched(tree);
        SqliteStatement update = connection.Prepare(
            "UPDATE record SET touched=?1, attribute=?2, modified=CASE kind WHEN 1 THEN ?3 ELSE modified END,"
            " created=CASE kind WHEN 1 THEN ?3 ELSE created END"
            " WHERE parent=?4 AND name=?5");
        for (const AttributeCommit& commit : commits) {
            const std::optional<int64_t> parent = tree.FindExactFolder(commit.folder);
            const SqliteTree::Place place{parent.value_or(0), commit.name};
            StoredRecord record;
            if (!parent || !tree.Load(place, record) || (record.flags & kRecordPartial) != 0 ||
                (commit.id != 0 && record.id != commit.id)) {
                continue;
            }
            BindTime(update, 1, commit.changeTime);
            const int64_t id = attributes.IdOf(commit.attributes);
            id == 0 ? update.BindNull(2) : update.Bind(2, id);
            BindTime(update, 3, commit.modifiedTime);
            update.Bind(4, place.parent).BindText(5, place.name).Run();
            touched.Add(ListingOf(place));
        }
        return touched.Raise();
    });
}

int64_t SqliteCatalog::MarkGone(std::span<const std::string> paths, int64_t when) {
    return Write([&](SqliteConnection& connection) {
        SqliteTree tree(connection);
        TouchedFolders touched(tree);
        GoneMarker marker(connection, touched, when);
        for (const std::string& path : paths) {
            const ServerPathParts parts = SplitLastName(path);
            const std::optional<int64_t> parent = tree.FindExactFolder(parts.folder);
            StoredRecord record;
            const SqliteTree::Place place{parent.value_or(0), std::string(parts.name)};
            if (parent && !parts.name.empty() && tree.Load(place, record) &&
                (record.flags & kRecordGone) == 0) {
                marker.Mark(place, record);
            }
        }
        return touched.Raise();
    });
}

std::string SqliteCatalog::ReadAttributes(int64_t attributes) {
    return Read([&](SqliteConnection& connection) { return SqliteAttributes(connection).Read(attributes); });
}

}  // namespace rampart
