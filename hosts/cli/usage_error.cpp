#include "usage_error.h"

#include <algorithm>
#include <iostream>
#include <numeric>

#include "common/exit_code.h"
#include "output.h"

namespace rampart::cli {

namespace {

constexpr size_t kFarthest = 2;  // letters by which a mistyped command differs

// How many letters have to be changed, added, taken off or swapped with their neighbour.
size_t Distance(std::string const& a, std::string const& b) {
    std::vector<std::vector<size_t>> cost(a.size() + 1, std::vector<size_t>(b.size() + 1));
    std::iota(cost[0].begin(), cost[0].end(), 0);
    for (size_t i = 1; i <= a.size(); ++i) {
        cost[i][0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1,
                                   cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[a.size()][b.size()];
}

// The nearest subcommand of `app`; empty if none is near, or `word` is one.
std::string Nearest(CLI::App const& app, std::string const& word) {
    std::string nearest;
    size_t least = std::min(kFarthest, word.size() / 2) + 1;
    for (CLI::App const* const command : app.get_subcommands([](CLI::App const*) { return true; })) {
        size_t const distance = Distance(word, command->get_name());
        if (distance == 0) {
            return {};
        }
        if (distance < least) {
            least = distance;
            nearest = command->get_name();
        }
    }
    return nearest;
}

// The first word that should be a command and is none, and what it may have been.
std::string Suggestion(CLI::App const& app, std::vector<std::string> const& reversed) {
    CLI::App const* level = &app;
    for (auto word = reversed.rbegin(); word != reversed.rend(); ++word) {
        if (word->starts_with('-')) {
            continue;
        }
        auto const commands = level->get_subcommands([](CLI::App const*) { return true; });
        if (commands.empty()) {
            return {};
        }
        auto const found = std::find_if(commands.begin(), commands.end(),
                                        [&](CLI::App const* each) { return each->check_name(*word); });
        if (found == commands.end()) {
            std::string const nearest = Nearest(*level, *word);
            return nearest.empty()
                       ? std::string()
                       : "'" + Printable(*word) + "' is no command; did you mean '" + nearest + "'?";
        }
        level = *found;
    }
    return {};
}

}  // namespace

void CompleteOverwrite(std::vector<std::string>& reversed) {
    auto const isValue = [](std::string const& text) {
        return text == "never" || text == "older" || text == "always";
    };
    for (size_t i = 0; i < reversed.size(); ++i) {
        if (reversed[i] == "--overwrite" && (i == 0 || !isValue(reversed[i - 1]))) {
            reversed[i] = "--overwrite=always";
        }
    }
}

int TellUsage(CLI::App const& app, CLI::ParseError const& error, std::vector<std::string> const& reversed,
              CommonOptions const& common) {
    if (error.get_exit_code() == 0) {
        app.exit(error);  // the help, or the version
        return kExitDone;
    }
    bool const isJson =
        common.json || std::find(reversed.begin(), reversed.end(), "--json") != reversed.end();
    std::string const suggestion = Suggestion(app, reversed);
    std::string const text = suggestion.empty() ? std::string(error.what()) : suggestion;
    if (isJson) {
        PrintJson({{"error", text}, {"result", static_cast<int>(kExitUsage)}});
    }
    if (suggestion.empty()) {
        app.exit(error);
    } else {
        std::cerr << "rampart: " << text << "\nRun with --help for more information." << std::endl;
    }
    return kExitUsage;
}

}  // namespace rampart::cli
