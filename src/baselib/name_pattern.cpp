#include "baselib/name_pattern.h"

#include "framework/case_folding.h"

namespace rampart {

bool MatchesPattern(platform::TextView name, platform::TextView pattern) {
    constexpr size_t kNone = platform::TextView::npos;
    size_t at = 0, rule = 0;
    size_t starRule = kNone, starAt = 0;  // where the last star stands, and how far it has stretched
    while (at < name.size()) {
        if (rule < pattern.size() && pattern[rule] == _T('*')) {
            starRule = rule++;
            starAt = at;
        } else if (rule < pattern.size() &&
                   (pattern[rule] == _T('?') || FoldCharacter(pattern[rule]) == FoldCharacter(name[at]))) {
            rule++;
            at++;
        } else if (starRule != kNone) {
            rule = starRule + 1;
            at = ++starAt;
        } else {
            return false;
        }
    }
    while (rule < pattern.size() && pattern[rule] == _T('*')) {
        rule++;
    }
    return rule == pattern.size();
}

}  // namespace rampart
