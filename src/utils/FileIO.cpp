#include "utils/FileIO.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <stdexcept>

#include "utils/ByteArray.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr std::size_t kLineBytes = 1280;  // with its NUL
constexpr std::uint32_t kDefaultReadLimit = 0x100000;
constexpr std::size_t kBlockBytes = 4096;

std::uint32_t saturated(std::int64_t position) {
    constexpr std::int64_t kLargest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::clamp(position, std::int64_t{0}, kLargest));
}

}  // namespace

FileIO::~FileIO() {
    Close();
}

bool FileIO::Open(const std::wstring& path, const std::wstring& mode) {
    if (file_ != nullptr || path.empty()) {
        return false;
    }
    file_ = OpenStream(path, mode);
    if (file_ == nullptr) {
        return false;
    }
    descriptor_ = platform::files().descriptorOf(file_);
    return true;
}

bool FileIO::Open(const wchar_t* path, const wchar_t* mode) {
    return path != nullptr && mode != nullptr && Open(std::wstring(path), std::wstring(mode));
}

bool FileIO::OpenDescriptor(std::int32_t descriptor, const std::wstring& mode) {
    if (file_ != nullptr) {
        return false;
    }
    file_ = platform::files().openDescriptor(descriptor, mode);
    if (file_ == nullptr) {
        return false;
    }
    descriptor_ = descriptor;
    return true;
}

bool FileIO::Close() {
    if (file_ == nullptr) {
        return false;
    }
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    descriptor_ = -1;
    return closed;
}

std::size_t FileIO::Read(void* target, std::size_t count) {
    if (file_ == nullptr) {
        debugLog(ModuleId::Utils, L"File not opened");
        return 0;
    }
    if (target == nullptr) {
        debugLog(ModuleId::Utils, L"Invalid pointer passed to Read");
        return 0;
    }
    return std::fread(target, 1, count, file_);
}

std::size_t FileIO::Write(const void* source, std::size_t count) {
    if (file_ == nullptr) {
        debugLog(ModuleId::Utils, L"File not opened");
        return 0;
    }
    if (source == nullptr) {
        debugLog(ModuleId::Utils, L"Invalid pointer passed to Write");
        return 0;
    }
    return std::fwrite(source, 1, count, file_);
}

std::wstring FileIO::ReadLine() {
    std::array<char, kLineBytes> line;
    if (file_ == nullptr ||
        std::fgets(line.data(), static_cast<int>(line.size()), file_) == nullptr) {
        return {};
    }
    return widen(line.data());
}

bool FileIO::WriteLine(const std::wstring& text) {
    if (file_ == nullptr) {
        return false;
    }
    std::string bytes = narrow(text);
    if (text.ends_with(L'\n') && !bytes.ends_with('\n')) {
        bytes += '\n';
    }
    return std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size();
}

bool FileIO::WriteText(const char* text) {
    if (file_ == nullptr || text == nullptr) {
        return false;
    }
    const bool printed = std::fputs(text, file_) >= 0;
    return std::fflush(file_) == 0 && printed;
}

std::uint32_t FileIO::Tell() {
    return file_ == nullptr ? 0 : saturated(platform::files().tellStream(file_));
}

int FileIO::Seek(std::int64_t offset, int origin) {
    return file_ == nullptr ? 0 : platform::files().seekStream(file_, offset, origin);
}

std::uint32_t FileIO::GetSize() {
    if (file_ == nullptr) {
        return 0;
    }
    platform::Files& files = platform::files();
    const std::int64_t position = files.tellStream(file_);
    if (position < 0 || files.seekStream(file_, 0, SEEK_END) != 0) {
        return 0;
    }
    const std::uint32_t size = saturated(files.tellStream(file_));
    files.seekStream(file_, position, SEEK_SET);
    return size;
}

std::wstring FileIO::ReadAll() {
    try {
        std::string bytes(GetSize(), '\0');
        if (!bytes.empty()) {
            bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file_));
        }
        return widen(std::string_view(bytes).substr(0, bytes.find('\0')));
    } catch (const std::bad_alloc&) {
        return {};
    } catch (const std::length_error&) {  // of a 32-bit string
        return {};
    }
}

std::unique_ptr<ByteArray> FileIO::ReadBytes(std::uint32_t limit) {
    std::unique_ptr<ByteArray> bytes(new (std::nothrow) ByteArray);
    if (bytes == nullptr || file_ == nullptr) {
        return bytes;
    }
    std::uint32_t left = limit == 0 ? kDefaultReadLimit : limit;
    const std::uint32_t position = Tell();
    const std::uint32_t size = GetSize();
    // Growing by the block copies the array again and again where realloc cannot extend it.
    constexpr std::uint32_t kLargest = std::numeric_limits<std::int32_t>::max();
    const std::uint32_t expected =
        std::min({left, size > position ? size - position : 0, kLargest});
    bool valid = bytes->Reserve(static_cast<std::int32_t>(expected));
    std::array<char, kBlockBytes> block;
    while (valid && left != 0) {
        const std::size_t count =
            std::fread(block.data(), 1, std::min<std::size_t>(left, block.size()), file_);
        if (count == 0) {
            break;
        }
        left -= static_cast<std::uint32_t>(count);
        bytes->Append(block.data(), static_cast<std::int32_t>(count));
        valid = bytes->IsValid();
    }
    if (!valid) {
        bytes.reset();
    }
    return bytes;
}

}  // namespace lathwind
