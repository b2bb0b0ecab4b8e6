// What a run tries before it gives a failure up: a new connection, more room.
#pragma once

#include "interfaces/transferlib.h"

class CBackupTask;

namespace rampart {

// Silent reconnect, then the loop of the manager. The signal of `cancelEvent` (may be null) ends the wait.
bool Reconnect(void* cancelEvent);

// Asks the service for the account's balance; a service code. What it says is also theVaultLibApp's last one.
int ReadBalance(AccountBalance& balance);

// Asks the user for more room in the account, and whether to try again. A no holds for the rest of the run:
// false then, without a question.
bool UserMadeRoom(CBackupTask& task);

}  // namespace rampart
