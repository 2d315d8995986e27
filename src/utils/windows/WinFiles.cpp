#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <share.h>

#include "utils/windows/FileSecurity.h"
#include "utils/windows/FileStreams.h"
#include "utils/windows/SystemPath.h"
#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

using platform::DirectoryEntry;
using platform::ErrorCode;
using platform::FileFacts;
using platform::Sharing;

std::uint64_t join(DWORD high, DWORD low) {
    return std::uint64_t{high} << 32 | low;
}

std::uint64_t join(const FILETIME& time) {
    return join(time.dwHighDateTime, time.dwLowDateTime);
}

// Every path enters here: an empty one is no question for the system, which would take some as
// the current folder.
template <class Call>
ErrorCode onPath(const std::wstring& path, Call call) {
    return path.empty() ? ERROR_PATH_NOT_FOUND : resultOf(call(systemPath(path).c_str()));
}

template <class Call>
ErrorCode onPaths(const std::wstring& source, const std::wstring& target, Call call) {
    return source.empty() || target.empty()
               ? ERROR_PATH_NOT_FOUND
               : resultOf(call(systemPath(source).c_str(), systemPath(target).c_str()));
}

bool isOnDisk(std::FILE* stream) {
    return ::GetFileType(reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream)))) ==
           FILE_TYPE_DISK;
}

class WinFiles final : public platform::Files {
public:
    ErrorCode query(const std::wstring& path, FileFacts& facts) override {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        const ErrorCode code = onPath(path, [&](const wchar_t* name) {
            return ::GetFileAttributesExW(name, GetFileExInfoStandard, &data);
        });
        if (code == ERROR_SUCCESS) {
            facts = {data.dwFileAttributes, join(data.ftCreationTime), join(data.ftLastAccessTime),
                     join(data.ftLastWriteTime), join(data.nFileSizeHigh, data.nFileSizeLow)};
        }
        return code;
    }

    ErrorCode setAttributes(const std::wstring& path, std::uint32_t attributes) override {
        return onPath(path,
                      [&](const wchar_t* name) { return ::SetFileAttributesW(name, attributes); });
    }

    ErrorCode remove(const std::wstring& path) override { return onPath(path, ::DeleteFileW); }

    ErrorCode copy(const std::wstring& source, const std::wstring& target,
                   bool failIfExists) override {
        return onPaths(source, target, [&](const wchar_t* from, const wchar_t* to) {
            return ::CopyFileW(from, to, failIfExists);
        });
    }

    ErrorCode move(const std::wstring& source, const std::wstring& target,
                   std::uint32_t flags) override {
        static_assert(MoveReplaceExisting == MOVEFILE_REPLACE_EXISTING);
        static_assert(MoveCopyAllowed == MOVEFILE_COPY_ALLOWED);
        return onPaths(source, target, [&](const wchar_t* from, const wchar_t* to) {
            return ::MoveFileExW(from, to, flags);
        });
    }

    ErrorCode createDirectory(const std::wstring& path) override {
        return onPath(path, [](const wchar_t* name) { return ::CreateDirectoryW(name, nullptr); });
    }

    ErrorCode removeDirectory(const std::wstring& path) override {
        return onPath(path, ::RemoveDirectoryW);
    }

    ErrorCode resize(const std::wstring& path, std::uint64_t size) override;
    ErrorCode flushToDisk(const std::wstring& path) override;

    ErrorCode longPath(const std::wstring& path, std::wstring& longForm) override;

    ErrorCode enumerate(const std::wstring& pattern, const Visitor& visit) override;

    ErrorCode currentDirectory(std::wstring& path) override;

    ErrorCode setCurrentDirectory(const std::string& path) override {
        return path.empty() ? ERROR_PATH_NOT_FOUND : resultOf(::SetCurrentDirectoryA(path.c_str()));
    }

    std::filesystem::path nativePath(const std::wstring& path) override { return systemPath(path); }

    std::FILE* openStream(const std::wstring& path, const std::wstring& mode,
                          Sharing sharing) override {
        if (path.empty()) {
            errno = ENOENT;
            return nullptr;
        }
        const std::wstring name = systemPath(path);
        std::FILE* stream = sharing == Sharing::ReadWrite
                                ? ::_wfsopen(name.c_str(), mode.c_str(), _SH_DENYNO)
                                : ::_wfopen(name.c_str(), mode.c_str());
        if (stream != nullptr && mode.starts_with(L'r') && !isOnDisk(stream)) {
            std::fclose(stream);
            errno = EACCES;
            return nullptr;
        }
        return stream;
    }

