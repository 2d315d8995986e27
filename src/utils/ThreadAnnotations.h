#pragma once

// Lock annotations for clang's thread-safety analysis. They vanish for every other compiler.
// The `clang` preset builds with -Werror=thread-safety.

#if defined(__clang__)
#define LATHWIND_ANNOTATE(x) __attribute__((x))
#else
#define LATHWIND_ANNOTATE(x)
#endif

#define CAPABILITY(x) LATHWIND_ANNOTATE(capability(x))
#define SCOPED_CAPABILITY LATHWIND_ANNOTATE(scoped_lockable)
#define GUARDED_BY(x) LATHWIND_ANNOTATE(guarded_by(x))
#define PT_GUARDED_BY(x) LATHWIND_ANNOTATE(pt_guarded_by(x))
#define REQUIRES(...) LATHWIND_ANNOTATE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) LATHWIND_ANNOTATE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) LATHWIND_ANNOTATE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) LATHWIND_ANNOTATE(locks_excluded(__VA_ARGS__))
#define RETURN_CAPABILITY(x) LATHWIND_ANNOTATE(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS LATHWIND_ANNOTATE(no_thread_safety_analysis)
