// Configuration and dictionary files as users and other programs leave them, and the settings file.
#include "baselib/ini_text.h"
#include "baselib/text_table.h"
#include "framework/case_folding.h"
#include "fuzz/fuzz_input.h"
#include "platform/settings_text.h"

namespace rampart::fuzz {
namespace {

void ReadTable(const std::vector<IniEntry>& entries, TextTable::Decode decode) {
    const TextTable table(entries, decode);
    for (const IniEntry& entry : entries) {
        Require(table.Find(entry.section, entry.key) != nullptr, "every entry is found");
        Require(!table.Section(entry.section).empty(), "every section has its entries");
    }
}

// Gives the first key the last value, and a new key behind it.
void ChangeText(std::string_view utf8, const std::vector<IniEntry>& entries) {
    const Text value(UnquotedIniValue(entries.back().value));
    for (const Text& key : {entries.front().key, Text(_T("New Key"))}) {
        const Text& section = entries.front().section;
        const std::optional<std::string> changed = WithIniValue(utf8, section, key, value);
        if (!changed) {
            continue;
        }
        const std::vector<IniEntry> after = ParseIni(*changed);
        const TextTable table(after, [](TextView text) { return Text(UnquotedIniValue(text)); });
        const TableValue* const found = table.Find(section, key);
        Require(found != nullptr && TextView(found->text) == value, "a value that is put in is read");
        const bool isNew = after.size() == entries.size() + 1;
        Require(isNew || after.size() == entries.size(), "all other values stay");
    }
}

}  // namespace
}  // namespace rampart::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace rampart;
    using namespace rampart::fuzz;
    const std::string_view utf8 = Input(data, size).Rest();
    const std::vector<IniEntry> entries = ParseIni(utf8);
    ReadTable(entries, [](TextView value) { return Text(UnquotedIniValue(value)); });
    ReadTable(entries, UnescapedIniValue);
    if (!entries.empty()) {
        ChangeText(utf8, entries);
    }
    const platform::SettingsSections settings = platform::ParseSettings(utf8);
    Require(platform::ParseSettings(platform::PrintSettings(settings)) == settings, "settings come back");
    return 0;
}
