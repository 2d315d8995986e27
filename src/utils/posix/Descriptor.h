#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace lathwind::posix {

// Owns a file descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }

    explicit operator bool() const { return number_ >= 0; }
    int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }
    void reset(int number) {
        const int saved = errno;  // of the call that gave `number`
        close();
        errno = saved;
        number_ = number;
    }
    // 0 or an errno, as some file systems report a failed write only here.
    int close() {
        if (number_ < 0) {
            return 0;
        }
        const int result = ::close(std::exchange(number_, -1));
        return result == 0 || errno == EINTR ? 0 : errno;
    }

private:
    int number_ = -1;
};

}  // namespace lathwind::posix
