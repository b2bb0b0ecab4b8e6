// The mapping of one name, appended to a path that is being built.
#pragma once

#include <string>
#include <string_view>

#include "platform/text.h"

namespace rampart::platform {

void AppendEngineName(Text& engine, std::string_view native);
void AppendNativeName(std::string& native, TextView engine);

}  // namespace rampart::platform
