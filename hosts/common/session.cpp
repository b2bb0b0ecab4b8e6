#include "common/session.h"

#include "common/exit_code.h"
#include "common/text.h"

namespace rampart::host {

namespace {

// Where the vaults lie that this user has used, each behind a separator, the newest last: one of them that is
// missing is away, and must not be made anew.
constexpr TCHAR const* kUsedVaults = _T("UsedVaults");
constexpr TCHAR kSeparator = _T('|');
constexpr int kLongestList = 8192;

bool WasUsed(CString const& location) {
    CString list;
    GlobalFunction::LoadStringFromRegstry(kUsedVaults, list);
    return (list + kSeparator).Find(kSeparator + location + kSeparator) >= 0;
}

void NoteUse(CString const& location) {
    if (location.IsEmpty() || WasUsed(location)) {
        return;
    }
    CString list;
    GlobalFunction::LoadStringFromRegstry(kUsedVaults, list);
    list += kSeparator + location;
    while (list.GetLength() > kLongestList && list.Find(kSeparator, 1) > 0) {
        list = list.Mid(list.Find(kSeparator, 1));
    }
    GlobalFunction::SaveStringToRegstry(kUsedVaults, list);
}

constexpr int kNoVault = 42;  // the engine's code

// Where this vault lay when it was used before; empty if it never was. The one that nobody names may have
// been at its former place.
CString PlaceOfUsedVault(CString const& vault) {
    CString const location = VaultAdmin::LocationOf(vault);
    CString const former = vault.IsEmpty() ? VaultAdmin::FormerDefaultLocation() : CString();
    if (WasUsed(location)) {
        return location;
    }
    return !former.IsEmpty() && WasUsed(former) ? former : CString();
}

}  // namespace

VaultSession::VaultSession(std::string const& vault, bool mayCreate) {
    CString const url = CString::FromUtf8(vault);
    CString const used = PlaceOfUsedVault(url);
    CString message;
    // In the stead of a vault that may be away none is made: it would hold nothing.
    if (int const code = VaultAdmin::Open(url, mayCreate && vault.empty() && used.IsEmpty(), message)) {
        std::string text = message.IsEmpty() ? Utf8(ApiUtil::GetQuilString(code)) : Utf8(message);
        std::string const init = "rampart vault init" + (vault.empty() ? "" : " --vault " + vault);
        if (code == kNoVault && !used.IsEmpty()) {
            text += "\n  The vault at " + Printable(Utf8(used)) +
                    " was there before, so it is away: connect its disk or mount its file system, then try "
                    "again.\n  If it is gone for good, make a new one with: " +
                    init;
        } else if (code == kNoVault) {
            text += "\n  Make one with: " + init;
        }
        throw CommandError(kExitFailed, text);
    }
    NoteUse(VaultAdmin::Location());
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
