#pragma once

#include <string>

#include "utils/platform/Errors.h"

namespace lathwind::platform {

// Dynamic libraries. A handle is owned by the caller until unload.
class Libraries {
public:
    virtual ~Libraries() = default;
    virtual ErrorCode load(const std::wstring& path, void*& library) = 0;
    // Null when the library exports no such name.
    virtual void* symbol(void* library, const std::string& name) = 0;
    virtual void unload(void* library) = 0;
    // What the names of libraries end with: ".dll", ".so".
    virtual std::wstring suffix() = 0;
};

}  // namespace lathwind::platform
