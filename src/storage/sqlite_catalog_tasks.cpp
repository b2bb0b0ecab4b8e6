// The task database: one row a task, with the row's columns as one text, and child rows for its source paths.
#include "storage/name_folding.h"
#include "storage/sqlite_catalog.h"
#include "storage/task_text.h"

namespace rampart {
namespace {

int64_t FindTask(SqliteConnection& connection, std::string_view name) {
    const std::string folded = FoldCase(name);
    SqliteStatement query = connection.Prepare("SELECT id FROM task WHERE folded=?");
    query.BindText(1, folded);
    return query.Step() ? query.Int(0) : 0;
}

bool IsRowOf(SqliteConnection& connection, int64_t id, const TaskRequest& request) {
    SqliteStatement query = connection.Prepare("SELECT columns FROM task WHERE id=?");
    query.Bind(1, id);
    return query.Step() && IsSameTask(query.Bytes(0), request);
}

// The row that the request writes to; 0 for a new one. A request that is sent twice finds what it made
// before.
int64_t TargetRow(SqliteConnection& connection, const TaskRequest& request) {
    const int64_t named = FindTask(connection, request.name);
    if (request.isAdd) {
        if (named != 0 && !IsRowOf(connection, named, request)) {
            throw StorageError(kNameTaken, "there is another task " + request.name);
        }
        return named;
    }
    const int64_t old = request.oldName.empty() ? named : FindTask(connection, request.oldName);
    if (old != 0 && named != 0 && named != old) {
        throw StorageError(kNameTaken, "there is another task " + request.name);
    }
    if (old == 0 && named == 0) {
        throw StorageError(kNotFound, "there is no task " + request.name);
    }
    return old != 0 ? old : named;
}

int64_t StoreRow(SqliteConnection& connection, int64_t id, const TaskRequest& request) {
    const std::string folded = FoldCase(request.name);
    const std::string columns = PackTaskColumns(request);
    if (id == 0) {
        SqliteStatement insert =
            connection.Prepare("INSERT INTO task(name, folded, columns) VALUES(?, ?, ?) RETURNING id");
        insert.BindText(1, request.name).BindText(2, folded).BindText(3, columns);
        insert.Step();
        return insert.Int(0);
    }
    SqliteStatement update = connection.Prepare("UPDATE task SET name=?, folded=?, columns=? WHERE id=?");
    update.BindText(1, request.name).BindText(2, folded).BindText(3, columns).Bind(4, id).Run();
    return id;
}

void StorePaths(SqliteConnection& connection, int64_t id, const TaskRequest& request) {
    if (request.isAdd) {
        SqliteStatement clear = connection.Prepare("DELETE FROM task_path WHERE task=?");
        clear.Bind(1, id).Run();
    }
    SqliteStatement insert = connection.Prepare(
        "INSERT INTO task_path(task, path, serial, is_folder) VALUES(?1, ?2, ?3, ?4)"
        " ON CONFLICT(task, path) DO UPDATE SET serial=?3, is_folder=?4");
    SqliteStatement remove = connection.Prepare("DELETE FROM task_path WHERE task=? AND path=?");
    for (const TaskPath& path : request.paths) {
        if (path.remove) {
            remove.Bind(1, id).BindText(2, path.path).Run();
        } else {
            insert.Bind(1, id)
                .BindText(2, path.path)
                .BindText(3, path.serial)
                .Bind(4, path.isFolder ? 1 : 0)
                .Run();
        }
    }
}

}  // namespace

void SqliteCatalog::StoreTask(const std::string& request) {
    TaskRequest parsed;
    if (!ParseTaskRequest(request, parsed)) {
        throw StorageError(kInvalidRequest, "the task request has no name or a wrong count of paths");
    }
    Write([&](SqliteConnection& connection) {
        const int64_t id = StoreRow(connection, TargetRow(connection, parsed), parsed);
        StorePaths(connection, id, parsed);
    });
}

std::string SqliteCatalog::QueryTasks(std::string_view name, bool paths) {
    return Read([&](SqliteConnection& connection) {
        std::string reply;
        if (paths) {
            SqliteStatement query =
                connection.Prepare("SELECT path, serial, is_folder FROM task_path WHERE task=? ORDER BY id");
            query.Bind(1, FindTask(connection, name));
            while (query.Step()) {
                AppendTaskPathReply(
                    {std::string(query.Bytes(0)), std::string(query.Bytes(1)), query.Int(2) != 0}, reply);
            }
            return reply;
        }
        SqliteStatement query = name.empty() ? connection.Prepare("SELECT columns, id FROM task ORDER BY id")
                                             : connection.Prepare("SELECT columns, id FROM task WHERE id=?");
        if (!name.empty()) {
            query.Bind(1, FindTask(connection, name));
        }
        while (query.Step()) {
            AppendTaskReply(query.Bytes(0), query.Int(1), reply);
        }
        return reply;
    });
}

std::vector<std::string> SqliteCatalog::TaskNames() {
    return Read([&](SqliteConnection& connection) {
        std::vector<std::string> names;
        SqliteStatement query = connection.Prepare("SELECT name FROM task ORDER BY id");
        while (query.Step()) {
            names.emplace_back(query.Bytes(0));
        }
        return names;
    });
}

void SqliteCatalog::DeleteTask(std::string_view name) {
    Write([&](SqliteConnection& connection) {
        SqliteStatement remove = connection.Prepare("DELETE FROM task WHERE id=?");
        remove.Bind(1, FindTask(connection, name)).Run();
    });
}

}  // namespace rampart
