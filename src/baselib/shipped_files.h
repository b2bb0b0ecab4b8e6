// The files that are shipped with the product: where they lie, and the copies inside the library.
#pragma once

#include <string_view>

#include "platform/text.h"

namespace rampart {

// The folder named by RAMPART_SHARE, or "..\share\rampart" beside the program's folder if that exists;
// otherwise empty.
platform::Text ShippedFolder();

// The copies that were built in, UTF-8: a program without files beside it works with these.
std::string_view ShippedConfiguration();
std::string_view ShippedTexts();

}  // namespace rampart
