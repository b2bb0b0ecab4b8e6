// One use of the engine: the vault opened, the hooks filled, the task list read; all of it undone at the end.
#pragma once

#include <optional>

#include "engine/vaultlib.h"
#include "options.h"

namespace rampart::cli {

// Opens the vault for a command that does not need the engine. Throws CommandError when it cannot.
class VaultSession {
public:
    // `mayCreate`: a missing vault is made when it is the default one, which the user did not name.
    VaultSession(CommonOptions const& common, bool mayCreate);
    ~VaultSession();
    VaultSession(VaultSession const&) = delete;
    VaultSession& operator=(VaultSession const&) = delete;
};

class EngineSession {
public:
    explicit EngineSession(CommonOptions const& common, bool mayCreate);
    ~EngineSession();
    EngineSession(EngineSession const&) = delete;
    EngineSession& operator=(EngineSession const&) = delete;
    CBackupManage& Manager() { return m_engine->Manager(); }

private:
    VaultSession m_vault;
    std::optional<RunningEngine> m_engine;
};

// The path in the vault that a user means: the server folder of a task of that name, or a path typed with
// slashes or backslashes.
CString ServerPathOf(CBackupManage& manager, std::string const& text);

}  // namespace rampart::cli
