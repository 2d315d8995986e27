#pragma once

#include <string>

#include "utils/platform/Errors.h"

namespace lathwind {

// A dynamic library of the agent's own folder, which is the process's current one, and of no other:
// asked for a bare name the system would look into further folders too, and whoever can write into
// one of them could have his code loaded. Unloads what it has loaded. Used by one thread.
class LocalLibrary {
public:
    LocalLibrary() = default;
    ~LocalLibrary();
    LocalLibrary(const LocalLibrary&) = delete;
    LocalLibrary& operator=(const LocalLibrary&) = delete;

    // A name that no folder, drive or stream of a file is hidden in.
    static bool isBareName(const std::wstring& name);

    // FileNotFound for what is not in the folder, a name that is not bare among it; else what the
    // system says. The object must be empty.
    platform::ErrorCode load(const std::wstring& name);
    bool isLoaded() const noexcept { return handle_ != nullptr; }
    void unload();
    // Leaves the library where it is for the rest of the process: the object is empty again.
    void keepForGood() noexcept { handle_ = nullptr; }

    // False, and null, when the library exports no such name. The caller vouches for the type.
    template <class Entry>
    bool find(const char* name, Entry& entry) const {
        entry = reinterpret_cast<Entry>(symbol(name));
        return entry != nullptr;
    }

private:
    void* symbol(const char* name) const;

    void* handle_ = nullptr;
};

}  // namespace lathwind
