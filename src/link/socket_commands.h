// The commands that hosts exchange, as far as the engine treats some of them specially.
#pragma once

#include <cstdint>

// A host has its own set of values and converts.
enum SocketCommands : int32_t {
    kNoSocketCommand = INT32_MIN,  // nothing is awaited; never sent
};

namespace rampart {

// Commands of every moment, which are never written to the debug log.
constexpr bool IsSilentCommand(int32_t command) {
    constexpr int32_t kFirst = 121, kLast = 132;
    constexpr uint32_t kSilent = 0b1111'1100'0111;  // a bit for each value from kFirst on
    return command == 2 ||
           (command >= kFirst && command <= kLast && (kSilent >> (command - kFirst) & 1) != 0);
}

}  // namespace rampart
