#pragma once

#include "utils/platform/Threading.h"
#include "utils/windows/WinHandles.h"

namespace lathwind::windows {

class CAPABILITY("mutex") WinLock final : public Lock {
public:
    WinLock() { ::InitializeCriticalSection(&section_); }
    ~WinLock() override { ::DeleteCriticalSection(&section_); }
    WinLock(const WinLock&) = delete;
    WinLock& operator=(const WinLock&) = delete;

    void acquire() ACQUIRE() override { ::EnterCriticalSection(&section_); }
    void release() RELEASE() override { ::LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

}  // namespace lathwind::windows
