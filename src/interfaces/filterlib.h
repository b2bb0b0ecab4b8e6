// Contract of filterlib: compiled filter expressions over engine paths. Matching ignores case.
#pragma once

#include <vector>

#include "framework/framework.h"

// All operations are thread-safe; InitBoostRegex swaps the compiled lists as a whole.
class VAULTLIB_API RegexFilter {
public:
    // Compiles the account-wide lists. An expression that does not compile is left out and named in the debug
    // log. Returns the number of expressions taken.
    static int InitBoostRegex(std::vector<CString> const& fileFilters,
                              std::vector<CString> const& folderFilters);
    // Nonzero if an expression of the list matches the whole path. A folder path ends in a backslash.
    static int MatchBoostFileFilter(CString const& path);
    static int MatchBoostFolderFilter(CString const& path);
    // Nonzero if one expression matches the whole of `text`. Compiled expressions are kept for reuse.
    static int MatchUIBoostFilter(CString const& expression, CString const& text);
    // A user's wildcard or path as an expression. "*.tmp" names files by name anywhere, "D:\x\*" by path, a
    // plain path names itself; with `isFolder` nonzero it names the folder, its path ending in a backslash.
    static CString ChangeFilePathToBoostRegexFilter(CString const& path, int isFolder);
    // Splits a text of wildcards or paths, separated by "|", and appends their expressions; `isFolder` as
    // above.
    static void StoreRegexFilterToVector(CString const& text, std::vector<CString>& out, int isFolder);
    // The same for a text from the service: entries that begin with "regex:" are expressions already.
    static void StoreRegexServerFilterToVector(CString const& text, std::vector<CString>& out, int isFolder);
};
