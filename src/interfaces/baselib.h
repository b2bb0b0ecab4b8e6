// Contract of baselib: configuration and texts, paths and files, time, XML, debug log, lock helpers.
// All functions may be called from any thread unless a line says otherwise; none throws.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <vector>

#include "framework/framework.h"

// ---- Configuration and texts ----

class VAULTLIB_API DictUtil {
   public:
    // Value of `key` in `section` of the configuration file; a missing key gives `defaultText` ("" reads as 0).
    // `file` is always empty: the application's own file.
    static int GetConfigInt(CString const& section, CString const& key, CString const& defaultText, CString const& file);
    static CString GetConfigString(CString const& section, CString const& key, CString const& defaultText,
                                   CString const& file);
    // Text of `key` in the language dictionary.
    static CString GetValue(CString const& key, CString const& defaultText);
    static CString GetAppExeFolder();
};

class VAULTLIB_API CRegSettingUtil {
   public:
    static int GetRegInfo(CString const& section, CString const& key, CString& value);  // nonzero if it exists
    static int SetRegInfo(CString const& section, CString const& key, CString const& value);
    static int IsGreenVersion();  // all settings live in the configuration file
};

// ---- Time ----

class VAULTLIB_API TimeUtil {
   public:
    // "%.2d/%.2d/%d %.2d:%.2d:%.2d" with month, day, year, hour, minute, second.
    static CString TimeToStr(CTime const& time);
    static CString TimeToStr(SYSTEMTIME const& time, int);
    static CTime StrToTime(CString const& text);  // zero for an empty or malformed text
    static SYSTEMTIME TimeToSystemTime(CTime const& time);
    static CTime SystemTimeToTime(SYSTEMTIME const& time);
    static void LocalTimeToUtcTime(CTime& time);  // raw clock to stored form
    static void UtcTimeToLocalTime(CTime& time);
    static CString LocalStrToUtcStr(CString const& text);
};

// ---- Paths ----

class VAULTLIB_API PathUtilities {
   public:
    static CString Append(CString const& a, CString const& b);  // joined by exactly one backslash
    static CString GetExtension(CString const& path);           // with its point, also of ".profile"
    static CString RemoveExtension(CString const& path);
    static CString GetFileName(CString const& path);
    static CString GetParentFolder(CString const& path);
    static CString GetSubPath(CString const& full, CString const& base);
    static CString RemoveBackslash(CString const& path);
    static CString StripToRoot(CString const& path);
    static bool IsExisting(CString const& path);
    static int IsHidePath(CString const& path);
    static bool RenameFile(CString const& from, CString const& to);
};

// ---- Files and folders ----

// Attributes of a local file, read once. An absent file yields zeros.
class VAULTLIB_API CFileInfo {
   public:
    explicit CFileInfo(CString const& path);
    CString m_path;
    __int64 m_size = 0;
    CTime m_creationTime;
    CTime m_accessTime;
    CTime m_lastWriteTime;
    DWORD m_attributes = 0;
    int m_exists = 0;     // a regular file or a folder is there
    int m_isFolder = 0;
};

class VAULTLIB_API KXFile : public CFile {
   public:
    KXFile() = default;
    KXFile(CString const& path, UINT flags);  // a failed open leaves the file closed
    int Open(LPCTSTR path, UINT flags, CFileException* exception = nullptr) override;  // 0 on failure, never throws
    static int FileExists(CString const& path);   // a regular file
    static __int64 GetFileLength(CString const& path);
    static int CopyFileW(CString const& from, CString const& to);
    static int DeleteFileW(CString const& path);
};

// Entries of a folder, scanned once by the constructor.
class VAULTLIB_API KXFolder {
   public:
    explicit KXFolder(CString const& path);
    CString* GetSubFiles();    // m_subFileCount full paths; owned by the object
    CString* GetSubFolders();  // m_subFolderCount full paths
    int m_subFileCount = 0;
    int m_subFolderCount = 0;

    static int RCreateDirectory(CString const& path);        // all levels; nonzero on success
    static int DeleteDirectory(CString const& path, int);    // a file or a whole folder; nonzero when gone
    static int ForceDelFile(CString const& path);            // read-only files too
    static int CopyFolder(CString const& from, CString const& to);
    static int IsDirectory(CString const& path);             // sets the last error when the path cannot be asked
    static int IsDriveRoot(CString const& path);
    static __int64 GetFolderSize(CString const& path, int);
    static CString GetNameFromFullPath(CString const& path);
    static CString GetParentFolderFromFullPath(CString const& path);
    static int ConnectUNC(CString const& path, unsigned long& error);  // nonzero on success

