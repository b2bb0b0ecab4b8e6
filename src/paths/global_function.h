// GlobalFunction: the engine's free functions under one exported name. Each group is implemented in the room
// of its subject.
#pragma once

#include "framework/framework.h"

enum CompareLocalAndServer {
    COMPARE_SAME_TIME = 0,
    COMPARE_SERVER_ONLY = 1,
    COMPARE_NEITHER = 2,
    COMPARE_LOCAL_ONLY = 3,
    COMPARE_LOCAL_NEWER = 4,
    COMPARE_SERVER_NEWER = 5,
    COMPARE_REFRESH_FAILED = 6,
};

class VAULTLIB_API GlobalFunction {
public:
    // ---- Host hooks (engine); what no program here calls is for hosts with a window ----
    static int QuilMessageBox(TCHAR const* text, unsigned int type, unsigned long timeoutSeconds, int);
    static int IsNeedShowPrg();
    static int AskUIForShellExecute(CString const& verb, CString const& target);
    static int IsBackupServiceRunning();
    static int IsBackupGUIRunning();
    // Null when a service runs already; otherwise the handle stays open for the life of the service.
    static void* CreateBackServiceMutex();
    static int StartServiceProcess();
    // Takes `buffer` over (freed with free). `reply` is malloc'ed and the caller's.
    static int SendMsgToUI(CString const&, int command, unsigned char* buffer, __int64 size,
                           unsigned char** reply, __int64* replySize);

    // ---- Space questions (run) ----
    static int SpaceLimitAlert(CString text, int style);  // nonzero to go on to the retry question
    static int SpaceLimitRetry(CString text);             // nonzero to retry

    // ---- Server folders and comparisons (run) ----
    static int CreateSrvFolder(CString path, CString name, CString description, __int64* code);
    static unsigned int IsServerLocalSameFile(CString const& serverPath, CString const& localPath,
                                              int useCreationTime);
    static void SortFileHistoryList(CPtrList& list, int);

    // ---- Display and dates (task) ----
    static CString GetTaskStyType(int mode);
    static CString ConvertRepeatDaysToString(unsigned char mask);
    static CString GetDaysOfWeekStr(int mask, int shorthand);
    static int GetNextDayOfWeek(CString const& days, int day, int includeToday);
    static int GetFirstdayOfWeekExincludeSunday(CString const& days);
    static int GetSundayOfWeek(CString const& days);
    static int GetNextSpanDaysOfWeek(int mask, int day);
    static int GetSpanDaysOfWeek(int mask, int day);

    // ---- Paths and settings (paths) ----
    static CString GetSvrAppFolder(CString name, CString note);  // created; empty on failure
    static CString GetSvrAppFolderPath();  // of the folder that holds those; perhaps not there
    static int IsEncryptionPath(CString path);
    static int IsWINOSBackupType(CString path);
    static void AddColonToPath(CString& path);
    static CString ConverMacPathToWINPath(CString path);
    static void SortStringList(CStringList& list, int ascending);
    static int SaveFlag(CString name, unsigned long value);
    static int LoadFlag(CString name, unsigned long& value);
    static int SaveStringToRegstry(CString name, CString value);
    static int LoadStringFromRegstry(CString name, CString& value);
};

// The two integers that rule SpaceLimitAlert. A host sets them.
extern VAULTLIB_API rampart::Word<int> m_spaceAlertAllowed;
extern VAULTLIB_API rampart::Word<int> m_spaceAlertNoteOnly;
