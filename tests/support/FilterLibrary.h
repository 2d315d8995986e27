#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include "support/TestFilterControl.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind::testing {

// The test filter's library, put into a binary folder. An installation has none unless a test says
// so. Outlives every monitor that uses it, and is made with that folder as the current one.
class FilterLibrary {
public:
    static std::string fileName() {
        return "IPSFileWatchCollector" + narrow(platform::libraries().suffix());
    }
    // For another process, which cannot be controlled from here.
    static void install(const std::filesystem::path& folder) {
        std::filesystem::copy_file(std::filesystem::path(LATHWIND_TEST_FILTER) / fileName(),
                                   folder / fileName());
    }

    FilterLibrary(const std::filesystem::path& native, const std::wstring& folder) {
        install(native);
        const std::wstring path = folder + L"\\" + widen(fileName());
        TestFilterEntry entry = nullptr;
        if (platform::libraries().load(path, library_) == platform::error::Success) {
            entry = reinterpret_cast<TestFilterEntry>(
                platform::libraries().symbol(library_, kTestFilterEntry));
        }
        if (entry == nullptr) {
            throw std::runtime_error("the test filter does not load");
        }
        control_ = entry();
    }
    // The product leaves the library loaded for good. Windows does not delete it then, and the
    // folder would outlive the test.
    ~FilterLibrary() {
        std::uint32_t references = 1;
        if (platform::libraries().suffix() == L".dll") {
            references += control_->CountOf(TestFilterControl::Call::GetInterface);
        }
        while (references-- != 0) {
            platform::libraries().unload(library_);
        }
    }
    FilterLibrary(const FilterLibrary&) = delete;
    FilterLibrary& operator=(const FilterLibrary&) = delete;

    TestFilterControl& control() const { return *control_; }

private:
    void* library_ = nullptr;
    TestFilterControl* control_ = nullptr;
};

}  // namespace lathwind::testing
