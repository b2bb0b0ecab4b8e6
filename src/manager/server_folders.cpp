// The folders in the vault that the manager keeps for itself, made where they are missing.
#include "manager/backup_manage.h"
#include "paths/global_function.h"
#include "task/engine_text.h"

using rampart::DictionaryText;

namespace {

CString HistoryName(int old) {
    return DictionaryText(old != 0 ? _T("IDS_OLDHISTFOLDER") : _T("IDS_HISTFOLDER"));
}

}  // namespace

CString CBackupManage::GetSvrDataFolder() {
    return GlobalFunction::GetSvrAppFolder(DictionaryText(_T("IDS_DATAPATH")),
                                           DictionaryText(_T("IDS_DATAFLDDESC")));
}

CString CBackupManage::GetSvrInfoFolder() {
    return GlobalFunction::GetSvrAppFolder(DictionaryText(_T("IDS_INFOPATH")),
                                           DictionaryText(_T("IDS_INFONOTE")));
}

std::vector<CString> CBackupManage::GetSvrOwnFolders() {
    CString const encryptedFolder = DictionaryText(_T("IDS_STRENCRYFOLDER"));
    return {GlobalFunction::GetSvrAppFolderPath(), encryptedFolder + HistoryName(0),
            encryptedFolder + HistoryName(1)};
}

CString CBackupManage::GetSvrHistFolder(int encrypted, int old) {
    CString const name = HistoryName(old);
    CString const note = DictionaryText(_T("IDS_HISTNOTE"));
    if (encrypted == 0) {
        return GlobalFunction::GetSvrAppFolder(name, note);
    }
    CString const encryptedFolder = DictionaryText(_T("IDS_STRENCRYFOLDER"));
    CString const folder = encryptedFolder + name;
    bool const isMade = GlobalFunction::CreateSrvFolder(encryptedFolder, _T(""), _T(""), nullptr) &&
                        GlobalFunction::CreateSrvFolder(folder, note, note, nullptr);
    return isMade ? folder : CString();
}
