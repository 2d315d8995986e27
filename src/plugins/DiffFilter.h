#pragma once

#include <cstddef>
#include <string>

namespace lathwind {

class ByteArray;  // utils/ByteArray.h

// One way to tell two contents of a file apart, for all files of a type. What a filter wants to
// keep for one file between two runs it hangs on that file's state pointer. A filter has no state
// of its own: any thread may call it, with one thread at a time for a file.
class DiffFilter {
public:
    // The longest result, in bytes or UTF-16 units. A watched file can be made so that its diff is
    // many times as long as itself, and nobody reads on for that long.
    static constexpr std::size_t kMostText = 64 << 20;

    virtual ~DiffFilter() = default;
    // The difference as text, lines ending in "\n"; empty for none. `state` is null at first, then
    // what the last run left. Throws std::length_error for a result that is too long, and
    // std::bad_alloc; the state is then null or good for the next run.
    virtual std::wstring run(void*& state, const ByteArray& previous,
                             const ByteArray& current) const = 0;
    // Releases what run has left in a state pointer; null does nothing.
    virtual void release(void* state) const = 0;
};

}  // namespace lathwind
