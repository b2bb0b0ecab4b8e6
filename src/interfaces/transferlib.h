// Contract of transferlib, the engine's only door to the storage service: session, mirror of the server's
// tree, transfers, batches, task database. Server paths are in backslash form ("\Folder\Sub\file.txt").
//
// Every operation may block and may be called from any thread. An operation that returns a service code
// returns one of storage/service_code.h; 0 is success.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "framework/framework.h"
#include "interfaces/baselib.h"
#include "interfaces/progresslib.h"

// What the account holds and may hold; bytes.
struct VAULTLIB_API AccountBalance {
    __int64 m_header = 0;
    double m_balanceA = 0;
    double m_balanceB = 0;
    __int64 m_reserved0 = 0;
    CString m_accountText;
    __int64 m_usedSpace = 0;
    __int64 m_reserved1 = 0;
    int32_t m_reserved2[4] = {};
    __int64 m_totalSpace = 0;  // below 1: no purchased space
    __int64 m_usedSpaceOther = 0;
    int32_t m_reserved3 = 0;
    int32_t m_reserved4 = 0;
    __int64 m_reserved5[2] = {};
    double m_balanceC = 0;
    __int64 m_reserved6 = 0;
    CString m_text1, m_text2, m_text3, m_text4, m_text5;
};

// Data of the customer; hosts copy it, the engine reads none of it.
struct VAULTLIB_API CustomerInfo {
    CString m_customerID;
    __int64 m_createdTime = 0;
    CString m_text[8];
    int32_t m_type = 0;
    CString m_email;
    int32_t m_state = 0;
    CString m_name[2];
    int32_t m_language = 0;
    int32_t m_flags = 0;
    CString m_more[4];
};

// One server path as the service knows it. Held through CAutoMyPathInfo only.
struct VAULTLIB_API MyPathInfo {
    __int64 m_size = 0;
    SYSTEMTIME m_modifiedTime = {};  // last-write time; a year below 1900: no time is known
    SYSTEMTIME m_createdTime = {};
    int m_hasFlag = 0;
    int m_subItemCount = 0;  // entries of a folder
    int m_isFolder = 0;
    CString m_path;  // whole server path, in the service's case
    CString m_name;
    CString m_description;
    __int64 m_storedTime = 0;  // seconds since 1970 UTC at which the record was made or replaced
    // See CServerPathList::Facts.
    bool m_isExact = false;
    __int64 m_exactModifiedTime = 0;
    __int64 m_changeTime = 0;
    FileKind m_kind = FileKind::kFile;
    bool m_isDamaged = false;
    bool m_isGone = false;
};

// Scoped handle of a record. Assigning a pointer that GetPathInfoEx, FindPath or GetSubList gave takes it
// over.
class VAULTLIB_API CAutoMyPathInfo {
public:
    CAutoMyPathInfo() = default;
    CAutoMyPathInfo(MyPathInfo* info) : m_info(info) {}
    CAutoMyPathInfo(CAutoMyPathInfo const&) = delete;
    CAutoMyPathInfo& operator=(CAutoMyPathInfo const&) = delete;
    CAutoMyPathInfo& operator=(MyPathInfo* info);
    bool operator==(MyPathInfo const* other) const { return m_info.get() == other; }
    bool operator!=(MyPathInfo const* other) const { return m_info.get() != other; }
    MyPathInfo const* operator->() const { return m_info.get(); }
    MyPathInfo* operator*() const { return m_info.get(); }

private:
    std::unique_ptr<MyPathInfo> m_info;
};

enum EM_LogonStatus {
    LogonStatusOn = 0,
    LogonStatusOff = 1,  // a folder scan ends
    LogonStatusConnecting = 2,
};

class VAULTLIB_API ManageLogonStatus {
public:
    EM_LogonStatus GetLogOnStatus() const { return m_status; }
    void SetLogOnStatus(EM_LogonStatus status) { m_status = status; }

private:
    std::atomic<EM_LogonStatus> m_status{LogonStatusOff};
};

