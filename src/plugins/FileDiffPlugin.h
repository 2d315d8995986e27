#pragma once

#include <memory>
#include <string>

#include "plugins/DiffFilter.h"
#include "plugins/filediff_plugin.h"
#include "utils/LocalLibrary.h"

namespace lathwind {

// One diff plug-in: a library in the process's current directory, which is the agent's binary
// folder. docs/filediff-plugins.md describes its side of the interface.
class FileDiffPlugin : public DiffFilter {
public:
    // "filediff_" + type + ".dll", or what a library of that name is called on this platform.
    static std::wstring libraryName(const std::wstring& type);

    // Null if the library is not a bare name, is not there, does not load, lacks an entry or was
    // made for another version of the interface; a debug line says which.
    static std::unique_ptr<FileDiffPlugin> load(const std::wstring& library);
    ~FileDiffPlugin() override = default;  // unloads: every state must be released by then

    // Empty, with a debug line, if the plug-in reports an error or breaks the interface.
    std::wstring run(void*& state, const ByteArray& previous,
                     const ByteArray& current) const override;
    void release(void* state) const override;

private:
    explicit FileDiffPlugin(std::wstring name) : name_(std::move(name)) {}
    bool load();
    template <class Entry>
    bool find(const char* name, Entry& entry) const;
    bool findEntries();

    const std::wstring name_;  // of the library
    LocalLibrary library_;
    filediff_filter_entry filter_ = nullptr;
    filediff_free_entry free_ = nullptr;
};

}  // namespace lathwind