    std::FILE* openDescriptor(int descriptor, const std::wstring& mode) override {
        return ::_wfdopen(descriptor, mode.c_str());
    }

    int descriptorOf(std::FILE* stream) override { return ::_fileno(stream); }

    int seekStream(std::FILE* stream, std::int64_t offset, int origin) override {
        return ::_fseeki64(stream, offset, origin);
    }

    std::int64_t tellStream(std::FILE* stream) override { return ::_ftelli64(stream); }

    std::unique_ptr<platform::BackupReader> openBackup(const std::wstring& path,
                                                       ErrorCode& code) override {
        return openBackupStream(path, code);
    }

    std::unique_ptr<platform::SecurityDescriptor> readSecurity(const std::wstring& path,
                                                               std::uint32_t information,
                                                               ErrorCode& code) override {
        return readFileSecurity(path, information, code);
    }

    ErrorCode writeSecurity(const std::wstring& path, std::uint32_t information,
                            const std::wstring& sddl) override {
        return writeFileSecurity(path, information, sddl);
    }

    StreamQuery queryStreams(const std::wstring& path, std::span<std::byte> buffer,
                             ErrorCode& code) override {
        return queryFileStreams(path, buffer, code);
    }
};

// Opened for writing, with the programs that have it open let go on.
ErrorCode openExisting(const std::wstring& path, UniqueHandle& file) {
    return onPath(path, [&](const wchar_t* name) {
        file.reset(validHandle(::CreateFileW(name, GENERIC_READ | GENERIC_WRITE,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                             OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)));
        return static_cast<bool>(file);
    });
}

ErrorCode WinFiles::resize(const std::wstring& path, std::uint64_t size) {
    UniqueHandle file;
    if (const ErrorCode code = openExisting(path, file); code != ERROR_SUCCESS) {
        return code;
    }
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(size);
    return resultOf(::SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) &&
                    ::SetEndOfFile(file.get()));
}

ErrorCode WinFiles::longPath(const std::wstring& path, std::wstring& longForm) {
    std::wstring buffer(MAX_PATH, L'\0');
    return onPath(path, [&](const wchar_t* name) {
        DWORD length = ::GetLongPathNameW(name, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length > buffer.size()) {  // what it needs
            buffer.resize(length);
            length = ::GetLongPathNameW(name, buffer.data(), length);
        }
        const bool isDone = length != 0 && length < buffer.size();
        if (isDone) {
            longForm.assign(buffer, 0, length);
        }
        return isDone;
    });
}

ErrorCode WinFiles::flushToDisk(const std::wstring& path) {
    UniqueHandle file;
    const ErrorCode code = openExisting(path, file);
    return code != ERROR_SUCCESS ? code : resultOf(::FlushFileBuffers(file.get()));
}

ErrorCode WinFiles::enumerate(const std::wstring& pattern, const Visitor& visit) {
    UniqueFind search;
    WIN32_FIND_DATAW data{};
    ErrorCode code = onPath(pattern, [&](const wchar_t* name) {
        search.reset(validHandle(::FindFirstFileW(name, &data)));
        return static_cast<bool>(search);
    });
    while (code == ERROR_SUCCESS) {
        const bool reparses = (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        if (!visit({data.cFileName, data.dwFileAttributes, reparses ? data.dwReserved0 : 0})) {
            return ERROR_SUCCESS;
        }
        code = resultOf(::FindNextFileW(search.get(), &data));
    }
    return code == ERROR_NO_MORE_FILES ? ERROR_SUCCESS : code;
}

ErrorCode WinFiles::currentDirectory(std::wstring& path) {
    std::wstring folder(MAX_PATH, L'\0');
    DWORD units = ::GetCurrentDirectoryW(static_cast<DWORD>(folder.size()), folder.data());
    while (units >= folder.size()) {  // another thread may change it between two calls
        folder.resize(units + 1);
        units = ::GetCurrentDirectoryW(static_cast<DWORD>(folder.size()), folder.data());
    }
    if (units == 0) {
        return ::GetLastError();
    }
    folder.resize(units);
    if (folder.back() == L'\\') {  // a drive's root has one
        folder.pop_back();
    }
    path = std::move(folder);
    return ERROR_SUCCESS;
}

}  // namespace

platform::Files& files() {
    static auto& service = *new WinFiles;
    return service;
}

}  // namespace lathwind::windows
