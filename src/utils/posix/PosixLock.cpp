#include <pthread.h>

#include "utils/posix/Services.h"

namespace lathwind::posix {
namespace {

class CAPABILITY("mutex") PosixLock final : public Lock {
public:
    PosixLock() {
        pthread_mutexattr_t attributes;
        ::pthread_mutexattr_init(&attributes);
        ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        ::pthread_mutex_init(&native_, &attributes);
        ::pthread_mutexattr_destroy(&attributes);
    }
    ~PosixLock() override { ::pthread_mutex_destroy(&native_); }
    PosixLock(const PosixLock&) = delete;
    PosixLock& operator=(const PosixLock&) = delete;

    void acquire() ACQUIRE() override { ::pthread_mutex_lock(&native_); }
    void release() RELEASE() override { ::pthread_mutex_unlock(&native_); }

private:
    pthread_mutex_t native_;
};

}  // namespace

std::unique_ptr<Lock> makeLock() {
    return std::make_unique<PosixLock>();
}

}  // namespace lathwind::posix
