// The task database of the interface.
#include "interfaces/transferlib.h"
#include "storage/task_text.h"
#include "transferlib/service_connection.h"

using namespace rampart;

int ApiUtilExp::UploadTaskInfoToWebDatabase(CString const& request) {
    return WithService(_T("Error: UploadTaskInfoToWebDatabase"), nullptr, [&](ServiceConnection& connection) {
        return connection.Service().StoreTask(request.ToUtf8());
    });
}

int ApiUtilExp::DeleteTaskFromWebDatabase(CString const& taskNames) {
    return WithService(_T("Error: DeleteTaskFromWebDatabase"), nullptr, [&](ServiceConnection& connection) {
        ServiceResult first;
        const std::string names = taskNames.ToUtf8();
        for (std::string_view rest = names; !rest.empty();) {
            const size_t end = std::min(rest.find('|'), rest.size());
            const std::string name = PercentDecode(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
            if (name.empty()) {
                continue;
            }
            ServiceResult deleted = connection.Service().DeleteTask(name);
            if (first.Ok()) {
                first = deleted;
            }
        }
        return first;
    });
}

int ApiUtilExp::GetTaskListFromWebDatabase(CString const& taskName, CString const& flag, CString& reply) {
    reply.Empty();
    return WithService(_T("Error: GetTaskListFromWebDatabase"), nullptr, [&](ServiceConnection& connection) {
        const bool paths = flag.CompareNoCase(_T("true")) == 0;
        std::string text;
        ServiceResult result = connection.Service().QueryTasks(taskName.ToUtf8(), paths, text);
        reply = CString::FromUtf8(text);
        return result;
    });
}

int ApiUtilExp::GetTaskNamesFromWebDatabase(int, CString& names, CString& other) {
    names.Empty();
    other.Empty();
    return WithService(_T("Error: GetTaskNamesFromWebDatabase"), nullptr, [&](ServiceConnection& connection) {
        std::vector<std::string> found;
        ServiceResult result = connection.Service().TaskNames(found);
        std::string text;
        for (const std::string& name : found) {
            text.append(text.empty() ? "" : "|").append(name);
        }
        names = CString::FromUtf8(text);
        return result;
    });
}