// The root of the local cache.
class VAULTLIB_API CManageCacheDirMan {
public:
    CString GetCacheDir() const;  // created on first use; without trailing backslash
    CString GetRemoteFilePathInOpenCache() const { return m_remoteFilePath; }
    int IsOpenCachePath() const { return m_isOpenCachePath; }
    void SetOpenCachePathBooleanValue(int value) { m_isOpenCachePath = value; }

private:
    CString m_remoteFilePath;
    int m_isOpenCachePath = 0;
};

// The mirror of the server's tree, loaded folder by folder on first touch and kept fresh by the change
// sequence. A lookup takes the exact name first, then the name without regard to case.
class VAULTLIB_API CServerPathList {
public:
    // Null if the path does not exist. The caller owns the record (CAutoMyPathInfo).
    MyPathInfo* FindPath(CString path, int share, int reserved, POSITION* pos, int refresh);
    // The same with a service code: 0, 11 when the path does not exist, or why that cannot be told.
    int FindRecord(CString const& path, CAutoMyPathInfo& record);
    struct Facts {
        bool isFolder = false;
        __int64 size = 0;
        __int64 modifiedTime = 0;  // seconds since 1970 UTC, 0 if unknown
        // What only a record made by this program knows: the exact last-write time and the local change time
        // in nanoseconds since 1970 UTC, and a name for its attributes, equal where they are.
        bool isExact = false;
        __int64 exactModifiedTime = 0;
        __int64 changeTime = 0;
        __int64 attributes = 0;
        FileKind kind = FileKind::kFile;
        bool isDamaged = false;  // stored bytes are known to be damaged: it is to be sent again
        bool isGone = false;     // was not found any more by an earlier run
        CString inexactPath;     // the record's own path where that differs in case, else empty
    };
    // The same without a copy of the record, for callers that judge many files. Costs a hash probe and no
    // allocation for a sibling of the path asked last on this thread.
    int FindFacts(CString const& path, Facts& facts);
    // The direct entries of a folder that are neither gone nor uploads under way, as they are named there;
    // false from `visit` ends it. A service code. The mirror is held during the call: `visit` must not call
    // it.
    int VisitEntries(CString const& folder,
                     std::function<bool(std::basic_string_view<TCHAR> name, bool isFolder)> const& visit);
    int IsPathExistEx(CString path, int share, int reserved);
    // Reads one folder from the service again; a service code.
    int RefreshFolder(CString path, int, int);
    // Appends the children of a folder (with `recursive` all below it, parents first) as MyPathInfo*; the
    // caller owns them. A service code.
    int GetSubList(CPtrList& out, CString path, int reserved, int recursive, int refresh);
};

// The batch uploader: collects small files and sends them in one round trip.
class VAULTLIB_API BatchMode {
public:
    explicit BatchMode(int mode);
    ~BatchMode();
    BatchMode(BatchMode const&) = delete;
    BatchMode& operator=(BatchMode const&) = delete;

    // `origin`: the local file of which `local` is a copy, whose attributes the record is to have; empty for
    // `local` itself.
    // 70: queued. 20: queued in the next batch, and the sealed one must be sent now. 0: too big, send it
    // alone. Other: the file's service code; it is not in the batch.
    int BatchFileUpload(CString local, CString serverFolder, CString origin, CString, ProgressCallBack* cb,
                        int, int firstCall);
    int DoBatch(int, int);  // sends the sealed batch; a service code
    int LeaveMode(int);     // sends what is left and ends the batch; a service code
    int IsBatchWorking() const;
    void CancelMe();  // a running send ends with 6; what is queued is dropped

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

class VAULTLIB_API ApiUtil {
public:
    // Session.
    static int Logon(CString user, CString password, CString& message);
    static CString GetUsername();
    static CString GetPassword();
    static CString GetSessionID();  // empty: not logged on
    static CString GetCustomerID();
    static CString GetUsertype();
    static int IsPaidUser(CString usertype);
    static int IsAllowSubscribe();
    static CString GetRealWebAppURL();
    static CString GetSrcRefString();
    static ManageLogonStatus& GetManageLogonStatus();
    // Reconnects in silence; the signal of `cancelEvent` (may be null) ends the wait. Nonzero when connected.
    static int AutoConnect(void* cancelEvent, int retry);
    static int DetectConnect(int loop);  // nonzero if the service can be reached
    // Makes the transfer that runs on that thread fail.
    static int CloseConnectionByThreadID(unsigned long threadId);
    static void SetSuspendStatus(int suspend);  // 1 holds all transfers of the process, 0 lets them go on
    static int GetVersionFromServer(int);
    static void SetProgressID(CString id);
    // For hosts that read and set them beside the engine.
    static CString GetProgressID();
    static void SetDropBoxDropBoxUniqueID(CString id);
    // First value of `key` in a reply; empty if there is none.
    static CString GetVarValue(CString const& reply, CString const& key, int);
    // Appends all values of `key` in reply order; their number.
    static int GetVarValueList(CString const& reply, CString const& key, CStringList& out);

