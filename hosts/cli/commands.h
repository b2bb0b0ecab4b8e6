// The commands. Each returns an exit code, and throws CommandError for a failure that ends it.
#pragma once

#include "options.h"

namespace rampart::cli {

int RunBackup(CommonOptions const& common, BackupOptions const& options);
int RunRestore(CommonOptions const& common, RestoreOptions const& options);
int RunList(CommonOptions const& common, ListOptions const& options);
int RunVersions(CommonOptions const& common, ListOptions const& options);
int RunVaultInit(CommonOptions const& common);
int RunVaultVerify(CommonOptions const& common, VerifyOptions const& options);
int RunVaultStats(CommonOptions const& common);

}  // namespace rampart::cli
