#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "utils/platform/Errors.h"

namespace lathwind::platform {

struct ProcessEntry {
    std::uint32_t id = 0;
    std::uint32_t parentId = 0;
    std::wstring image;  // file name of the program, without its folder
};

struct ProcessFacts {
    std::wstring image;      // file name, without its folder
    std::wstring path;       // full path, empty where it cannot be had
    std::wstring ownerName;  // account name, empty where it cannot be had
    std::wstring ownerDomain;
    std::uint32_t parentId = 0;
    std::uint32_t sessionId = 0;
    std::uint32_t priorityClass = 0;  // NORMAL_PRIORITY_CLASS 0x20 and so on; 0 unknown
};

class Processes {
public:
    virtual ~Processes() = default;
    virtual std::uint32_t currentId() = 0;
    virtual ErrorCode list(std::vector<ProcessEntry>& processes) = 0;  // emptied first
    // InvalidParameter for an id that no process has.
    virtual ErrorCode query(std::uint32_t id, ProcessFacts& facts) = 0;
    virtual ErrorCode terminate(std::uint32_t id) = 0;
};

}  // namespace lathwind::platform
