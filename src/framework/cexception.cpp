#include "framework/cexception.h"

namespace {

std::string ResultText(HRESULT result) {
    switch (result) {
        case rampart::kErrorFail:
            return "the operation failed";
        case rampart::kErrorInvalidArgument:
            return "invalid argument";
        default:
            return "failure " + std::to_string(result);
    }
}

}  // namespace

CAtlException::CAtlException(HRESULT result) : CAtlException(result, ResultText(result)) {}

void AtlThrow(HRESULT result) {
    if (result == rampart::kErrorInvalidArgument) {
        AfxThrowInvalidArgException();
    }
    throw CAtlException(result);
}

void AfxThrowInvalidArgException() {
    throw CInvalidArgException();
}
