#pragma once

#include <map>
#include <vector>

#include "utils/platform/Processes.h"

namespace lathwind::testing {

// The processes that a test writes down.
class FakeProcesses : public platform::Processes {
public:
    std::map<std::uint32_t, platform::ProcessFacts> running;
    std::vector<std::uint32_t> protectedIds;  // neither opened nor ended
    std::vector<std::uint32_t> ended;
    std::uint32_t self = 1;
    platform::ErrorCode listing = platform::error::Success;

    std::uint32_t currentId() override { return self; }
    platform::ErrorCode list(std::vector<platform::ProcessEntry>& processes) override {
        for (const auto& [id, facts] : running) {
            processes.push_back({id, facts.parentId, facts.image});
        }
        return listing;
    }
    platform::ErrorCode query(std::uint32_t id, platform::ProcessFacts& facts) override {
        const auto found = running.find(id);
        if (found == running.end()) {
            return platform::error::InvalidParameter;
        }
        facts = found->second;
        return isProtected(id) ? platform::error::AccessDenied : platform::error::Success;
    }
    platform::ErrorCode terminate(std::uint32_t id) override {
        if (isProtected(id)) {
            return platform::error::AccessDenied;
        }
        ended.push_back(id);
        return platform::error::Success;
    }

private:
    bool isProtected(std::uint32_t id) const {
        for (const std::uint32_t candidate : protectedIds) {
            if (candidate == id) {
                return true;
            }
        }
        return false;
    }
};

}  // namespace lathwind::testing
