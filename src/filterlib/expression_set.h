// ExpressionSet: many expressions, compiled into one automaton.
#pragma once

#include <re2/re2.h>
#include <re2/set.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/cstring.h"

namespace rampart {

// How every expression is read: without regard to case, "." fits a line break too, errors are not printed.
RE2::Options FilterOptions();

// Immutable once made; any thread may match.
class ExpressionSet {
public:
    // Leaves out what does not compile and appends those to `rejected`.
    ExpressionSet(const std::vector<CString>& expressions, std::vector<CString>& rejected);

    size_t Size() const { return m_expressions.size(); }
    // Whether an expression fits the whole text.
    bool Matches(std::string_view text) const;

private:
    bool MatchesOneByOne(std::string_view text) const;

    std::vector<std::string> m_expressions;
    std::unique_ptr<RE2::Set> m_set;
    // For a text that the automaton has no memory for.
    mutable std::once_flag m_singlesOnce;
    mutable std::vector<std::unique_ptr<RE2>> m_singles;
};

}  // namespace rampart
