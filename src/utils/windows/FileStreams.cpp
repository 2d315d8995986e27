#include "utils/windows/FileStreams.h"

#include <algorithm>

#include "utils/windows/SystemPath.h"
#include "utils/windows/WinHandles.h"

namespace lathwind::windows {
namespace {

using platform::ErrorCode;
using StreamQuery = platform::Files::StreamQuery;

constexpr int kStreamInformation = 22;
constexpr std::size_t kEntryHead = 24;  // an entry's bytes in front of its name

struct StatusBlock {
    ULONG_PTR status;
    ULONG_PTR information;
};

using QueryInformation = LONG(NTAPI*)(HANDLE, StatusBlock*, void*, ULONG, int);
using StatusToError = ULONG(NTAPI*)(LONG);

// An existing object, shared with readers and writers.
ErrorCode openShared(const std::wstring& path, DWORD access, DWORD flags, UniqueHandle& file) {
    if (path.empty()) {
        return ERROR_PATH_NOT_FOUND;
    }
    file.reset(validHandle(::CreateFileW(systemPath(path).c_str(), access,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                         flags, nullptr)));
    return resultOf(static_cast<bool>(file));
}

ErrorCode errorOfStatus(LONG status) {
    static const auto convert = entryPoint<StatusToError>(L"ntdll.dll", "RtlNtStatusToDosError");
    return convert != nullptr ? convert(status) : ERROR_MR_MID_NOT_FOUND;
}

class WinBackupReader final : public platform::BackupReader {
public:
    explicit WinBackupReader(UniqueHandle file) : file_(std::move(file)) {}

    ErrorCode read(void* target, std::uint32_t count, std::uint32_t& got) override {
        DWORD read = 0;
        const ErrorCode code = resultOf(::BackupRead(file_.get(), static_cast<BYTE*>(target), count,
                                                     &read, FALSE, FALSE, &context_));
        got = read;
        return code;
    }

    ErrorCode skip(std::uint64_t count) override {
        DWORD low = 0;
        DWORD high = 0;
        return resultOf(::BackupSeek(file_.get(), static_cast<DWORD>(count),
                                     static_cast<DWORD>(count >> 32), &low, &high, &context_));
    }

    ErrorCode finish() override {
        DWORD read = 0;
        return resultOf(::BackupRead(file_.get(), nullptr, 0, &read, TRUE, FALSE, &context_));
    }

private:
    const UniqueHandle file_;
    void* context_ = nullptr;
};

}  // namespace

std::unique_ptr<platform::BackupReader> openBackupStream(const std::wstring& path,
                                                         ErrorCode& code) {
    UniqueHandle file;
    code = openShared(path, FILE_READ_EA, FILE_FLAG_BACKUP_SEMANTICS, file);
    if (code != ERROR_SUCCESS) {
        return nullptr;
    }
    return std::make_unique<WinBackupReader>(std::move(file));
}

StreamQuery queryFileStreams(const std::wstring& path, std::span<std::byte> buffer,
                             ErrorCode& code) {
    static const auto query = entryPoint<QueryInformation>(L"ntdll.dll", "NtQueryInformationFile");
    if (query == nullptr) {
        code = ERROR_PROC_NOT_FOUND;
        return StreamQuery::NoEntryPoint;
    }
    UniqueHandle file;
    code = openShared(path, FILE_READ_ATTRIBUTES, 0, file);
    if (code != ERROR_SUCCESS) {
        return StreamQuery::OpenFailed;
    }
    // An object without streams is answered with success and not a byte.
    std::fill_n(buffer.begin(), std::min(buffer.size(), kEntryHead), std::byte{0});
    StatusBlock block{};
    const LONG status = query(file.get(), &block, buffer.data(), static_cast<ULONG>(buffer.size()),
                              kStreamInformation);
    code = status == 0 ? ERROR_SUCCESS : errorOfStatus(status);
    return status == 0 ? StreamQuery::Listed : StreamQuery::QueryFailed;
}

}  // namespace lathwind::windows
