// How a failure travels inside this room: thrown with its code, turned into a ServiceResult at the edge.
#pragma once

#include <exception>
#include <new>
#include <stdexcept>
#include <string>

#include "storage/storage_service.h"

namespace rampart {

class StorageError : public std::runtime_error {
public:
    StorageError(int code, const std::string& text) : std::runtime_error(text), m_code(code) {}
    int code() const { return m_code; }

private:
    int m_code;
};

// Runs `body`, which gives a ServiceResult, and lets no exception out.
template <typename Body>
ServiceResult AtServiceEdge(Body&& body) noexcept {
    try {
        return body();
    } catch (const StorageError& error) {
        return ServiceResult(error.code(), error.what());
    } catch (const std::bad_alloc&) {
        return ServiceResult(kFailed, "out of memory");
    } catch (const std::exception& error) {
        return ServiceResult(kFailed, error.what());
    } catch (...) {
        return ServiceResult(kFailed, "unexpected failure");
    }
}

}  // namespace rampart
