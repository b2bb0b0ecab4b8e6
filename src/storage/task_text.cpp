#include "storage/task_text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <map>

namespace rampart {
namespace {

enum class Form { kText, kDate, kTaskId };

struct ReplyColumn {
    const char* requestKey;
    const char* replyKey;
    Form form;
};

// In the order of a reply.
constexpr ReplyColumn kReplyColumns[] = {
    {"TaskID", "RETURN_TaskID", Form::kTaskId},
    {"ComputerID", "RETURN_PcID", Form::kText},
    {"TaskName", "RETURN_TaskName", Form::kText},
    {"Descr", "RETURN_Descr", Form::kText},
    {"PcName", "RETURN_PcName", Form::kText},
    {"Type", "RETURN_Type", Form::kText},
    {"BackupDate", "RETURN_BackupDate", Form::kDate},
    {"ServerPath", "RETURN_ServerPath", Form::kText},
    {"LogFilePath", "RETURN_LogFilePath", Form::kText},
    {"FilterExts", "RETURN_FilterExts", Form::kText},
    {"FilterPaths", "RETURN_FilterPaths", Form::kText},
    {"MaxVersion", "ETURN_MaxVersion", Form::kText},  // clients ask for this key
    {"NextDate", "RETURN_NextDate", Form::kDate},
    {"BeginDate", "RETURN_BeginDate", Form::kDate},
    {"EndDate", "RETURN_EndDate", Form::kDate},
    {"ResumeDate", "RETURN_ResumeDate", Form::kDate},
    {"ModifyTime", "RETURN_ModifyTime", Form::kDate},
    {"RemoteSize", "RETURN_RemoteSize", Form::kText},
    {"IsResume", "RETURN_IsResume", Form::kText},
    {"FilterType", "RETURN_FilterType", Form::kText},
    {"status", "RETURN_Status", Form::kText},
    {"AdvancedOption", "RETURN_AdvancedOption", Form::kText},
};

// Pairs of a request that are no columns.
constexpr std::string_view kControlKeys[] = {"Upgraded", "OldTaskName", "Action", "localPathNum"};

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// "2024-01-31 08:05:00" to "1/31/2024 8:5:0"; a text of another form gives an empty one.
std::string ReplyDate(const std::string& date) {
    int year, month, day, hour, minute, second;
    if (std::sscanf(date.c_str(), "%d-%d-%d %d:%d:%d", &year, &month, &day, &hour, &minute, &second) != 6) {
        return {};
    }
    char text[96];
    std::snprintf(text, sizeof(text), "%d/%d/%d %d:%d:%d", month, day, year, hour, minute, second);
    return text;
}

template <typename Visit>
void ForEachPair(std::string_view text, Visit&& visit) {
    while (!text.empty()) {
        const size_t end = text.find('&');
        const std::string_view pair = text.substr(0, end);
        const size_t equals = pair.find('=');
        if (equals != std::string_view::npos) {
            visit(pair.substr(0, equals), PercentDecode(pair.substr(equals + 1)));
        }
        if (end == std::string_view::npos) {
            return;
        }
        text.remove_prefix(end + 1);
    }
}

// The number behind `prefix`, or -1 for another key.
int NumberedKey(std::string_view key, std::string_view prefix) {
    int number = -1;
    if (!key.starts_with(prefix) || key.size() == prefix.size()) {
        return -1;
    }
    const char* const end = key.data() + key.size();
    const auto [at, error] = std::from_chars(key.data() + prefix.size(), end, number);
    return error == std::errc() && at == end && number >= 0 ? number : -1;
}

bool TakePathPair(std::string_view key, const std::string& value, std::map<int, TaskPath>& paths) {
    int number = NumberedKey(key, "Path");
    if (number >= 0) {
        paths[number].path = value;
        return true;
    }
    number = NumberedKey(key, "Serial");
    if (number >= 0) {
        paths[number].serial = value;
        return true;
    }
    number = NumberedKey(key, "IsFolder");
    if (number >= 0) {
        paths[number].isFolder = value == "1";
        return true;
    }
    number = NumberedKey(key, "Action");
    if (number >= 0) {
        paths[number].remove = value == "1";
        return true;
    }
    return false;
}

using ColumnMap = std::map<std::string, std::string, std::less<>>;

ColumnMap UnpackTaskColumns(std::string_view packed) {
    ColumnMap columns;
    ForEachPair(packed, [&](std::string_view key, std::string value) {
        columns[PercentDecode(key)] = std::move(value);
    });
    return columns;
}

void AppendLine(const char* key, std::string_view value, std::string& reply) {
    reply.append(key).append("=").append(PercentEncode(value)).append("\n");
}

}  // namespace

std::string PercentEncode(std::string_view text) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (const char c : text) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '-' || c == '_' || c == '.' || c == '~';
        if (plain) {
            encoded.push_back(c);
        } else {
            const auto byte = static_cast<unsigned char>(c);
            encoded.push_back('%');
            encoded.push_back(kDigits[byte >> 4]);
            encoded.push_back(kDigits[byte & 15]);
        }
    }
    return encoded;
}

