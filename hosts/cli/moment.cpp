#include "moment.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "common/exit_code.h"
#include "engine/vaultlib.h"
#include "options.h"

namespace rampart::cli {

namespace {

constexpr long long kNanosecondsASecond = 1000000000;

class Scanner {
public:
    explicit Scanner(std::string_view rest) : m_rest(rest) {}

    // A number of `least` to `most` digits.
    bool Number(size_t least, size_t most, int& value) {
        size_t const count = Digits(most);
        if (count < least) {
            return false;
        }
        std::from_chars(m_rest.data(), m_rest.data() + count, value);
        m_rest.remove_prefix(count);
        return true;
    }

    // What stands behind a decimal point, in billionths.
    bool Fraction(long long& nanoseconds) {
        constexpr int kPlaces = 9;
        int const places = static_cast<int>(Digits(kPlaces));
        int value = 0;
        if (!Number(1, kPlaces, value)) {
            return false;
        }
        nanoseconds = value;
        for (int i = places; i < kPlaces; ++i) {
            nanoseconds *= 10;
        }
        return true;
    }

    // One of `signs`.
    bool Sign(std::string_view signs) {
        if (m_rest.empty() || signs.find(m_rest.front()) == std::string_view::npos) {
            return false;
        }
        m_rest.remove_prefix(1);
        return true;
    }

    bool IsAtEnd() const { return m_rest.empty(); }

private:
    size_t Digits(size_t most) const {
        return std::min({m_rest.find_first_not_of("0123456789"), m_rest.size(), most});
    }

    std::string_view m_rest;
};

}  // namespace

std::optional<long long> ParseMoment(std::string const& text) {
    std::array<int, 6> fields{0, 0, 0, 23, 59, 59};
    long long fraction = kNanosecondsASecond - 1;
    Scanner scan(text);
    bool isMoment = scan.Number(4, 4, fields[0]) && scan.Sign("-") && scan.Number(1, 2, fields[1]) &&
                    scan.Sign("-") && scan.Number(1, 2, fields[2]);
    if (isMoment && scan.Sign(" T")) {
        isMoment = scan.Number(1, 2, fields[3]) && scan.Sign(":") && scan.Number(2, 2, fields[4]);
        if (isMoment && scan.Sign(":")) {
            isMoment = scan.Number(2, 2, fields[5]);
            if (isMoment && scan.Sign(".")) {
                isMoment = scan.Fraction(fraction);
            }
        }
    }
    if (!isMoment || !scan.IsAtEnd()) {
        return std::nullopt;
    }
    try {
        CTime const time(fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]);
        bool const exact = time.GetDay() == fields[2] && time.GetMonth() == fields[1];
        if (!exact) {
            return std::nullopt;
        }
        bool const isBeyond = time.GetTime() >= INT64_MAX / kNanosecondsASecond;  // behind all that is stored
        return isBeyond ? INT64_MAX : time.GetTime() * kNanosecondsASecond + fraction;
    } catch (...) {
        return std::nullopt;  // a field out of range
    }
}

std::optional<long long> RequireMoment(std::string const& text) {
    if (text.empty()) {
        return std::nullopt;
    }
    std::optional<long long> const moment = ParseMoment(text);
    if (!moment) {
        throw CommandError(kExitUsage, "'" + text + "' is no moment; type it as YYYY-MM-DD HH:MM:SS");
    }
    return moment;
}

}  // namespace rampart::cli
