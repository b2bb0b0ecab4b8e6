#!/usr/bin/env python3
"""Fails when code and shipped files disagree about keys.

Every key that the code reads stands in the dictionary or in the configuration of share/. Every key of the configuration is
read and has a comment. The test of the dictionary names every text, and a format gets as many arguments as there.
"""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent
faults = []
sources = {path: path.read_text(encoding="utf-8")
           for folder in ("src", "hosts") for path in sorted((root / folder).rglob("*"))
           if path.suffix in (".cpp", ".h")}
everything = "\n".join(sources.values())

# Where a key of the dictionary stands in the code.
TEXT_LOOKUPS = r'\b(?:DictionaryText|DictionaryFormat|DictUtil::GetValue|Ask|Subject|MutexName)\(\s*_T\("([^"]+)"\)'
TEXT_BY_NAME = r'_T\("(IDS_\w+)"\)'
TEXT_IN_STRETCH = r'\bStretch\(\s*_T\("\d*"\),\s*_T\("\d*"\),\s*_T\("([^"]+)"\)'
TEXT_OF_CODE = r'\{ReportAction::\w+,\s*_T\("([^"]+)"\)'
# Calls that read the configuration: with the section, and helpers that know theirs.
VALUE_LOOKUPS = r'(?:GetConfigInt|GetConfigString|Find)\(\s*_T\("(\w+)"\),\s*_T\("(\w+)"\)'
VALUE_HELPERS = {"Options": r'\b(?:OptionOr|Edition|isOn)\(\s*_T\("(\w+)"\)'}
# Keys of the configuration that are there for programs beside these: where support logs are filed.
READ_ELSEWHERE = {("Function", "DropBoxUniqueID")}


def ini_entries(path: pathlib.Path):
    """Section, key and whether a comment stands right above it or above the keys right above it. A key that is shown with
    a semicolon alone counts too: it is one that holds when it is left out."""
    section, commented = "", False
    for line in path.read_text(encoding="utf-8").splitlines():
        key = re.match(r"^;?([A-Za-z][\w.]*) ?= ?", line)
        if match := re.match(r"^\[(.+)\]$", line):
            section, commented = match[1], False
        elif key:
            yield section, key[1], commented
        else:
            commented = line.startswith(";")


def arguments_of(text: str, start: int) -> int:
    """How many arguments stand behind the first one, up to the bracket that closes the call."""
    depth, count, index = 0, 0, start
    while depth >= 0:
        if text[index] == '"':
            index = next(at for at in range(index + 1, len(text)) if text[at] == '"' and text[at - 1] != "\\")
        depth += text[index] in "([{"
        depth -= text[index] in ")]}"
        count += depth == 0 and text[index] == ","
        index += 1
    return count


texts = {key for _, key, _ in ini_entries(root / "share/lang/english.ini")}
for path, source in sources.items():
    where = path.relative_to(root)
    for pattern in (TEXT_LOOKUPS, TEXT_BY_NAME, TEXT_IN_STRETCH, TEXT_OF_CODE):
        faults += [f"{where}: no text of this key in the dictionary: {key}"
                   for key in sorted(set(re.findall(pattern, source)) - texts)]

values = list(ini_entries(root / "share/config/rampart.ini"))
known = {(section, key) for section, key, _ in values}
read = set(re.findall(VALUE_LOOKUPS, everything))
read |= {(section, key) for section, pattern in VALUE_HELPERS.items() for key in re.findall(pattern, everything)}
faults += [f"share/config/rampart.ini: missing, but read: [{section}] {key}" for section, key in sorted(read - known)]
faults += [f"share/config/rampart.ini: nobody reads [{section}] {key}"
           for section, key in sorted(known - read - READ_ELSEWHERE)]
faults += [f"share/config/rampart.ini: without a comment: [{section}] {key}"
           for section, key, commented in values if not commented]

test = (root / "tests/baselib/dictionary_test.cpp").read_text(encoding="utf-8")
formats = dict(re.findall(r'\{"([\w.]+)", "([a-z]+)"\}', test))
tested = set(formats) | set(re.findall(r'^    "([\w.]+)",$', test, re.MULTILINE))
faults += [f"tests/baselib/dictionary_test.cpp: does not name {key}" for key in sorted(texts - tested)]
faults += [f"tests/baselib/dictionary_test.cpp: {key} is no text" for key in sorted(tested - texts)]
for path, source in sources.items():
    for call in re.finditer(r'\bDictionaryFormat\(\s*_T\("([^"]+)"\)', source):
        given, taken = arguments_of(source, call.end()), len(formats.get(call[1], ""))
        if given != taken:
            faults.append(f"{path.relative_to(root)}: {call[1]} gets {given} arguments and takes {taken}")

print("\n".join(faults) if faults else "keys: clean")
sys.exit(1 if faults else 0)