std::string PercentDecode(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const int high = HexDigit(text[i + 1]);
            const int low = HexDigit(text[i + 2]);
            if (high >= 0 && low >= 0) {
                decoded.push_back(static_cast<char>(high * 16 + low));
                i += 2;
                continue;
            }
        }
        decoded.push_back(text[i]);
    }
    return decoded;
}

bool ParseTaskRequest(std::string_view text, TaskRequest& request) {
    request = {};
    std::map<int, TaskPath> paths;
    std::string pathCount;
    ForEachPair(text, [&](std::string_view key, std::string value) {
        if (TakePathPair(key, value, paths)) {
            return;
        }
        if (key == "Action") {
            request.isAdd = value.size() == 3 && (value[0] | 0x20) == 'a' && (value[1] | 0x20) == 'd' &&
                            (value[2] | 0x20) == 'd';
        } else if (key == "OldTaskName") {
            request.oldName = std::move(value);
        } else if (key == "localPathNum") {
            pathCount = std::move(value);
        } else if (std::find(std::begin(kControlKeys), std::end(kControlKeys), key) ==
                   std::end(kControlKeys)) {
            if (key == "TaskName") {
                request.name = value;
            }
            request.columns.emplace_back(key, std::move(value));
        }
    });
    for (auto& [number, path] : paths) {
        if (path.path.empty()) {
            return false;
        }
        request.paths.push_back(std::move(path));
    }
    return !request.name.empty() && (pathCount.empty() || pathCount == std::to_string(request.paths.size()));
}

std::string PackTaskColumns(const TaskRequest& request) {
    std::string packed;
    for (const auto& [key, value] : request.columns) {
        packed.append(PercentEncode(key)).append("=").append(PercentEncode(value)).append("&");
    }
    return packed;
}

bool IsSameTask(std::string_view packedColumns, const TaskRequest& request) {
    ColumnMap stored = UnpackTaskColumns(packedColumns);
    ColumnMap asked = UnpackTaskColumns(PackTaskColumns(request));
    return stored["TaskID"] == asked["TaskID"] && stored["ComputerID"] == asked["ComputerID"];
}

void AppendTaskReply(std::string_view packedColumns, long long taskId, std::string& reply) {
    ColumnMap columns = UnpackTaskColumns(packedColumns);
    for (const ReplyColumn& column : kReplyColumns) {
        std::string value = columns[column.requestKey];
        if (column.form == Form::kDate) {
            value = ReplyDate(value);
        } else if (column.form == Form::kTaskId && (value.empty() || value == "0")) {
            value = std::to_string(taskId);
        }
        AppendLine(column.replyKey, value, reply);
    }
}

void AppendTaskPathReply(const TaskPath& path, std::string& reply) {
    AppendLine("RETURN_Path", path.path, reply);
    AppendLine("RETURN_Serial", path.serial, reply);
    AppendLine("RETURN_IsFolder", path.isFolder ? "1" : "0", reply);
}

}  // namespace rampart
