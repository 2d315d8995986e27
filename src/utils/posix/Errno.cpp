#include "utils/posix/Errno.h"

#include <cerrno>

namespace lathwind::posix {
namespace {

namespace error = platform::error;

struct Row {
    int number;
    platform::ErrorCode code;
};

// Of several rows with one Win32 number the first is the one whose words are shown.
constexpr Row kRows[] = {
    {ENOENT, error::FileNotFound},
    {ENOTDIR, error::Directory},
    {EACCES, error::AccessDenied},
    {EPERM, error::AccessDenied},
    {EISDIR, error::AccessDenied},  // a folder where a file was wanted: CreateFile's answer
    {EEXIST, error::AlreadyExists},
    {ENOTEMPTY, error::DirectoryNotEmpty},
    {EROFS, error::WriteProtect},
    {EBUSY, error::SharingViolation},
    {ETXTBSY, error::SharingViolation},
    {EAGAIN, error::SharingViolation},
    {ENOSPC, error::DiskFull},
    {EDQUOT, error::DiskFull},
    {EMFILE, error::TooManyOpenFiles},
    {ENFILE, error::TooManyOpenFiles},
    {EBADF, error::InvalidHandle},
    {ENOMEM, error::NotEnoughMemory},
    {EXDEV, error::NotSameDevice},
    {EINVAL, error::InvalidParameter},
    {EFBIG, error::InvalidParameter},
    {ESRCH, error::InvalidParameter},  // OpenProcess's answer for an id that nobody has
    {ENAMETOOLONG, error::FilenameTooLong},
    {EILSEQ, error::InvalidName},
    {ELOOP, error::CantResolveFilename},
    {EOPNOTSUPP, error::NotSupported},
    {ENOSYS, error::CallNotImplemented},
    {ERANGE, error::InsufficientBuffer},
    {ENODATA, error::NotFound},
    // The file system is known, but what it stands on does not answer.
    {ENODEV, error::NotReady},
    {ENXIO, error::NotReady},
    {ENOMEDIUM, error::NotReady},
    {ESTALE, error::NotReady},
    {ENOTCONN, error::NotReady},
    {EHOSTDOWN, error::NotReady},
    {ETIMEDOUT, error::NotReady},
    {EIO, error::GenFailure},
    // Shown only: no errno of the left column comes from these numbers.
    {ENOENT, error::PathNotFound},
    {EEXIST, error::FileExists},
};

}  // namespace

platform::ErrorCode errorFromErrno(int number) noexcept {
    if (number == 0) {
        return error::Success;
    }
    for (const Row& row : kRows) {
        if (row.number == number) {
            return row.code;
        }
    }
    return error::GenFailure;
}

int errnoFromError(platform::ErrorCode code) noexcept {
    for (const Row& row : kRows) {
        if (row.code == code) {
            return row.number;
        }
    }
    return 0;
}

}  // namespace lathwind::posix
