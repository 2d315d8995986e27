#pragma once

#include <cstdint>

namespace lathwind::platform {

// Every operation of the platform reports failure by Win32 error number, because the logic above
// tests for those; the Linux side maps errno to them in one function.
using ErrorCode = std::uint32_t;

namespace error {
inline constexpr ErrorCode Success = 0;
inline constexpr ErrorCode InvalidFunction = 1;
inline constexpr ErrorCode FileNotFound = 2;
inline constexpr ErrorCode PathNotFound = 3;
inline constexpr ErrorCode TooManyOpenFiles = 4;
inline constexpr ErrorCode AccessDenied = 5;
inline constexpr ErrorCode InvalidHandle = 6;
inline constexpr ErrorCode NotEnoughMemory = 8;
inline constexpr ErrorCode NotSameDevice = 17;
inline constexpr ErrorCode WriteProtect = 19;
inline constexpr ErrorCode NotReady = 21;
inline constexpr ErrorCode GenFailure = 31;
inline constexpr ErrorCode SharingViolation = 32;
inline constexpr ErrorCode HandleEof = 38;
inline constexpr ErrorCode NotSupported = 50;
inline constexpr ErrorCode FileExists = 80;
inline constexpr ErrorCode InvalidParameter = 87;
inline constexpr ErrorCode DiskFull = 112;
inline constexpr ErrorCode CallNotImplemented = 120;
inline constexpr ErrorCode InsufficientBuffer = 122;
inline constexpr ErrorCode InvalidName = 123;
inline constexpr ErrorCode ModuleNotFound = 126;
inline constexpr ErrorCode ProcedureNotFound = 127;
inline constexpr ErrorCode DirectoryNotEmpty = 145;
inline constexpr ErrorCode AlreadyExists = 183;
inline constexpr ErrorCode FilenameTooLong = 206;
inline constexpr ErrorCode MoreData = 234;
inline constexpr ErrorCode Directory = 267;
inline constexpr ErrorCode ServiceDoesNotExist = 1060;
inline constexpr ErrorCode ServiceControllerConnect = 1063;
inline constexpr ErrorCode NotFound = 1168;
inline constexpr ErrorCode NoneMapped = 1332;
inline constexpr ErrorCode InvalidSid = 1337;
inline constexpr ErrorCode CantResolveFilename = 1921;
}  // namespace error

}  // namespace lathwind::platform
