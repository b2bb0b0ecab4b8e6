#include "support/engine_stand_in.h"

CvaultlibApp theVaultLibApp;

int CvaultlibApp::InitInstance() {
    return 1;
}

CBackupManage::CBackupManage() = default;
CBackupManage::~CBackupManage() = default;
int CBackupManage::RefreshTaskInfo(CBackupTask*, int) {
    return 0;
}
int CBackupManage::SetWorkingFile(CString, CString) {
    return 0;
}
int CBackupManage::SetCopyingFile(CString) {
    return 0;
}
int CBackupManage::SetWorkingTask(CBackupTask*) {
    return 0;
}
int CBackupManage::SetDoneTask(CString const&) {
    return 0;
}
int CBackupManage::SetRestoreWorkingFile(CString, CString) {
    return 0;
}
int CBackupManage::SetRestoreWorkingTask(CBackupTask*) {
    return 0;
}

CBackupTask* CBackupManage::GetTaskByID(int id, POSITION*) {
    auto* stand = rampart::test::EngineStandIn::Current();
    if (!stand) {
        return nullptr;
    }
    if (stand->onQuestion) {
        stand->onQuestion();
    }
    const auto task = stand->tasks.find(id);
    return task == stand->tasks.end() ? nullptr : task->second;
}

CBackupTask::CBackupTask() = default;
CBackupTask::~CBackupTask() = default;
