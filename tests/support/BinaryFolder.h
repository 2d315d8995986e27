#pragma once

#include <stdexcept>
#include <string>

#include "support/TempDir.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind::testing {

// An installation of its own, with the process in its binary folder while in scope: the product's
// paths hang from there.
class BinaryFolder {
public:
    BinaryFolder() {
        for (const char* name : {"bin", "log", "system"}) {
            root.makeFolder(name);
        }
        platform::files().currentDirectory(before_);
        enter(root.path(L"bin"));
    }
    ~BinaryFolder() { platform::files().setCurrentDirectory(narrow(before_)); }
    BinaryFolder(const BinaryFolder&) = delete;
    BinaryFolder& operator=(const BinaryFolder&) = delete;

    const TempDir root;

private:
    static void enter(const std::wstring& folder) {
        if (platform::files().setCurrentDirectory(narrow(folder)) != platform::error::Success) {
            throw std::runtime_error("cannot enter " + narrow(folder));
        }
    }

    std::wstring before_;
};

}  // namespace lathwind::testing
