#include "filewatch/WatchedPathSpec.h"

#include <string_view>
#include <utility>

namespace lathwind {

WatchedPathSpec::WatchedPathSpec(std::wstring path, std::int32_t recursionLevel,
                                 bool monitorAccessTime)
    : fullPath_(std::move(path)),
      recursionLevel_(recursionLevel),
      monitorAccessTime_(monitorAccessTime) {
    std::wstring_view rest = fullPath_;
    if (rest.size() > 4 && rest.back() == L'\\') {
        rest.remove_suffix(1);
    }
    const auto mask = rest.rfind(L'\\') + 1;  // 0 without a backslash: npos wraps
    directory_ = rest.substr(0, mask);
    mask_ = rest.substr(mask);
}

}  // namespace lathwind
