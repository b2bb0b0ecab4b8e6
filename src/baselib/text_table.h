// An immutable table of texts by section and key, both without regard to case.
#pragma once

#include <unordered_map>
#include <vector>

#include "baselib/ini_text.h"
#include "framework/cstring.h"

namespace rampart {

struct TableValue {
    CString text;
    int number = 0;  // of the text, as ParseInteger reads it
};

// Leading blanks, a sign, digits; what follows is not looked at. 0 if there is no digit; clipped to the range
// of int.
int ParseInteger(TextView text);

class TextTable {
public:
    using Decode = Text (*)(TextView value);

    TextTable() = default;
    // A later entry wins over an earlier one of the same section and key.
    TextTable(const std::vector<IniEntry>& entries, Decode decode);

    // Null if there is none; valid as long as the table.
    const TableValue* Find(TextView section, TextView key) const;
    // The keys of one section with their values.
    std::vector<std::pair<Text, CString>> Section(TextView section) const;

private:
    struct NameView {
        TextView section;
        TextView key;
    };
    struct Name {
        Text section;
        Text key;
        operator NameView() const { return {section, key}; }
    };
    struct Hash {
        using is_transparent = void;
        size_t operator()(NameView name) const;
        size_t operator()(const Name& name) const { return operator()(NameView(name)); }
    };
    struct Equal {
        using is_transparent = void;
        bool operator()(NameView left, NameView right) const;
    };

    std::unordered_map<Name, TableValue, Hash, Equal> m_values;
};

}  // namespace rampart
