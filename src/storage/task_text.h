// The texts exchanged with the task database: requests of "KEY=value&" pairs, replies of lines "KEY=value".
// Values are percent-encoded UTF-8.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rampart {

std::string PercentEncode(std::string_view text);
// "%XX" only; a percent sign that is not followed by two digits stays.
std::string PercentDecode(std::string_view text);

struct TaskPath {
    std::string path;
    std::string serial;
    bool isFolder = false;
    bool remove = false;
};

struct TaskRequest {
    bool isAdd = false;
    std::string name;
    std::string oldName;
    // Every pair that is a column of the row, in the order of the request, decoded.
    std::vector<std::pair<std::string, std::string>> columns;
    std::vector<TaskPath> paths;
};

// False if there is no task name in it, or if its count of paths does not fit the paths.
bool ParseTaskRequest(std::string_view text, TaskRequest& request);

// The columns as one text and back, for storing a row.
std::string PackTaskColumns(const TaskRequest& request);
// Whether both name the same task of the same machine.
bool IsSameTask(std::string_view packedColumns, const TaskRequest& request);

// Appends the lines of one row. `taskId` stands in for a request that gave none.
void AppendTaskReply(std::string_view packedColumns, long long taskId, std::string& reply);
void AppendTaskPathReply(const TaskPath& path, std::string& reply);

}  // namespace rampart
