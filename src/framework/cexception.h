// The exceptions of the framework. They are thrown and caught by value or reference, never by pointer.
#pragma once

#include <exception>
#include <string>

#include "framework/types.h"

// Base of all of them. `what()` is an English sentence in UTF-8 for the debug log.
class VAULTLIB_API CException : public std::exception {
public:
    explicit CException(std::string text) : m_text(std::move(text)) {}
    const char* what() const noexcept override { return m_text.c_str(); }

private:
    std::string m_text;
};

// A failure that is named by a result code: rampart::kErrorFail, rampart::kErrorInvalidArgument.
class VAULTLIB_API CAtlException : public CException {
public:
    explicit CAtlException(HRESULT result);

    HRESULT m_hr;

protected:
    CAtlException(HRESULT result, std::string text) : CException(std::move(text)), m_hr(result) {}
};

// An argument that the operation cannot take: an index out of range, a null position, the head of an empty
// list.
class VAULTLIB_API CInvalidArgException : public CAtlException {
public:
    CInvalidArgException() : CAtlException(rampart::kErrorInvalidArgument, "invalid argument") {}
};

[[noreturn]] VAULTLIB_API void AtlThrow(HRESULT result);
[[noreturn]] VAULTLIB_API void AfxThrowInvalidArgException();
