#pragma once

#include <cstdint>

namespace lathwind {

// Told of long work on its own thread: reading a file for a digest reports each MiB.
class ProgressListener {
public:
    virtual ~ProgressListener() = default;
    virtual void onBytes(std::uint64_t bytes) = 0;
};

namespace detail {
inline thread_local ProgressListener* progressListener = nullptr;
}

inline void reportBytes(std::uint64_t bytes) {
    if (detail::progressListener != nullptr) {
        detail::progressListener->onBytes(bytes);
    }
}

// Listens on the calling thread for as long as it lives.
class ScopedProgressListener {
public:
    explicit ScopedProgressListener(ProgressListener& listener)
        : previous_(detail::progressListener) {
        detail::progressListener = &listener;
    }
    ~ScopedProgressListener() { detail::progressListener = previous_; }
    ScopedProgressListener(const ScopedProgressListener&) = delete;
    ScopedProgressListener& operator=(const ScopedProgressListener&) = delete;

private:
    ProgressListener* previous_;
};

}  // namespace lathwind
