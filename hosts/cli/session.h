// One use of the engine by a command.
#pragma once

#include "common/session.h"
#include "options.h"

namespace rampart::cli {

class EngineSession : public host::EngineSession {
public:
    EngineSession(CommonOptions const& common, bool mayCreate);
};

}  // namespace rampart::cli
