// Contract of baselib: configuration and texts, paths and files, time, XML, debug log, lock helpers.
// All functions may be called from any thread unless a line says otherwise; none throws unless a line says
// so.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <vector>

#include "framework/framework.h"
#include "interfaces/sockets.h"

// ---- Configuration and texts ----

class VAULTLIB_API DictUtil {
public:
    // Value of `key` in `section` of the configuration file; a missing key gives `defaultText` ("" reads as
    // 0). `file` is always empty: the application's own file.
    static int GetConfigInt(CString const& section, CString const& key, CString const& defaultText,
                            CString const& file);
    static CString GetConfigString(CString const& section, CString const& key, CString const& defaultText,
                                   CString const& file);
    // Writes a value into the user's configuration file, whose other lines stay as they are; seen by the next
    // read. 0 if the file cannot be written or a name or the value cannot stand in one line.
    static int SetConfigString(CString const& section, CString const& key, CString const& value);
    // Text of `key` in the language dictionary.
    static CString GetValue(CString const& key, CString const& defaultText);
    static CString GetAppExeFolder();  // without trailing backslash
    // Looks at the configuration and dictionary files at once. They are looked at anyway, once a second at
    // most.
    static void Refresh();
};

// Per-user settings. Where IsGreenVersion holds they live in the configuration file.
class VAULTLIB_API CRegSettingUtil {
public:
    static int GetRegInfo(CString const& section, CString const& key,
                          CString& value);  // nonzero if it exists
    static int SetRegInfo(CString const& section, CString const& key,
                          CString const& value);  // nonzero on success
    static int IsGreenVersion();
};

// ---- Time ----

// A text shows a moment in local time, as the fields of a CTime do; a SYSTEMTIME holds it in UTC, so that the
// way there and back is exact in every zone.
class VAULTLIB_API TimeUtil {
public:
    // "%.2d/%.2d/%d %.2d:%.2d:%.2d" with month, day, year, hour, minute, second.
    static CString TimeToStr(CTime const& time);
    static CString TimeToStr(SYSTEMTIME const& time, int);  // the fields as they stand
    static CTime StrToTime(CString const& text);            // zero for an empty or malformed text
    static SYSTEMTIME TimeToSystemTime(CTime const& time);
    // Zero for a year below 1900 or a field out of range.
    static CTime SystemTimeToTime(SYSTEMTIME const& time);
    // The raw clock to the stored form, whose fields read as local time are those of UTC, and back.
    static void LocalTimeToUtcTime(CTime& time);
    static void UtcTimeToLocalTime(CTime& time);
    static CString LocalStrToUtcStr(CString const& text);  // empty for a malformed text
};

// ---- Paths ----

class VAULTLIB_API PathUtilities {
public:
    // Joined by exactly one backslash, even if a side is empty.
    static CString Append(CString const& a, CString const& b);
    static CString GetExtension(CString const& path);  // with its point, also of ".profile"
    static CString RemoveExtension(CString const& path);
    static CString GetFileName(CString const& path);  // the last component; trailing backslashes do not count
    // Without the last component and without trailing backslash, but a root keeps its own: "C:\a" gives
    // "C:\". Empty for a root and for a bare name.
    static CString GetParentFolder(CString const& path);
    // The part behind `base`, compared without case, without leading backslash; `full` itself if it does not
    // lie there.
    static CString GetSubPath(CString const& full, CString const& base);
    static CString RemoveBackslash(CString const& path);  // without trailing backslashes, a root's too
    // "C:\", "\\server\share\" or "\"; empty if there is none.
    static CString StripToRoot(CString const& path);
    static bool IsExisting(CString const& path);  // anything of that name, links too
    static int IsHidePath(CString const& path);
    static bool RenameFile(CString const& from, CString const& to);  // false also if `to` exists
};

// ---- Files and folders ----

// Attributes of a local file, read once. An absent file yields zeros, and so does one that is never backed
// up: a link, a socket, a pipe, a device. Times are UTC; a folder's size is 0.
// What a name that is no folder stands for. A link's content is its target; a pipe or a device has none.
enum class FileKind : uint8_t { kFile, kLink, kSpecial };

// Whether named pipes and devices are kept, as entries without content; sockets never are. For the process;
// not kept unless a host says so.
VAULTLIB_API void KeepSpecialFiles(bool isKept);
bool KeepsSpecialFiles();

