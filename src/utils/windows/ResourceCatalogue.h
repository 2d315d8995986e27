#pragma once

#include "utils/MessageCatalogue.h"

namespace lathwind::windows {

// The catalogue over the string table in the program's resources.
class ResourceCatalogue final : public MessageCatalogue {
public:
    int load(int id, wchar_t* buffer, int size) override;
};

}  // namespace lathwind::windows
