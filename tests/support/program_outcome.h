// What a program that a test ran left behind.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace rampart::test {

struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
    nlohmann::json Json() const { return nlohmann::json::parse(out); }
};

}  // namespace rampart::test