    // Server tree.
    static CServerPathList& GetServerPathlist();
    static MyPathInfo* GetPathInfoEx(CString path, int share, int);  // null if missing; the caller owns it
    static int IsSharePath(CString const& path);
    static int NeedEncrypted(CString const& path);  // files below it take 128 bytes more on the server
    // Absolute local path; an absolute path comes back as it is.
    static CString PathToFullPath(CString const& path);

    // Transfers and edits: service codes. `cb` may be null.
    // `origin`: see BatchMode::BatchFileUpload.
    static int UploadFile(CString local, CString serverFolder, CString origin, CString, CString& message,
                          ProgressCallBack* cb, int, int, int, int, int);
    // The file gets the record's last-write time. An existing local file is replaced only once all is there.
    static int DownloadFile(CString server, CString local, ProgressCallBack* cb, int);
    static int DeleteFileW(CString serverPath);
    static int DeletePaths(CStringList& paths);
    static int DeletePaths(CStringList& paths, ProgressCallBack* cb);
    static int DeletePaths(CStringList& paths, ProgressCallBack* cb, int, CString& message);
    static int CopyServerPath(MyPathInfo* source, long, CString destinationFolder, int);
    static int CopyServerPath(MyPathInfo* source, long, CString destinationFolder, int, ProgressCallBack* cb,
                              CString, CString& message);
    static int EditFile(CString path, CString newName, CString, CString, CString& message);
    static __int64 EditFolder(CString path, CString newName, CString description, CString);
    // `path` is the folder to make, its parents exist. Success is a folder id of 2000 or more; otherwise a
    // code.
    static __int64 AddEditFolder(CString path, CString name, CString description, CString flag);
    static int SendEmail(CString& recipient, CString& subject, CString& body, CString html);
    static int GetAccountBalance(AccountBalance& balance);  // also keeps it for the process
    static int GetAccountBalance(AccountBalance& balance, int refresh);

    // Limits.
    static __int64 GetLimitUploadNumber();
    static __int64 GetFreeMaxSingleFileSize();
    static __int64 GetBatchTotalSize(int);  // bytes; a file of that size or more is sent alone
    static int GetSupportMultipleThreadTransfer();
    static __int64 GetLimitThreadPoolSize();  // bytes; a bigger file is not given to a worker
    static int IsSupportVSS();
    static CString GetFileFilterSetting();
    static CString GetFolderFilterSetting();

    static CString GetQuilString(__int64 code);  // text of a service code, never empty
    static CManageCacheDirMan& GetManageCacheDirMan();

    static CString EncodeURL(CString const& text);  // percent-encoding of the UTF-8 form
    static CString Int64ToStr(__int64 value);
    static __int64 StrToInt64(CString const& text);
    static double StrToDouble(CString const& text);
    static CTime SystemTimeToTime(SYSTEMTIME const& time);
};

// The task database.
class VAULTLIB_API ApiUtilExp {
public:
    static int UploadTaskInfoToWebDatabase(CString const& request);
    static int DeleteTaskFromWebDatabase(CString const& taskNames);  // encoded names, each followed by "|"
    // flag "true": the task's source paths; "false": rows, of all tasks with an empty name. Empty reply:
    // none.
    static int GetTaskListFromWebDatabase(CString const& taskName, CString const& flag, CString& reply);
    static int GetTaskNamesFromWebDatabase(int, CString& names, CString& other);
};

class VAULTLIB_API ApiFunctions {
public:
    static CString GetGlobalPath(int);
    // 0 if `path` lies inside `folder`, without regard to case; nonzero for any other path.
    static int FindPathNoCase(CString const& path, CString const& folder);
};
