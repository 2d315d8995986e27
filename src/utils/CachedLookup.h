#pragma once

#include <memory>

namespace lathwind {

class CachedLookup;
std::unique_ptr<CachedLookup> makeCachedLookup();

}  // namespace lathwind
