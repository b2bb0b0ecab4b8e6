// Format texts of a dictionary that do not fit their arguments. An input is the format, a zero byte, and the
// arguments: a letter for the type, then the value's bytes or a text with a zero behind it.
#include "framework/cstring.h"
#include "framework/format.h"
#include "fuzz/fuzz_input.h"
#include "platform/text.h"

namespace rampart::fuzz {
namespace {

constexpr size_t kMostArguments = 12;
// Longest width, precision and digits of one conversion, its own text and the mark of a mistake.
constexpr size_t kLongestNumber = 5000;

struct Arguments {
    std::vector<FormatArgument> list;
    std::vector<std::string> narrow;  // reserved: the arguments refer to them
    std::vector<Text> texts;
    size_t longest = 0;
};

Arguments ReadArguments(Input& input) {
    Arguments arguments;
    arguments.narrow.reserve(kMostArguments);
    arguments.texts.reserve(kMostArguments);
    while (!input.AtEnd() && arguments.list.size() < kMostArguments) {
        switch (input.Take<char>()) {
            case 's':
                arguments.texts.push_back(platform::FromUtf8(input.Piece('\0')));
                arguments.longest = std::max(arguments.longest, arguments.texts.back().size());
                arguments.list.emplace_back(TextView(arguments.texts.back()));
                break;
            case 'n':
                arguments.narrow.emplace_back(input.Piece('\0'));
                arguments.longest = std::max(arguments.longest, arguments.narrow.back().size());
                arguments.list.emplace_back(arguments.narrow.back().c_str());
                break;
            case 'd':
                arguments.list.emplace_back(input.Take<int>());
                break;
            case 'q':
                arguments.list.emplace_back(input.Take<int64_t>());
                break;
            case 'c':
                arguments.list.emplace_back(static_cast<TCHAR>(input.Take<uint16_t>()));
                break;
            case 'f':
                arguments.list.emplace_back(input.Take<double>());
                break;
            case 'p':
                arguments.list.emplace_back(reinterpret_cast<const void*>(input.Take<uintptr_t>()));
                break;
            default:
                arguments.list.emplace_back(static_cast<const TCHAR*>(nullptr));
        }
    }
    return arguments;
}

}  // namespace
}  // namespace rampart::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace rampart;
    using namespace rampart::fuzz;
    Input input(data, size);
    const Text format = platform::FromUtf8(input.Piece('\0'));
    const Arguments arguments = ReadArguments(input);
    Text once, twice;
    AppendFormatted(once, format, arguments.list.data(), arguments.list.size());
    AppendFormatted(twice, format, arguments.list.data(), arguments.list.size());
    Require(once == twice, "the same format and arguments give the same text");
    Require(once.size() <= (format.size() + 1) * (arguments.longest + kLongestNumber),
            "a text is no longer than its conversions can make it");
    Text plain;
    AppendFormatted(plain, format, nullptr, 0);
    Require(format.find(_T('%')) != TextView::npos || plain == format, "a format without conversions stays");
    return 0;
}
