#include "framework/carchive_exception.h"

#include <array>

namespace {

constexpr std::array<const char*, CArchiveException::badSchema + 1> kArchiveCauseTexts = {
    "no failure",
    "archive: unspecified failure",
    "archive: it loads and cannot be written",
    "archive: it ended early",
    "archive: it stores and cannot be read",
    "archive: bad index",
    "archive: bad class",
    "archive: bad version",
};

std::string Describe(int cause) {
    const bool known = cause >= 0 && static_cast<size_t>(cause) < kArchiveCauseTexts.size();
    return kArchiveCauseTexts[static_cast<size_t>(known ? cause : int{CArchiveException::genericException})];
}

}  // namespace

CArchiveException::CArchiveException(int cause) : CException(Describe(cause)), m_cause(cause) {}

void AfxThrowArchiveException(int cause) {
    throw CArchiveException(cause);
}
