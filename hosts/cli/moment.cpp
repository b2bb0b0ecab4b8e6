#include "moment.h"

#include <array>
#include <cstdlib>
#include <regex>

#include "engine/vaultlib.h"

namespace rampart::cli {

namespace {

constexpr long long kNanosecondsASecond = 1000000000;

}  // namespace

std::optional<long long> ParseMoment(std::string const& text) {
    static std::regex const form(
        R"((\d{4})-(\d{1,2})-(\d{1,2})(?:[ T](\d{1,2}):(\d{2})(?::(\d{2})(?:\.(\d{1,9}))?)?)?)");
    std::smatch match;
    if (!std::regex_match(text, match, form)) {
        return std::nullopt;
    }
    std::array<int, 6> fields{0, 0, 0, 23, 59, 59};
    for (size_t i = 0; i < fields.size(); ++i) {
        if (match[i + 1].matched) {
            fields[i] = std::atoi(match[i + 1].str().c_str());
        }
    }
    long long fraction = kNanosecondsASecond - 1;
    if (match[7].matched) {
        fraction = std::atoll((match[7].str() + "000000000").substr(0, 9).c_str());
    }
    try {
        CTime const time(fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]);
        bool const exact = time.GetDay() == fields[2] && time.GetMonth() == fields[1];
        return exact ? std::optional<long long>(time.GetTime() * kNanosecondsASecond + fraction)
                     : std::nullopt;
    } catch (...) {
        return std::nullopt;  // a field out of range
    }
}

}  // namespace rampart::cli
