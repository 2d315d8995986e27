#pragma once

#include <utility>

#include "utils/windows/SystemHeaders.h"

// Owners of what the system hands out: one type for each way to give it back.
namespace lathwind::windows {

template <class T, auto Close>
class Unique {
public:
    Unique() = default;
    explicit Unique(T value) noexcept : value_(value) {}
    Unique(Unique&& other) noexcept : value_(std::exchange(other.value_, T{})) {}
    Unique& operator=(Unique&& other) noexcept {
        reset(std::exchange(other.value_, T{}));
        return *this;
    }
    ~Unique() { reset(); }

    explicit operator bool() const noexcept { return value_ != T{}; }
    T get() const noexcept { return value_; }
    // For calls that hand the value out through a pointer; releases what was held.
    T* put() noexcept {
        reset();
        return &value_;
    }
    void reset(T value = T{}) noexcept {
        if (value_ != T{}) {
            Close(value_);
        }
        value_ = value;
    }

private:
    T value_{};
};

inline void closeHandle(HANDLE handle) noexcept {
    ::CloseHandle(handle);
}
inline void closeFind(HANDLE handle) noexcept {
    ::FindClose(handle);
}
inline void closeVolumeMountPoint(HANDLE handle) noexcept {
    ::FindVolumeMountPointClose(handle);
}
inline void closeKey(HKEY key) noexcept {
    ::RegCloseKey(key);
}
inline void closeService(SC_HANDLE handle) noexcept {
    ::CloseServiceHandle(handle);
}
inline void freeLocal(void* memory) noexcept {
    ::LocalFree(memory);
}
inline void freeSid(PSID sid) noexcept {
    ::FreeSid(sid);
}
inline void freeNetBuffer(void* buffer) noexcept {
    ::NetApiBufferFree(buffer);
}

// Null means none: a call that answers INVALID_HANDLE_VALUE goes through validHandle.
using UniqueHandle = Unique<HANDLE, closeHandle>;
using UniqueFind = Unique<HANDLE, closeFind>;
using UniqueVolumeMountPoint = Unique<HANDLE, closeVolumeMountPoint>;
using UniqueKey = Unique<HKEY, closeKey>;
using UniqueService = Unique<SC_HANDLE, closeService>;
using UniqueSid = Unique<PSID, freeSid>;
template <class T>
using UniqueLocal = Unique<T, freeLocal>;
template <class T>
using UniqueNetBuffer = Unique<T*, freeNetBuffer>;

inline HANDLE validHandle(HANDLE handle) noexcept {
    return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
}

// An entry point by its real type; null when the library is not loaded or exports no such name.
template <class Function>
Function entryPoint(const wchar_t* library, const char* name) noexcept {
    const HMODULE module = ::GetModuleHandleW(library);
    if (module == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

// The last error after a call that answered false, Success after one that answered true. A call
// that fails without leaving a code must not pass for one that worked.
inline DWORD resultOf(BOOL answer) noexcept {
    if (answer) {
        return ERROR_SUCCESS;
    }
    const DWORD code = ::GetLastError();
    return code != ERROR_SUCCESS ? code : ERROR_GEN_FAILURE;
}

}  // namespace lathwind::windows
