#include "output.h"

#include <iostream>

namespace rampart::cli {

void PrintError(CommonOptions const& common, std::string const& text) {
    std::cerr << "rampart: " << text << std::endl;
    if (common.json) {
        PrintJson({{"error", text}});
    }
}

void PrintLine(CommonOptions const& common, std::string const& text) {
    if (!common.quiet && !common.json) {
        std::cout << text << '\n';
    }
}

void PrintJsonLine(nlohmann::json const& value) {
    std::cout << value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
}

void PrintJson(nlohmann::json const& value) {
    std::cout << value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
}

}  // namespace rampart::cli
