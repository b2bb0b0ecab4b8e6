#include "session.h"

#include <iostream>

#include "exit_code.h"
#include "output.h"

namespace rampart::cli {

namespace {

// Questions of the engine: shown, and answered with no.
int ShowMessage(TCHAR const* text, unsigned int, unsigned long, int) {
    std::cerr << "rampart: " << Utf8(text) << std::endl;
    return 0;
}

}  // namespace

VaultSession::VaultSession(CommonOptions const& common, bool mayCreate) {
    CString message;
    if (int const code =
            VaultAdmin::Open(CString::FromUtf8(common.vault), mayCreate && common.vault.empty(), message)) {
        std::string text = message.IsEmpty() ? Utf8(ApiUtil::GetQuilString(code)) : Utf8(message);
        constexpr int kNoVault = 42;
        if (code == kNoVault) {
            text += "\n  Make one with: rampart vault init" +
                    (common.vault.empty() ? "" : " --vault " + common.vault);
        }
        throw CommandError(kExitFailed, text);
    }
}

VaultSession::~VaultSession() {
    VaultAdmin::Close();
}

EngineSession::EngineSession(CommonOptions const& common, bool mayCreate) : m_vault(common, mayCreate) {
    SetMsgBoxProc(&ShowMessage);
    m_engine.emplace();
}

EngineSession::~EngineSession() {
    m_engine.reset();
    SetMsgBoxProc(nullptr);
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

}  // namespace rampart::cli
