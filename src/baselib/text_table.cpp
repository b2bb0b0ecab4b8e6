#include "baselib/text_table.h"

#include <limits>

#include "framework/case_folding.h"

namespace rampart {

int ParseInteger(TextView text) {
    size_t index = 0;
    while (index < text.size() &&
           (text[index] == _T(' ') || (text[index] >= _T('\t') && text[index] <= _T('\r')))) {
        index++;
    }
    bool negative = false;
    if (index < text.size() && (text[index] == _T('-') || text[index] == _T('+'))) {
        negative = text[index++] == _T('-');
    }
    constexpr int64_t kLimit = int64_t{std::numeric_limits<int>::max()} + 1;
    int64_t value = 0;
    for (; index < text.size() && text[index] >= _T('0') && text[index] <= _T('9') && value < kLimit;
         index++) {
        value = value * 10 + (text[index] - _T('0'));
    }
    value = std::min(value, negative ? kLimit : kLimit - 1);
    return static_cast<int>(negative ? -value : value);
}

TextTable::TextTable(const std::vector<IniEntry>& entries, Decode decode) {
    for (const IniEntry& entry : entries) {
        const Text text = decode(entry.value);
        m_values.insert_or_assign(Name{entry.section, entry.key},
                                  TableValue{CString(text), ParseInteger(text)});
    }
}

const TableValue* TextTable::Find(TextView section, TextView key) const {
    const auto found = m_values.find(NameView{section, key});
    return found == m_values.end() ? nullptr : &found->second;
}

std::vector<std::pair<Text, CString>> TextTable::Section(TextView section) const {
    std::vector<std::pair<Text, CString>> values;
    for (const auto& [name, value] : m_values) {
        if (EqualNoCase(name.section, section)) {
            values.emplace_back(name.key, value.text);
        }
    }
    return values;
}

// A few characters tell the keys of a table apart, and reading more would be most of the cost of a lookup.
// Folding keeps a text's length; characters beyond ASCII fold in ways of their own and are left out.
size_t TextTable::Hash::operator()(NameView name) const {
    constexpr size_t kCharacters = 8;
    constexpr size_t kFactor = 1099511628211u;
    size_t hash = name.key.size() * 64 + name.section.size();
    const TextView end = name.key.substr(name.key.size() - std::min(name.key.size(), kCharacters));
    for (const TCHAR character : end) {
        hash = (hash ^ (character < 0x80 ? size_t(character) | 0x20 : 0)) * kFactor;
    }
    return hash ^ (hash >> 29);
}

bool TextTable::Equal::operator()(NameView left, NameView right) const {
    return (left.key == right.key || EqualNoCase(left.key, right.key)) &&
           (left.section == right.section || EqualNoCase(left.section, right.section));
}

}  // namespace rampart
