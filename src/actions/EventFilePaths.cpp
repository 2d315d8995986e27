#include "actions/EventFilePaths.h"

#include <array>
#include <memory>
#include <string_view>

#include "utils/FileIO.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr std::array<std::wstring_view, 2> kDefaults = {L"../log/QVRIDSEvents.csv",
                                                        L"../log/QVRRTEvents.csv"};

struct Paths {
    const std::unique_ptr<Lock> lock = platformFactory.createLock();
    std::array<std::wstring, 2> names GUARDED_BY(*lock) = {std::wstring(kDefaults[0]),
                                                           std::wstring(kDefaults[1])};
};

Paths& paths() {
    static Paths instance;
    return instance;
}

}  // namespace

std::wstring eventFilePath(EventFile file) {
    Paths& current = paths();
    const ScopedLock guard(*current.lock);
    return current.names[static_cast<std::size_t>(file)];
}

void setEventFilePaths(const std::wstring& all, const std::wstring& realTime) {
    Paths& current = paths();
    const ScopedLock guard(*current.lock);
    current.names = {all.empty() ? std::wstring(kDefaults[0]) : all,
                     realTime.empty() ? std::wstring(kDefaults[1]) : realTime};
}

std::wstring eventFileFolder() {
    return FileIO::GetDirectory(FileIO::NormalizePath(eventFilePath(EventFile::All)));
}

}  // namespace lathwind
