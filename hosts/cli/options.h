// What the user typed.
#pragma once

#include <string>
#include <vector>

namespace rampart::host {}

namespace rampart::cli {

using namespace host;  // what all hosts share

struct CommonOptions {
    std::string vault;  // URL or native path; empty for the configured one
    bool json = false;
    bool quiet = false;
    bool yes = false;  // answers of the engine's questions
    bool no = false;
};

struct BackupOptions {
    std::vector<std::string> paths;
    std::string to;    // server folder; empty for one named after machine and task
    std::string name;  // task name; empty for one made from the sources
    std::vector<std::string> exclude;
    std::vector<std::string> include;
    long long versions = 0;  // 0: the task's own, or the default
    bool special = false;    // keep named pipes and devices
    int limit = 0;           // percent of the time that copying may take; 0: as configured
};

struct RestoreOptions {
    std::string what;  // task name or server path
    std::string into;
    bool inPlace = false;  // to where it came from
    int version = 1;       // 1 is the newest
    std::string at;        // moment whose state is wanted; empty for none
    bool deleted = false;  // also what is not there any more
    std::string overwrite = "never";
    std::vector<std::string> include;
    std::vector<std::string> exclude;
    bool noOwner = false;
    bool verify = false;
    bool dryRun = false;
};

struct ListOptions {
    std::string path;
    bool recursive = false;
    bool deleted = false;
    std::string at;
};

struct DiffOptions {
    std::string what;             // task name or server path
    std::vector<std::string> at;  // moments, at most two
};

struct MountOptions {
    std::string folder;
    bool foreground = false;
};

struct StatusOptions {
    bool watch = false;
};

struct EventOptions {
    std::string task;  // empty for all
    long long last = 20;
    bool follow = false;
};

struct VerifyOptions {
    bool readData = false;
};

struct SettingOptions {
    std::string key;  // empty for all
    std::string value;
};

}  // namespace rampart::cli
