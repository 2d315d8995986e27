#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "utils/platform/Files.h"

namespace lathwind {

class ByteArray;

// One run-time file stream, and the path and file utilities of the system.
//
// Every path is wide and is normalised on the way in (see NormalizePath) unless an operation says
// otherwise, and reaches its file by its wide name whatever the system code page is. Relative paths
// hang from the process's current directory. Narrow text is text of the system code page. Nothing
// throws, except for lack of memory.
//
// Positions and sizes have 32 bits: one that does not fit reads as 0xFFFFFFFF.
//
// An object belongs to one thread. The static operations may be called from any thread.
class FileIO {
public:
    FileIO() = default;
    virtual ~FileIO();  // closes
    FileIO(const FileIO&) = delete;
    FileIO& operator=(const FileIO&) = delete;

    // `mode` is the run-time's: "rb", "wb", "ab". False if this object has an open file already,
    // which stays as it is, or if the path is empty, or if the file does not open.
    bool Open(const std::wstring& path, const std::wstring& mode);
    bool Open(const wchar_t* path, const wchar_t* mode);
    // Takes over an existing descriptor. False as for Open.
    bool OpenDescriptor(std::int32_t descriptor, const std::wstring& mode);
    bool IsOpen() const noexcept { return file_ != nullptr; }
    // -1 until a file is opened.
    std::int32_t GetDescriptor() const noexcept { return descriptor_; }
    // False if not open, or if what was buffered could not be written.
    bool Close();

    // Give the number of bytes read or written; a caller that needs a whole record compares it. A
    // closed object or a null pointer gives 0 and a debug line.
    std::size_t Read(void* target, std::size_t count);
    std::size_t Write(const void* source, std::size_t count);

    // One line with its line feed, cut after 1279 narrow characters; empty at the end of the file
    // and when closed.
    std::wstring ReadLine();
    // Writes the text in the system code page. False when closed or not all was written.
    bool WriteLine(const std::wstring& text);
    // Writes narrow text and flushes it. False when closed or when either failed.
    bool WriteText(const char* text);

    std::uint32_t Tell();  // 0 if closed
    // `origin` is the run-time's (SEEK_SET, ...). Gives fseek's result, 0 if closed.
    int Seek(std::int64_t offset, int origin);
    std::uint32_t GetSize();  // keeps the position; 0 if closed or without one

    // The text from the current position up to the first NUL, decoded from the system code page.
    // Empty when closed or out of memory.
    std::wstring ReadAll();
    // The bytes from the current position, no more than `limit` (0 means 1 MiB). An empty array
    // when closed; null only if the buffer cannot be allocated.
    std::unique_ptr<ByteArray> ReadBytes(std::uint32_t limit);

    // ---- Paths (FilePaths.cpp): text in, text out, except MakeAbsolutePath, which asks for the
    // ---- current directory.

    // Turns slashes into backslashes. A path rooted on the current drive ("\x") is taken to be on
    // drive C ("C:\x"). Case and dots stay; an empty path stays empty.
    static std::wstring NormalizePath(const std::wstring& path);
    static std::wstring NormalizePath(const wchar_t* path);
    static bool IsAbsolutePath(const std::wstring& path);  // "x:..." or "\\..."
    static bool IsUncPath(const std::wstring& path);       // "\\..."
    static std::wstring MakeAbsolutePath(const std::wstring& path);
    // Normalises and removes "name\.." pairs. A path with one that has nothing to remove comes
    // back as it was given.
    static std::wstring CollapseParentRefs(const std::wstring& path);
    // "c:\a\b.txt": "c:\a", "b" (or "b.txt" with `includeExtension`), "txt". The directory of a
    // file in a root keeps its backslash.
    static void SplitPath(const std::wstring& path, std::wstring& directory, std::wstring& name,
                          std::wstring& extension, bool includeExtension);
    static std::wstring GetDirectory(const std::wstring& path);
    static std::wstring GetFileName(const std::wstring& path);
    static std::wstring GetFileNameWithoutExtension(const std::wstring& path);
    static std::wstring GetExtension(const std::wstring& path);  // without its dot
    // The one wildcard test of the system: "*" is any run of characters, "?" any single one.
    // Nothing is normalised.
    static bool MatchesMask(std::wstring_view text, std::wstring_view mask, bool caseSensitive);
    // Code number of an encoding's name: "UTF-16" 2, "UTF-8" 3, "ANSI" and any other 0.
    static std::int32_t EncodingCode(const std::wstring& encoding);

    // ---- The file system (FileSystem.cpp).

    static bool Exists(const std::wstring& path);  // does not normalise
    // False only if access is denied: a missing file counts as accessible.
    static bool IsAccessible(const std::wstring& path);
    static bool IsDirectory(const std::wstring& path);
    // Deletes a file, a read-only one too.
    static bool Delete(const std::wstring& path);
    // Replaces the target, a read-only one too.
    static bool Copy(const std::wstring& source, const std::wstring& target);
    // May copy across volumes. With `noReplace` an existing target makes it fail.
    static bool Move(const std::wstring& source, const std::wstring& target, bool noReplace);
    // One level. 0 or the error number of errno; an existing path counts as success.
    static std::int32_t MakeDirectory(const std::wstring& path);
    // All levels. A plain file of that name gives false with last error FileExists.
    static bool MakeDirectoryPath(const std::wstring& path);
    // A folder with all that is in it, or with `keepTop` only what is in it. A link to a folder
    // that lies below is removed as a link, not followed. True if nothing of the name is left.
    static bool DeleteDirectory(const std::wstring& path, bool keepTop);
    static bool GetFileSize(const std::wstring& path, std::uint32_t& size);
    static bool Truncate(const std::wstring& path, std::uint32_t size);  // or extends, with zeros
    // The caller closes the stream. Null on failure, with errno set.
    static std::FILE* OpenStream(const std::wstring& path, const std::wstring& mode,
                                 platform::Sharing sharing = platform::Sharing::Default);
    // A whole file. Null if it does not open or does not fit into memory.
    static std::unique_ptr<ByteArray> ReadFile(const std::wstring& path);
    static bool WriteFile(const ByteArray& bytes, const std::wstring& path);
    // Adds the objects in `folder` whose names match, as folder + "\" + name; the list comes back
    // sorted and without duplicates. `depth` is the number of levels: 1 is the folder alone, 0
    // nothing. With a pattern other than "*" it is applied in every sub-folder too.
    static void ListFiles(std::vector<std::wstring>& list, const std::wstring& folder,
                          const std::wstring& pattern, bool skipDots, std::uint32_t depth);
    // Adds the sub-folders, in the system's order.
    static void ListDirectories(std::vector<std::wstring>& list, const std::wstring& folder,
                                std::uint32_t depth);
    // "UTF-8" or "UTF-16" (little-endian) by the file's byte-order mark, otherwise "ANSI", also if
    // there is no such file.
    static std::wstring DetectEncoding(const std::wstring& path);

private:
    std::FILE* file_ = nullptr;
    std::int32_t descriptor_ = -1;
};

}  // namespace lathwind
