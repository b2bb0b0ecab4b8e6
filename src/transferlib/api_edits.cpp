// Transfers and edits of the interface: uploads, downloads, folders, names, copies and deletions.
#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "storage/server_path.h"
#include "transferlib/file_download.h"
#include "transferlib/file_upload.h"
#include "transferlib/service_connection.h"
#include "transferlib/tree_edit.h"

using namespace rampart;

int ApiUtil::UploadFile(CString local, CString serverFolder, CString origin, CString, CString& message,
                        ProgressCallBack* cb, int, int, int, int, int) {
    return WithService(_T("Error: UploadFile"), &message, [&](ServiceConnection& connection) {
        return FileUpload(connection, PathToFullPath(local), origin, serverFolder, cb).Run();
    });
}

int ApiUtil::DownloadFile(CString server, CString local, ProgressCallBack* cb, int) {
    return WithService(_T("Error: DownloadFile"), nullptr, [&](ServiceConnection& connection) {
        Transfer transfer(cb);
        int64_t told = 0;
        return FileDownload(connection.Service(), server.ToUtf8(), PathToFullPath(local))
            .Run(true, [&](int64_t done, int64_t total) {
                const int64_t bytes = done - std::exchange(told, done);
                return transfer.Advance(local, bytes, done, total);
            });
    });
}

int ApiUtil::DeleteFileW(CString serverPath) {
    CStringList paths;
    paths.AddTail(serverPath);
    return DeletePaths(paths);
}

int ApiUtil::DeletePaths(CStringList& paths) {
    return DeletePaths(paths, nullptr);
}

int ApiUtil::DeletePaths(CStringList& paths, ProgressCallBack* cb) {
    CString message;
    return DeletePaths(paths, cb, 0, message);
}

int ApiUtil::DeletePaths(CStringList& paths, ProgressCallBack* cb, int, CString& message) {
    return WithService(_T("Error: DeletePaths"), &message, [&](ServiceConnection& connection) {
        std::vector<std::string> doomed;
        for (const CString& path : paths) {
            doomed.push_back(path.ToUtf8());
        }
        return TreeEdit(connection).Delete(doomed, cb);
    });
}

int ApiUtil::CopyServerPath(MyPathInfo* source, long reserved, CString destinationFolder, int) {
    CString message;
    return CopyServerPath(source, reserved, destinationFolder, 1, nullptr, CString(), message);
}

int ApiUtil::CopyServerPath(MyPathInfo* source, long, CString destinationFolder, int, ProgressCallBack* cb,
                            CString, CString& message) {
    return WithService(_T("Error: CopyServerPath"), &message, [&](ServiceConnection& connection) {
        if (source == nullptr) {
            return ServiceResult(kNotFound, ServiceCodeText(kNotFound));
        }
        return TreeEdit(connection).Copy(source->m_path, destinationFolder, cb);
    });
}

int ApiUtil::EditFile(CString path, CString newName, CString, CString, CString& message) {
    return WithService(_T("Error: EditFile"), &message, [&](ServiceConnection& connection) {
        return TreeEdit(connection).Rename(path, newName);
    });
}

__int64 ApiUtil::EditFolder(CString path, CString newName, CString description, CString) {
    return WithService(_T("Error: EditFolder"), nullptr, [&](ServiceConnection& connection) {
        TreeEdit edit(connection);
        if (!description.IsEmpty()) {
            if (ServiceResult described = edit.Describe(path, description); !described.Ok()) {
                return described;
            }
        }
        return newName.IsEmpty() ? ServiceResult() : edit.Rename(path, newName);
    });
}

__int64 ApiUtil::AddEditFolder(CString path, CString, CString description, CString flag) {
    int64_t id = 0;
    const int code = WithService(_T("Error: AddEditFolder"), nullptr, [&](ServiceConnection& connection) {
        const bool hidden = flag.CompareNoCase(_T("N")) == 0;
        return TreeEdit(connection).MakeFolder(path, description, hidden ? uint32_t{kRecordHidden} : 0, id);
    });
    return code == kOk ? id : code;
}
