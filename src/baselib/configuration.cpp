#include "baselib/configuration.h"

#include <platform_thread_object.h>

#include <map>

#include "baselib/live_table.h"
#include "baselib/shipped_files.h"
#include "framework/case_folding.h"
#include "platform/immortal.h"
#include "platform/process.h"
#include "platform/volumes.h"

namespace rampart {
namespace {

constexpr TextView kDefaultLanguage = _T("english");

// `relative` below the shipped files, or an empty text if these are not on the disk.
Text ShippedFile(TextView relative) {
    Text path = ShippedFolder();
    return path.empty() ? path : path.append(relative);
}

// Letters that the section "Drives" gives to mount points. A letter that is no longer named is free again.
void ApplyDrivePins(const TextTable& table) {
    static Immortal<std::map<TCHAR, std::string>> pinned;  // only touched under the table's lock
    std::map<TCHAR, std::string> wanted;
    for (const auto& [name, mountPoint] : table.Section(_T("Drives"))) {
        const TCHAR letter = name.size() == 1 ? TCHAR(name[0] & ~0x20) : TCHAR(0);
        if (letter >= _T('A') && letter <= _T('Z') && letter != _T('C') && !mountPoint.IsEmpty()) {
            wanted[letter] = mountPoint.ToUtf8();
        }
    }
    for (const auto& [letter, mountPoint] : *pinned) {
        if (!wanted.contains(letter)) {
            platform::PinDrive(letter, "");
        }
    }
    for (const auto& [letter, mountPoint] : wanted) {
        const auto old = pinned->find(letter);
        if (old == pinned->end() || old->second != mountPoint) {
            platform::PinDrive(letter, mountPoint);
        }
    }
    *pinned = std::move(wanted);
}

LiveTable& ConfigurationTable() {
    static Immortal<LiveTable> table(
        [] {
            return LiveTable::Layers{{ShippedFile(_T("\\config\\rampart.ini")), ShippedConfiguration()},
                                     {UserConfigurationFile(), {}}};
        },
        [](TextView value) { return Text(UnquotedIniValue(value)); }, ApplyDrivePins);
    return *table;
}

// Of the file with the texts; a name only, so that no path can be smuggled in.
Text Language() {
    const TableValue* value = Configuration().Find(_T("Options"), _T("Language"));
    const Text language = value ? value->text.ToText() : Text();
    const bool isName = !language.empty() && language.find_first_of(_T("\\/:.")) == Text::npos;
    return isName ? language : Text(kDefaultLanguage);
}

LiveTable& DictionaryTable() {
    static Immortal<LiveTable> table(
        [] {
            LiveTable::Layers layers{{{}, ShippedTexts()}, {ShippedFile(_T("\\lang\\english.ini")), {}}};
            if (const Text language = Language(); !EqualNoCase(language, kDefaultLanguage)) {
                layers.push_back({ShippedFile(_T("\\lang\\") + language + _T(".ini")), {}});
            }
            return layers;
        },
        UnescapedIniValue, nullptr);
    return *table;
}

}  // namespace

Text UserConfigurationFile() {
    return platform::ConfigurationFolder() + _T("\\rampart.ini");
}

const TextTable& Configuration() {
    return platform::ThreadObject<LiveTableView>([] { return LiveTableView(ConfigurationTable()); }).Get();
}

const TextTable& Dictionary() {
    return platform::ThreadObject<LiveTableView>([] { return LiveTableView(DictionaryTable()); }).Get();
}

void RefreshConfiguration() {
    ConfigurationTable().LookNow();
    DictionaryTable().LookNow();
}

}  // namespace rampart