   private:
    std::vector<CString> m_files;
    std::vector<CString> m_folders;
};

// The framework's file finder: FindFile opens the listing, each FindNextFileW makes one entry the present one and
// answers whether more follow. FindFile is 0 if nothing matches; FindNextFileW is to be called once before the first
// entry is read, as ever. Entries that cannot be backed up (links, sockets, pipes, devices) are passed over and noted
// (see SkippedEntries).
class VAULTLIB_API KXFileFind {
   public:
    KXFileFind();
    ~KXFileFind();
    int FindFile(CString const& pattern, DWORD flags = 0);
    int FindNextFileW();
    void Close();
    CString GetFileName() const;
    CString GetFilePath() const;
    __int64 GetLength() const;
    CTime GetLastWriteTime() const;
    int IsDots() const;
    int IsDirectory() const;
    int IsTemporary() const;

   private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

// What a listing could not give, for the host's ledger of unprotected paths.
struct SkippedEntry {
    CString path;
    CString reason;  // "symbolic link", "named pipe", "socket", "device", or the system's error text
    bool isError;    // the path could not be read, as against a kind that is never backed up
};
using SkippedEntrySink = void (*)(SkippedEntry const& entry, void* context);
// Null ends the notes. Process-wide; the sink may be called from any thread.
VAULTLIB_API void SetSkippedEntrySink(SkippedEntrySink sink, void* context);
// Tells the sink, if there is one.
VAULTLIB_API void NoteSkippedEntry(SkippedEntry const& entry);

// ---- Drives and system ----

VAULTLIB_API unsigned long GetDiskserial(TCHAR drive);
VAULTLIB_API TCHAR GetDiskBySerial(unsigned long serial);     // 0 if it is not mounted
VAULTLIB_API TCHAR GetDriveFromPath(CString const& path);     // 0 if there is none
VAULTLIB_API int GetSystemDriver(CString& drive);             // "C:"
VAULTLIB_API __int64 GetDiskFreeSize(CString const& path);    // MB
VAULTLIB_API int IsExistFlashDrive(CString const& path);
VAULTLIB_API int IsNetworkPath(CString const& path);
VAULTLIB_API int IsSameFileLocal(CString const& a, CString const& b);
VAULTLIB_API int FileIsTemporary(CString const& path);

// ---- Process state ----

class VAULTLIB_API MiscUtil {
   public:
    static int IsAppStopping();
    static int IsAppLoggingOff();
    static void SetAppStopping(int value);    // set by the host on its way out
    static void SetAppLoggingOff(int value);
    // The saved logon; nonzero if the user chose to save it. `saved` is 0 when nothing is stored.
    static int ReadUserSettings(CString& user, CString& password, int& saved, int& autoLogon);
    static int IsGeneric();
    static int IsBrandingForTalmor();
    static int IsBrandingForOrvelle();
};

// ---- Debug log ----

class VAULTLIB_API ManageDebugLog {
   public:
    void AddDebugInfo(CString const& text, int);  // one line with a time stamp
    CString GetFilePath() const;
};
VAULTLIB_API ManageDebugLog& GetManageDebugLog();
VAULTLIB_API void LogErrorMessage(CString const& text);

// ---- XML ----

class VAULTLIB_API XMLNode {
   public:
    XMLNode();
    XMLNode(XMLNode const& other);
    XMLNode& operator=(XMLNode const& other);
    ~XMLNode();
    bool IsValid() const;
    CString GetName() const;
    int GetNumberOfNodes() const;
    XMLNode GetNode(CString const& name) const;
    XMLNode GetNode(int index) const;
    // False if there is no such child; `out` is then `defaultValue`.
    bool GetValue(CString const& name, CString& out, CString const& defaultValue) const;
    bool GetValue(CString const& name, int& out, int defaultValue) const;
    bool GetValue(CString const& name, long& out, long defaultValue) const;
    bool GetValue(CString const& name, unsigned long& out, unsigned long defaultValue) const;
    bool GetValue(CString const& name, __int64& out, __int64 defaultValue) const;
    // Creates or replaces the child element.
    bool SetValue(CString const& name, CString const& value);
    bool SetValue(CString const& name, bool value);
    bool SetValue(CString const& name, float value);
    bool SetValue(CString const& name, int value);
    bool SetValue(CString const& name, __int64 value);
    bool SetValue(CString const& name, unsigned long value);

   private:
    friend class XMLDocument;
    struct Impl;
    std::shared_ptr<Impl> m_impl;
};

class VAULTLIB_API XMLDocument {
   public:
    XMLDocument();
    ~XMLDocument();
    bool Load(CString const& path);
    bool Create(CString const& rootName);
    bool Save(CString const& path) const;  // replaces the file only once all is written
    bool IsValid() const;
    CString GetParseError() const;
    XMLNode GetAsNode() const;  // the root; valid as long as a node or the document lives

