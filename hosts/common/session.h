// One use of the engine by a host: the vault opened, the hooks filled, the task list read; all of it undone
// at the end.
#pragma once

#include <functional>
#include <optional>

#include "engine/vaultlib.h"

namespace rampart::host {

// The vault opened. Throws CommandError when that fails.
class VaultSession {
public:
    // `vault` is a URL or a native path, empty for the configured vault. `mayCreate`: a missing vault is made
    // when it is the default one, which the user did not name.
    VaultSession(std::string const& vault, bool mayCreate);
    ~VaultSession();
    VaultSession(VaultSession const&) = delete;
    VaultSession& operator=(VaultSession const&) = delete;
};

class EngineSession {
public:
    using MakeManager = std::function<std::unique_ptr<CBackupManage>()>;

    // Trims the event log. `box` answers the engine's questions. `make` is for a host with a manager of its
    // own class.
    EngineSession(std::string const& vault, bool mayCreate, MsgBoxProc box, MakeManager const& make = {});
    ~EngineSession();  // ends what runs, and waits for it
    EngineSession(EngineSession const&) = delete;
    EngineSession& operator=(EngineSession const&) = delete;
    CBackupManage& Manager() { return m_engine->Manager(); }

private:
    VaultSession m_vault;
    std::optional<RunningEngine> m_engine;
};

// So many events are kept. A run adds a few, and one for each file that it could not read.
inline constexpr __int64 kEventsKept = 1000;
void TrimEventLog();

// The path in the vault that a user means: the server folder of a task of that name, or a path typed with
// slashes or backslashes.
CString ServerPathOf(CBackupManage& manager, std::string const& text);

}  // namespace rampart::host
