// Texts of the task database: what a service replies, and what a client asks of it.
#include "framework/cexception.h"
#include "fuzz/fuzz_input.h"
#include "interfaces/transferlib.h"
#include "manager/task_reply.h"
#include "storage/task_text.h"

namespace rampart::fuzz {
namespace {

void ReadReply(const CString& reply) {
    const TaskReply rows(reply);
    for (size_t index = 0; index < rows.Count(); ++index) {
        try {
            rows.Row(index);
        } catch (const CAtlException&) {
            // A date with a field out of range.
        }
    }
    SourcesOfReply(reply);
    CStringList names(20);
    const int count = ApiUtil::GetVarValueList(reply, _T("RETURN_TaskName"), names);
    Require(count == static_cast<int>(names.GetCount()), "values are counted");
    Require(count == 0 || ApiUtil::GetVarValue(reply, _T("RETURN_TaskName"), 0) == names.GetHead(),
            "the first value of a list is the value");
}

// The name and the paths that a request gives a task are those that the reply tells of it.
void AnswerRequest(std::string_view text) {
    TaskRequest request;
    if (!ParseTaskRequest(text, request)) {
        return;
    }
    const std::string columns = PackTaskColumns(request);
    Require(IsSameTask(columns, request), "a stored task is the one of its request");
    std::string rows;
    AppendTaskReply(columns, 7, rows);
    const TaskReply reply(CString::FromUtf8(rows));
    Require(reply.Count() == 1, "one row has every column once");
    std::string paths;
    for (const TaskPath& path : request.paths) {
        AppendTaskPathReply(path, paths);
    }
    const std::vector<SourceInfo> sources = SourcesOfReply(CString::FromUtf8(paths));
    Require(sources.size() == request.paths.size(), "every path is a source");
    for (size_t index = 0; index < sources.size(); ++index) {
        Require(sources[index].path == CString::FromUtf8(request.paths[index].path), "a path comes back");
    }
}

}  // namespace
}  // namespace rampart::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace rampart;
    using namespace rampart::fuzz;
    const std::string_view text = Input(data, size).Rest();
    ReadReply(CString::FromUtf8(text));
    AnswerRequest(text);
    PercentDecode(text);
    Require(PercentDecode(PercentEncode(text)) == text, "an encoded text comes back");
    return 0;
}
