#include "session.h"

#include <iostream>

#include "common/text.h"

namespace rampart::cli {

namespace {

// Questions of the engine: shown, and answered with no.
int ShowMessage(TCHAR const* text, unsigned int, unsigned long, int) {
    std::cerr << "rampart: " << Utf8(text) << std::endl;
    return 0;
}

}  // namespace

EngineSession::EngineSession(CommonOptions const& common, bool mayCreate)
    : host::EngineSession(common.vault, mayCreate, &ShowMessage) {}

}  // namespace rampart::cli
