#pragma once

#include <memory>

namespace lathwind {

// A value that is empty in nearly every object that has one, such as the alternate streams of a
// file: empty it takes the room of a pointer. A T that is constructed by default is the empty one.
template <class T>
class Rare {
public:
    Rare() = default;
    // The analyzer does not see that what copy() gives is owned.
    Rare(const Rare& other)
        : value_(other.copy()) {}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)
    Rare(Rare&&) noexcept = default;
    Rare& operator=(const Rare& other) {
        value_ = other.copy();
        return *this;
    }
    Rare& operator=(Rare&&) noexcept = default;
    ~Rare() = default;

    const T& get() const {
        static const T none{};
        return value_ == nullptr ? none : *value_;
    }
    T& edit() {
        if (value_ == nullptr) {
            value_ = std::make_unique<T>();
        }
        return *value_;
    }
    void clear() noexcept { value_.reset(); }

    friend bool operator==(const Rare& first, const Rare& second) {
        return (first.value_ == nullptr && second.value_ == nullptr) || first.get() == second.get();
    }

private:
    std::unique_ptr<T> copy() const {
        return value_ == nullptr ? nullptr : std::make_unique<T>(*value_);
    }

    std::unique_ptr<T> value_;
};

}  // namespace lathwind
