#include "filterlib/expression_set.h"

#include "filterlib/filter_text.h"

namespace rampart {
namespace {

constexpr int64_t kSetMemory = 64 << 20;  // for the automaton's states; it starts anew when they are used up
constexpr int64_t kSingleMemory = 4 << 20;

re2::StringPiece PieceOf(std::string_view text) {
    return {text.data(), text.size()};
}

}  // namespace

RE2::Options FilterOptions() {
    RE2::Options options;
    options.set_case_sensitive(false);
    options.set_dot_nl(true);
    options.set_log_errors(false);
    options.set_never_capture(true);
    options.set_max_mem(kSingleMemory);
    return options;
}

ExpressionSet::ExpressionSet(const std::vector<CString>& expressions, std::vector<CString>& rejected) {
    RE2::Options options = FilterOptions();
    options.set_max_mem(kSetMemory);
    m_set = std::make_unique<RE2::Set>(options, RE2::ANCHOR_BOTH);
    for (const CString& expression : expressions) {
        std::string text;
        AppendFilterText(expression, text);
        if (m_set->Add(text, nullptr) >= 0) {
            m_expressions.push_back(std::move(text));
        } else {
            rejected.push_back(expression);
        }
    }
    if (m_expressions.empty() || !m_set->Compile()) {
        m_set = nullptr;
    }
}

bool ExpressionSet::Matches(std::string_view text) const {
    if (m_expressions.empty()) {
        return false;
    }
    if (m_set) {
        RE2::Set::ErrorInfo error{RE2::Set::kNoError};
        if (m_set->Match(PieceOf(text), nullptr, &error)) {
            return true;
        }
        if (error.kind == RE2::Set::kNoError) {
            return false;
        }
    }
    return MatchesOneByOne(text);
}

bool ExpressionSet::MatchesOneByOne(std::string_view text) const {
    std::call_once(m_singlesOnce, [this] {
        for (const std::string& expression : m_expressions) {
            m_singles.push_back(std::make_unique<RE2>(expression, FilterOptions()));
        }
    });
    for (const auto& single : m_singles) {
        if (RE2::FullMatch(PieceOf(text), *single)) {
            return true;
        }
    }
    return false;
}

}  // namespace rampart
