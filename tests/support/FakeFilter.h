#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "filewatch/IPSFilterInterface.h"

namespace lathwind::testing {

// A filter that notes what it is told to watch, as "add PATH LEVEL ACCESS 0" without the blanks
// between the numbers, and answers with `result`.
class FakeFilter final : public IPSFilterInterface {
public:
    std::int32_t start(IPSFilterCallback) override { return 0; }
    std::int32_t stop() override { return 0; }
    std::int32_t reserved() override { return 0; }
    std::int32_t isPathMonitored(const wchar_t*) override { return 0; }
    std::int32_t addPath(const char* path, std::int32_t level, std::int32_t access,
                         std::int32_t zero) override {
        return note("add", path, level, access, zero);
    }
    std::int32_t removePath(const char* path, std::int32_t level, std::int32_t access,
                            std::int32_t zero) override {
        return note("remove", path, level, access, zero);
    }

    std::vector<std::string> calls;
    std::int32_t result = 0;
    bool throws = false;

private:
    std::int32_t note(const char* what, const char* path, std::int32_t level, std::int32_t access,
                      std::int32_t zero) {
        calls.push_back(std::string(what) + " " + path + " " + std::to_string(level) +
                        std::to_string(access) + std::to_string(zero));
        if (throws) {
            throw std::runtime_error("filter");
        }
        return result;
    }
};

}  // namespace lathwind::testing
