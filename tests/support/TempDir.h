#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "utils/Text.h"

namespace lathwind::testing {

// A folder of its own for one test, removed with everything in it at the end. The platform is
// asked through the standard library only, so that the code under test never vouches for itself.
class TempDir {
public:
    TempDir() : native_(create()) {}
    ~TempDir() {
        std::error_code ignored;
        makeWritable();
        std::filesystem::remove_all(native_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // The folder as the product spells it: drive, backslashes, no backslash at the end.
    std::wstring path() const { return toWide(native_); }
    std::wstring path(std::wstring_view name) const { return path().append(L"\\").append(name); }
    // The folder as the standard library reaches it.
    const std::filesystem::path& native() const { return native_; }
    std::filesystem::path native(std::string_view name) const { return native_ / fromUtf8(name); }

    // `name` is UTF-8, relative to the folder, with "/" between folders; they are made as needed.
    void write(std::string_view name, std::string_view bytes) const {
        const std::filesystem::path target = native(name);
        std::filesystem::create_directories(target.parent_path());
        std::ofstream stream(target, std::ios::binary | std::ios::trunc);
        stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        stream.close();
        if (!stream) {
            throw std::runtime_error("cannot write " + target.string());
        }
    }
    std::string read(std::string_view name) const {
        std::ifstream stream(native(name), std::ios::binary);
        if (!stream) {
            throw std::runtime_error("cannot read " + native(name).string());
        }
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }
    bool exists(std::string_view name) const { return std::filesystem::exists(native(name)); }
    void makeFolder(std::string_view name) const {
        std::filesystem::create_directories(native(name));
    }

private:
    static std::filesystem::path fromUtf8(std::string_view name) {
        return std::filesystem::path(std::u8string(name.begin(), name.end()));
    }

    static std::wstring toWide(const std::filesystem::path& native) {
#ifdef _WIN32
        return native.wstring();
#else
        std::wstring wide = utf16FromUtf8(native.string());
        replaceAll(wide, L"/", L"\\");
        return L"c:" + wide;
#endif
    }

    static std::filesystem::path create() {
        std::random_device random;
        const std::filesystem::path base =
            std::filesystem::canonical(std::filesystem::temp_directory_path());
        for (;;) {
            const std::uint64_t number = std::uint64_t{random()} << 32 | random();
            std::filesystem::path folder = base / ("lathwind-" + std::to_string(number));
            if (std::filesystem::create_directory(folder)) {
                return folder;
            }
        }
    }

    // Read-only files hold up the removal on Windows, read-only folders on Linux.
    void makeWritable() const {
        namespace fs = std::filesystem;
        std::error_code error;
        fs::recursive_directory_iterator entry(native_, error);
        while (!error && entry != fs::recursive_directory_iterator()) {
            std::error_code ignored;
            if (!entry->is_symlink(ignored)) {
                fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add,
                                ignored);
            }
            entry.increment(error);
        }
    }

    std::filesystem::path native_;
};

}  // namespace lathwind::testing