class VAULTLIB_API CFileInfo {
public:
    explicit CFileInfo(CString const& path);
    CString m_path;
    __int64 m_size = 0;
    CTime m_creationTime;
    CTime m_accessTime;
    CTime m_lastWriteTime;
    DWORD m_attributes = 0;
    int m_exists = 0;  // a folder is there, or a file of a kind that is backed up
    int m_isFolder = 0;
    FileKind m_kind = FileKind::kFile;  // a link's size is the length of its target
    // Nanoseconds since 1970 UTC; no change time (0) where the file system has none.
    __int64 m_exactWriteTime = 0;
    __int64 m_changeTime = 0;
};

class VAULTLIB_API KXFile : public CFile {
public:
    KXFile() = default;
    KXFile(CString const& path, UINT flags);  // a failed open leaves the file closed
    int Open(LPCTSTR path, UINT flags,
             CFileException* exception = nullptr) override;        // 0 on failure, never throws
    static int FileExists(CString const& path);                    // a regular file
    static __int64 GetFileLength(CString const& path);             // 0 if there is no such file
    static int CopyFileW(CString const& from, CString const& to);  // replaces `to`; nonzero on success
    static int DeleteFileW(CString const& path);                   // nonzero on success
};

// Entries of a folder, scanned once by the constructor.
class VAULTLIB_API KXFolder {
public:
    explicit KXFolder(CString const& path);
    CString* GetSubFiles();    // m_subFileCount full paths; owned by the object
    CString* GetSubFolders();  // m_subFolderCount full paths
    int m_subFileCount = 0;
    int m_subFolderCount = 0;

    static int RCreateDirectory(CString const& path);  // all levels; nonzero on success
    // A file, a link or a whole folder; nonzero when gone. Links are removed, never followed; what can be
    // removed is removed even when something else cannot. An empty path and a drive's root are refused.
    static int DeleteDirectory(CString const& path, int);
    static int ForceDelFile(CString const& path);  // read-only files too; nonzero when gone
    // Files and folders below `from` into `to`, over what is there; nonzero if all were copied. Links and the
    // like are passed over and noted (see SkippedEntry).
    static int CopyFolder(CString const& from, CString const& to);
    // The last error is 0 when the path could be asked, whatever it is.
    static int IsDirectory(CString const& path);
    static int IsDriveRoot(CString const& path);             // by its text
    static __int64 GetFolderSize(CString const& path, int);  // bytes of all files below
    static CString GetNameFromFullPath(CString const& path);
    static CString GetParentFolderFromFullPath(CString const& path);  // as PathUtilities::GetParentFolder
    // Nonzero for a local path, an empty one, a network folder that answers, and a share that could be
    // authenticated to.
    static int ConnectUNC(CString const& path, unsigned long& error);

private:
    std::vector<CString> m_files;
    std::vector<CString> m_folders;
};

// The framework's file finder: FindFile opens the listing, each FindNextFileW makes one entry the present one
// and answers whether more follow. FindFile is 0 if nothing matches; FindNextFileW is to be called once
// before the first entry is read, as ever. A pattern is a folder and a name that may hold "*" and "?"; "*"
// and "*.*" match every name. Entries that cannot be backed up (links, sockets, pipes, devices) are passed
// over and noted (see SkippedEntry), and so is a folder that cannot be read.
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
    int IsHidden() const;
    // As the fields of CFileInfo.
    FileKind Kind() const;
    __int64 GetExactWriteTime() const;
    __int64 GetChangeTime() const;
    // Whether the last listing came to its end, so that what it did not name is not there.
    bool IsComplete() const;

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
VAULTLIB_API TCHAR GetDiskBySerial(unsigned long serial);   // 0 if it is not mounted
VAULTLIB_API TCHAR GetDriveFromPath(CString const& path);   // 0 if there is none
VAULTLIB_API int GetSystemDriver(CString& drive);           // "C:"; nonzero
VAULTLIB_API __int64 GetDiskFreeSize(CString const& path);  // MB
VAULTLIB_API int IsExistFlashDrive(CString const& path);
VAULTLIB_API int IsNetworkPath(CString const& path);
VAULTLIB_API int IsSameFileLocal(CString const& a, CString const& b);
VAULTLIB_API int FileIsTemporary(CString const& path);

// ---- Process state ----

