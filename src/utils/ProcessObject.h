#pragma once

#include <cstdint>
#include <memory>

namespace lathwind {

class ProcessObject;
std::unique_ptr<ProcessObject> makeProcessObject(std::uint32_t processId);

}  // namespace lathwind
