// Every text that the engine looks up exists, and a format shows each of its arguments.
#include <gtest/gtest.h>

#include "interfaces/baselib.h"

namespace rampart {
namespace {

struct FormatCase {
    const char* key;
    const char* arguments;  // a letter for each: t text, n number; a capital one need not be shown
};

constexpr FormatCase kFormats[] = {
    {"IDS_TASKNAMEFOR", "n"},
    {"LoadTaskFromWebDB", "nn"},
    {"ConvertTaskToWebDatabase", "t"},
    {"ConvertOldHistoryForServer", "n"},
    {"TaskIsDeleting", "t"},
    {"TaskIsStopping", "t"},
    {"IDS_STRTASKWORKING", "t"},
    {"TaskInvalidTime", "t"},
    {"TaskDateBroughtBack", "ttt"},
    {"ScaningFiles", "tnnn"},
    {"SuccessEmailScanFiles", "nnnn"},
    {"TaskUploadFileCountMsg", "tn"},
    {"IDS_STRERRBACKUP", "t"},
    {"IDS_STRSEARCHINGFOLDER", "nnt"},
    {"CopyCache", "ntt"},
    {"IDS_CREATESNAPSHOT", "t"},
    {"EmailSnashop", "nntnn"},
    {"UploadLogFileFormat", "tn"},
    {"DownLogFileFormat", "t"},
    {"PathNotExistErr", "t"},
    {"SourceKindErr", "tt"},
    {"BackupTask.pathNotExistErr", "t"},
    {"LockFile", "t"},
    {"DeniedFile", "t"},
    {"UnreadableFile", "tt"},
    {"IDS_STRLOGUPLOADFAIL", "ttt"},
    {"IDS_STRNOCACHESPACE", "ttt"},
    {"MaxSingleFileforFreeUser", "tn"},
    {"SubItemLimitation", "tn"},
    {"FreeSubItemLimitation", "tn"},
    {"PayUserUploadNumberLimit", "tnt"},
    {"FreeUserUploadNumberLimit", "tnt"},
    {"IDS_NEEDMOREBUYSPACE", "tnn"},
    {"NeedMoreBuySpace", "n"},
    {"IDS_STRNEEDMORESPACE", "ttt"},
    {"SubUserHaveBuyStorageSpace", "ttt"},
    {"GroupAdministratorHaveBuyStorageSpace", "ttt"},
    {"IDS_STRMSGNOSPACETEMPFOLDER", "tnttnt"},
    {"IDS_STRFAILEMAILTITLE", "ttt"},
    {"IDS_STRFAILEMAILBODY", "tttt"},
    {"IDS_STRSUCCESSEMAILTITLE", "ttt"},
    {"IDS_STRSUCCESSEMAILBODY", "t"},
    {"SuccessEmailBody", "tt"},
    {"WarningEmailInfo", "t"},
};

constexpr const char* kPlainTexts[] = {
    "IDS_TITLE",
    "ProductName",
    "ZQVersion",
    "IDS_STRCOMPANY",
    "IDS_STRPRODUCT",
    "IDS_REGKEYPATH",
    "ZQBackOptions",
    "SupportTwoTasksConcurrently",
    "TaskRetryOnceReg",
    "IDS_BACKUPSERVICEMUTEX",
    "IDS_BACKUPGUIMUTEX",
    "GUIServiceInterMsgReceiver",
    "IDS_STRADMINROOTFOLDER",
    "IDS_STRQUILFOLDER",
    "IDS_STRQUILDATACAP",
    "IDS_STRQUILDATANOTE",
    "ServerStoreTaskPath",
    "IDS_STRAPPFOLDER",
    "IDS_STRAPPFOLDERCAP",
    "IDS_STRAPPFOLDERNOTE",
    "IDS_DATAPATH",
    "IDS_DATAFLDDESC",
    "IDS_INFOPATH",
    "IDS_INFONOTE",
    "InfoPath",
    "IDS_HISTFOLDER",
    "IDS_OLDHISTFOLDER",
    "IDS_HISTNOTE",
    "IDS_STRENCRYFOLDER",
    "CommonCopyTaskListFileName",
    "IDS_STRREADY",
    "IDS_STRRUNNING",
    "IDS_STRWAITING",
    "IDS_STRCANCELED",
    "IDS_STRTASKERR",
    "IDS_STRBACKUPTYPE0",
    "IDS_STRBACKUPTYPE1",
    "IDS_STRBACKUPTYPE2",
    "IDS_STRBACKUPTYPE3",
    "IDS_STRNONAME",
    "RepeatDay",
    "RepeatDay1",
    "RepeatDay2",
    "RepeatDay3",
    "RepeatDay4",
    "RepeatDay5",
    "RepeatDay6",
    "RepeatDay7",
    "RepeatShorthandDay",
    "RepeatShorthandDay1",
    "RepeatShorthandDay2",
    "RepeatShorthandDay3",
    "RepeatShorthandDay4",
    "RepeatShorthandDay5",
    "RepeatShorthandDay6",
    "RepeatShorthandDay7",
    "IDS_MSGPASSWORD",
    "IDS_NETERROR",
    "IDS_STRACCOUNTLIMIT",
    "IDS_MSGDUPNAME",
    "CheckTaskName",
    "IDS_STRTASKRMVERR",
    "IDS_STRSAVINGTASKCHG",
    "UploadingTaskListInfo",
    "IDS_STRDELETEINGVER",
    "ResumeTaskMsg",
    "EventLogStart",
    "EventLogFinish",
    "GlobalError",
    "FromCopyError",
    "NetworkPathError",
    "NetworkTipError",
    "CreateFolderError",
    "SearchFilesError",
    "SearchFilesInError",
    "SearchFilesFlagError",
    "GetPathItemError",
    "UploadFileError",
    "RenameFileError",
    "BatchBackupFilesError",
    "LeaveBatchModeError",
    "UpdateBackupInfoLogError",
    "UploadLocalPathlistError",
    "PrepareEmailBackupCacheError",
    "GetAccountBalanceError",
    "UnknownErrorOccuredError",
    "IDS_STRREACHLIMIT",
    "IDS_ORDERSPACE",
    "IDS_REBACKAGAIN",
    "IDS_STRCASHNEGATE",
    "CommonUserStorageSpace",
    "NoSpaceCachingFiles",
    "IDS_STRMSGRESUMEEMAIL",
    "WarningLog",
    "EmailTaskNotSupported",
    "PathTooLong",
    "FileSystemAway",
    "RecordChangesError",
    "VaultIsSource",
    "SourceVanished",
    "StoredWhileWritten",
};

CString TextOf(const char* key) {
    return DictUtil::GetValue(CString::FromUtf8(key), _T(""));
}

TEST(Dictionary, EveryFormatTakesItsArgumentsAndShowsThem) {
    for (const FormatCase& format : kFormats) {
        std::vector<CString> texts;
        std::vector<FormatArgument> arguments;
        const size_t count = strlen(format.arguments);
        for (size_t index = 0; index < count; index++) {
            texts.push_back(FormatText(_T("%I64d"), 5000000001LL + static_cast<long long>(index)));
        }
        const bool fitsInt = std::string_view(format.key) == "IDS_TASKNAMEFOR";
        for (size_t index = 0; index < count; index++) {
            const long long number = fitsInt ? 7 : 5000000001LL + static_cast<long long>(index);
            arguments.push_back(format.arguments[index] == 't' ? FormatArgument(texts[index])
                                                               : FormatArgument(number));
        }
        Text shown;
        AppendFormatted(shown, TextOf(format.key), arguments.data(), arguments.size());
        EXPECT_EQ(shown.find(_T("<?>")), Text::npos) << format.key;
        for (size_t index = 0; index < count && !fitsInt; index++) {
            EXPECT_NE(shown.find(texts[index]), Text::npos) << format.key << ", argument " << index + 1;
        }
    }
}

TEST(Dictionary, EveryPlainTextIsThere) {
    for (const char* key : kPlainTexts) {
        EXPECT_FALSE(TextOf(key).IsEmpty()) << key;
    }
}

TEST(Dictionary, FolderNamesFitTogether) {
    const CString root = PathUtilities::Append(_T("\\"), TextOf("IDS_STRQUILFOLDER"));
    const CString info = PathUtilities::Append(PathUtilities::Append(root, TextOf("ServerStoreTaskPath")),
                                               TextOf("IDS_INFOPATH"));
    EXPECT_EQ(TextOf("InfoPath"), info);
    EXPECT_EQ(TextOf("IDS_STRENCRYFOLDER"), _T("\\Encrypted\\"));
    EXPECT_EQ(TextOf("CreateFolderError").Right(1), _T(" "));
}

}  // namespace
}  // namespace rampart