class VAULTLIB_API MiscUtil {
public:
    static int IsAppStopping();
    static int IsAppLoggingOff();
    static void SetAppStopping(int value);  // set by the host on its way out
    static void SetAppLoggingOff(int value);
    // The saved logon; nonzero if the user chose to save it. `saved` is 0 when nothing is stored.
    static int ReadUserSettings(CString& user, CString& password, int& saved, int& autoLogon);
    // With `save` 0 forgets the stored password. Nonzero on success.
    static int WriteUserSettings(CString const& user, CString const& password, int save, int autoLogon);
    static int IsGeneric();
    static int IsBrandingForTalmor();
    static int IsBrandingForOrvelle();
};

// ---- Debug log ----

// A writer of the process-wide log; all of them write to the same file.
class VAULTLIB_API ManageDebugLog {
public:
    // One line with a time stamp and the thread's number. Never fails: what cannot be written is dropped. A
    // flood of lines is written in larger pieces; a line that begins with "Error" or "Unexpected error" is
    // written at once.
    void AddDebugInfo(CString const& text, int);
    CString GetFilePath() const;  // of the file in use; two processes never share one
};
VAULTLIB_API ManageDebugLog& GetManageDebugLog();
VAULTLIB_API void LogErrorMessage(CString const& text);  // written at once
// Writes what is held back. Called by a host before it ends in an unusual way.
VAULTLIB_API void FlushDebugLog();

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
    bool SetValue(CString const& name, TCHAR const* value);
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

// Locks in the constructor, unlocks in the destructor. With `trace` 1 and a name, a wait that lasts is
// written to the debug log.
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

// 0 signalled, 258 timed out, ~0 failed. ~0 as time-out waits for ever. Messages of the calling thread's
// windows are dispatched meanwhile.
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

VAULTLIB_API void StrToStrList(CString const& text,
                               CStringList& out);  // appends the parts between "|", but empty ones
VAULTLIB_API void RestoreCStrListToVector(CStringList const& list, std::vector<CString>& out);  // appends
VAULTLIB_API POSITION StringListFindNoCase(CStringList const& list, CString const& item);
VAULTLIB_API int VectorFindNoCase(CString const& item, std::vector<CString> const& list);
VAULTLIB_API CString FormatSizeToString(__int64 bytes, int);  // "512 B", "1.50 MB"
// Of such a text or of a plain number of bytes; 0 for any other.
VAULTLIB_API __int64 StringToSize(CString const& text);
VAULTLIB_API CString GetLastErrorMsg();
VAULTLIB_API CString GetLastErrorMsgEx(unsigned long code);
VAULTLIB_API CString CreateGUID();  // "XXXXXXXX-XXXX-4XXX-XXXX-XXXXXXXXXXXX"

// A time is 8 bytes; a list is a 32-bit count and its texts. These throw what the archive throws.
VAULTLIB_API void StoreCTime(CTime const& time, CArchive& archive);
VAULTLIB_API void LoadCTime(CTime& time, CArchive& archive);
VAULTLIB_API void StoreStringList(CStringList const& list, CArchive& archive);
VAULTLIB_API void StoreVectorIntoCArchive(std::vector<CString> const& list, CArchive& archive);
VAULTLIB_API void LoadCArchiveToVector(CArchive& archive,
                                       std::vector<CString>& list);  // replaces what is in `list`

// ---- Messages between processes ----

// Answers the messages that SendProcessMsgRetBuf sends to a name, as long as it lives. It stands in for the
// hidden window of a process; a window or a message loop is not needed.
class VAULTLIB_API ProcessMessageReceiver {
public:
    // `message` carries the code, the size and the bytes of the sender, valid during the call; `sender` is
    // the name that he gave. The returned number and `reply`, which is empty at first, go back to him.
    // Called on a thread of the receiver's own, for one message at a time; what it throws becomes a line in
    // the debug log and an answer of 0.
    using Handler = std::function<__int64(COPYDATASTRUCT const& message, CString const& sender,
                                          std::vector<unsigned char>& reply)>;

    // Null with the last error set; 183 when somebody on this machine receives under the name already.
    static std::unique_ptr<ProcessMessageReceiver> Open(CString const& receiver, Handler handler);
    // Waits for a handler that runs; not from inside it.
    ~ProcessMessageReceiver();

private:
    struct Impl;
    explicit ProcessMessageReceiver(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> m_impl;
};

// Sends one message to the receiver named `receiver` and waits for its answer; `sender` names the caller. 0
// if nobody receives under that name. `reply` is allocated with malloc and belongs to the caller; it may come
// back null.
VAULTLIB_API __int64 SendProcessMsgRetBuf(CString const& receiver, CString const& sender,
                                          COPYDATASTRUCT& message, unsigned char** reply, __int64* replySize);
