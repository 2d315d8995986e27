#pragma once

namespace lathwind {

// The place in the source that a log line or an exception names. Used as a defaulted last
// argument, `SourceLine where = SourceLine::here()`, it captures the caller. The builtins stand
// in for std::source_location, which clang 14 cannot compile.
struct SourceLine {
    const char* file = "";
    int line = 0;

    static constexpr SourceLine here(const char* file = __builtin_FILE(),
                                     int line = __builtin_LINE()) noexcept {
        return {file, line};
    }
};

}  // namespace lathwind
