#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

// Digests of files, streams and buffers: SHA-256 (FIPS 180-4), 32 raw bytes, and MD5 (RFC 1321),
// 16 raw bytes. A digest of zeros means that there is none.
//
// Failure is a false result: nothing is logged or thrown. Files are read in blocks on the stack,
// without any allocation of our own, whatever their size. `limit` is the number of bytes to hash
// from where the reading starts; 0 is no limit, and a limit beyond the end hashes what there is. A
// file is opened in binary mode by its normalised wide path, so that a path reaches its file
// whatever the system code page is. Any thread may call these functions; a stream belongs to its
// caller, is read from where it stands and is not closed.
namespace lathwind {

inline constexpr std::size_t kSha256Bytes = 32;
inline constexpr std::size_t kMd5Bytes = 16;

// False for an empty path, a null digest, stream or buffer, a file that does not open and a read
// error; the digest is zeroed before anything else and stays so.
bool HashFileSha256(const std::wstring& path, std::uint8_t* digest, std::uint64_t limit = 0);
bool HashStreamSha256(std::FILE* stream, std::uint8_t* digest, std::uint64_t limit = 0);
bool HashBufferSha256(const void* data, std::size_t length, std::uint8_t* digest);

bool Sha256Equal(const std::uint8_t* first, const std::uint8_t* second);
bool Sha256IsZero(const std::uint8_t* digest);
void ClearDigest(std::uint8_t* digest);  // 32 bytes
// 64 lower-case hexadecimal digits, high nibble first.
std::wstring Sha256ToHex(const std::uint8_t* digest);
// Takes what Sha256ToHex gives. Other characters are not refused: one below "a" counts as its
// distance from "0", any other as its code minus 87, a pair modulo 256. Missing ones count as "0".
void HexToSha256(const std::wstring& text, std::uint8_t* digest);

// As above.
bool HashFileMd5(const std::wstring& path, std::uint8_t* digest, std::uint64_t limit = 0);
bool HashStreamMd5(std::FILE* stream, std::uint8_t* digest, std::uint64_t limit = 0);
bool HashBufferMd5(const void* data, std::size_t length, std::uint8_t* digest);

bool Md5Equal(const std::uint8_t* first, const std::uint8_t* second);
bool Md5IsZero(const std::uint8_t* digest);
// True only if both digests could be made and are equal.
bool SameFileMd5(const std::wstring& first, const std::wstring& second);
// The form shown to people: "%x" a byte, so that a byte below 16 has one digit. It has between 16
// and 32 digits and cannot be read back.
std::wstring Md5ToDisplay(const std::uint8_t* digest);
// Replaces `text` by two lower-case hexadecimal digits a byte.
void Md5ToHex(const std::uint8_t* bytes, std::size_t count, std::wstring& text);

}  // namespace lathwind
