#include "common/session.h"

#include "common/exit_code.h"
#include "common/text.h"

namespace rampart::host {

VaultSession::VaultSession(std::string const& vault, bool mayCreate) {
    CString message;
    if (int const code = VaultAdmin::Open(CString::FromUtf8(vault), mayCreate && vault.empty(), message)) {
        std::string text = message.IsEmpty() ? Utf8(ApiUtil::GetQuilString(code)) : Utf8(message);
        constexpr int kNoVault = 42;
        if (code == kNoVault) {
            text += "\n  Make one with: rampart vault init" + (vault.empty() ? "" : " --vault " + vault);
        }
        throw CommandError(kExitFailed, text);
    }
}

VaultSession::~VaultSession() {
    VaultAdmin::Close();
}

EngineSession::EngineSession(std::string const& vault, bool mayCreate, MsgBoxProc box,
                             MakeManager const& make)
    : m_vault(vault, mayCreate) {
    SetMsgBoxProc(box);
    m_engine.emplace(make ? make() : nullptr);
    TrimEventLog();
}

EngineSession::~EngineSession() {
    m_engine.reset();
    SetMsgBoxProc(nullptr);
}

void TrimEventLog() {
    CErrorLog().KeepNewest(kEventsKept);
}

CString ServerPathOf(CBackupManage& manager, std::string const& text) {
    if (CBackupTask const* const task = manager.GetTaskByName(CString::FromUtf8(text))) {
        return task->m_serverFilePath;
    }
    CString path;
    std::string name;
    auto flush = [&] {
        if (!name.empty()) {
            path += _T("\\") + ToEnginePattern(name);
            name.clear();
        }
    };
    for (char const character : text) {
        if (character == '/' || character == '\\') {
            flush();
        } else {
            name += character;
        }
    }
    flush();
    return path.IsEmpty() ? CString(_T("\\")) : path;
}

}  // namespace rampart::host
