#pragma once

#include <string>
#include <string_view>

namespace lathwind {

// Base of the program's own exceptions. `message` is the whole text:
// message + " at line " + decimal line number + " in file " + file name.
class IDSException {
public:
    IDSException(std::wstring_view text, int line, std::wstring_view file);
    virtual ~IDSException() = default;

    IDSException(const IDSException&) = default;
    IDSException& operator=(const IDSException&) = default;

    std::wstring message;
};

// A record could not be read or written: stream failure, sanity limit, damaged file.
class SerializeException : public IDSException {
public:
    using IDSException::IDSException;
};

}  // namespace lathwind
