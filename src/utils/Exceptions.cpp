#include "utils/Exceptions.h"

namespace lathwind {

IDSException::IDSException(std::wstring_view text, int line, std::wstring_view file)
    : message(text) {
    message += L" at line ";
    message += std::to_wstring(line);
    message += L" in file ";
    message += file;
}

}  // namespace lathwind