   private:
    struct Impl;
    std::shared_ptr<Impl> m_impl;
};

// ---- Synchronisation ----

// Locks in the constructor, unlocks in the destructor. With `trace` 1 and a name, a wait that lasts is written to the
// debug log.
class VAULTLIB_API CKorvaneAutoLock {
   public:
    CKorvaneAutoLock(CSyncObject* object, TCHAR const* name, int trace);
    ~CKorvaneAutoLock();
    CKorvaneAutoLock(CKorvaneAutoLock const&) = delete;
    CKorvaneAutoLock& operator=(CKorvaneAutoLock const&) = delete;

   private:
    CSyncObject* m_object;
};

// A reader-writer lock. A thread that reads may read again while a writer waits.
class VAULTLIB_API CReadWriteSync {
   public:
    CReadWriteSync();
    ~CReadWriteSync();

   private:
    friend class CReadSync;
    friend class CWriteSync;
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};
class VAULTLIB_API CReadSync {
   public:
    explicit CReadSync(CReadWriteSync& lock);
    ~CReadSync();
    CReadSync(CReadSync const&) = delete;
    CReadSync& operator=(CReadSync const&) = delete;

   private:
    CReadWriteSync& m_lock;
};
class VAULTLIB_API CWriteSync {
   public:
    explicit CWriteSync(CReadWriteSync& lock);
    ~CWriteSync();
    CWriteSync(CWriteSync const&) = delete;
    CWriteSync& operator=(CWriteSync const&) = delete;

   private:
    CReadWriteSync& m_lock;
};

// 0 signalled, 258 timed out, ~0 failed. ~0 as time-out waits for ever.
VAULTLIB_API DWORD MyWaitForSingleObject(HANDLE handle, DWORD timeoutMs);

// ---- Action lists ----

// One pending change. The list owns it until it is taken, the taker afterwards.
struct VAULTLIB_API ActionInfo {
    virtual ~ActionInfo() = default;
    CString path;
    int32_t isFolder = 0;
    int32_t type = 0;  // 0 added, 1 modified, 2 renamed, 3 removed
    CString newPath;
};

// A thread-safe queue of ActionInfo.
class VAULTLIB_API CActionList {
   public:
    CActionList() = default;
    ~CActionList();
    void AddAction(ActionInfo* action);
    void AddHeadAction(ActionInfo* action);
    int HaveAction() const;
    int GetActionList(CPtrList& out);  // moves all entries to `out`; their number
    void RemoveAllActions();
    static void RemoveMemOfActList(CPtrList& actions);

   private:
    mutable std::mutex m_mutex;
    CPtrList m_actions;
};

// ---- Texts, lists, streams ----

VAULTLIB_API void StrToStrList(CString const& text, CStringList& out);  // splits at "|", empty entries left out
VAULTLIB_API void RestoreCStrListToVector(CStringList const& list, std::vector<CString>& out);
VAULTLIB_API POSITION StringListFindNoCase(CStringList const& list, CString const& item);
VAULTLIB_API int VectorFindNoCase(CString const& item, std::vector<CString> const& list);
VAULTLIB_API CString FormatSizeToString(__int64 bytes, int);
VAULTLIB_API __int64 StringToSize(CString const& text);
VAULTLIB_API CString GetLastErrorMsg();
VAULTLIB_API CString GetLastErrorMsgEx(unsigned long code);
VAULTLIB_API CString CreateGUID();

VAULTLIB_API void StoreCTime(CTime const& time, CArchive& archive);
VAULTLIB_API void LoadCTime(CTime& time, CArchive& archive);
VAULTLIB_API void StoreStringList(CStringList const& list, CArchive& archive);
VAULTLIB_API void StoreVectorIntoCArchive(std::vector<CString> const& list, CArchive& archive);
VAULTLIB_API void LoadCArchiveToVector(CArchive& archive, std::vector<CString>& list);

// ---- Messages between processes ----

struct COPYDATASTRUCT {
    uintptr_t dwData = 0;
    DWORD cbData = 0;
    void* lpData = nullptr;
};
// Sends one message to the receiver named `receiver` and waits for its answer; `sender` names the caller. 0 if nobody
// receives under that name. `reply` is allocated with malloc and belongs to the caller; it may come back null.
VAULTLIB_API __int64 SendProcessMsgRetBuf(CString const& receiver, CString const& sender, COPYDATASTRUCT& message,
                                          unsigned char** reply, __int64* replySize);
