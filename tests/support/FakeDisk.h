#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <string>
#include <utility>

#include "support/FakeFiles.h"
#include "utils/FileIO.h"

namespace lathwind::testing {

// A drive in memory, "x:" unless another is asked for, with folders, times by a clock of its own
// and change stamps; every other path is the real system's. Paths are exact and lower case.
//
//     FakeDisk disk;
//     ServiceOverride files(platformFactory.files, disk);
//     disk.addFolder(L"x:\\logs");
//     disk.write(L"x:\\logs\\a.txt", "text");
//     ++disk.now;
//     disk.objects.at(L"x:\\logs\\a.txt").queryCode = platform::error::AccessDenied;
//
// What FakeFile holds of an object (security, streams, refusals) can be set through `objects`;
// `touch` then tells that it changed. `isGone` takes the whole drive away.
class FakeDisk : public FakeFiles {
public:
    static constexpr std::int64_t kStart = 1'700'000'000;

    explicit FakeDisk(std::wstring driveRoot = L"x:\\")
        : root_(std::move(driveRoot)), real_(platform::files()) {
        addFolder(root_);
    }

    std::int64_t now = kStart;  // seconds since 1970
    bool hasStamps = true;
    bool isGone = false;

    void addFolder(const std::wstring& path) {
        make(path, platform::attribute::Directory);
        noteChange(path);
    }
    void write(const std::wstring& path, const std::string& bytes) {
        make(path, platform::attribute::Archive);
        contents_[path] = bytes;
        objects[path].facts.size = bytes.size();
        objects[path].facts.modifiedTime = fileTime();
        stamp(path);
    }
    void append(const std::wstring& path, const std::string& bytes) {
        write(path, contents_[path] + bytes);
    }
    // Of something but the contents.
    void touch(const std::wstring& path) { stamp(path); }
    // With all that is in it.
    void erase(const std::wstring& path) {
        std::erase_if(objects, [&](const auto& object) { return isIn(object.first, path); });
        std::erase_if(contents_, [&](const auto& file) { return isIn(file.first, path); });
        noteChange(parentOf(path));
    }
    void rename(const std::wstring& from, const std::wstring& to) {
        std::map<std::wstring, FakeFile> moved;
        for (const auto& [path, object] : objects) {
            if (isIn(path, from)) {
                const std::wstring target = to + path.substr(from.size());
                moved[target] = object;
                if (contents_.contains(path)) {
                    contents_[target] = contents_[path];
                }
            }
        }
        erase(from);
        for (auto& [path, object] : moved) {
            objects[path] = object;
            stamp(path);
        }
        noteChange(parentOf(to));
    }

    ErrorCode query(const std::wstring& path, platform::FileFacts& facts) override {
        return isMine(path) ? isGone ? kGone : FakeFiles::query(path, facts)
                            : real_.query(path, facts);
    }
    ErrorCode enumerate(const std::wstring& pattern, const Visitor& visit) override {
        if (!isMine(pattern)) {
            return real_.enumerate(pattern, visit);
        }
        const std::size_t name = pattern.find_last_of(L'\\') + 1;
        const std::wstring mask = pattern.substr(name);
        if (isGone || mask.find_first_of(L"*?") == std::wstring::npos) {
            return isGone ? kGone : FakeFiles::enumerate(pattern, visit);
        }
        const std::wstring folder = pattern.substr(0, name);
        ErrorCode code = platform::error::FileNotFound;
        for (auto object = objects.upper_bound(folder);
             object != objects.end() && object->first.starts_with(folder); ++object) {
            const std::wstring rest = object->first.substr(name);
            if (rest.find(L'\\') == std::wstring::npos && FileIO::MatchesMask(rest, mask, false)) {
                code = platform::error::Success;
                if (!visit({rest, object->second.facts.attributes, object->second.reparseTag})) {
                    break;
                }
            }
        }
        return code;
    }
    std::FILE* openStream(const std::wstring& path, const std::wstring& mode,
                          platform::Sharing sharing) override {
        if (!isMine(path)) {
            return real_.openStream(path, mode, sharing);
        }
        const auto bytes = contents_.find(path);
        if (isGone || bytes == contents_.end() || mode[0] != L'r') {
            errno = ENOENT;
            return nullptr;
        }
        std::FILE* stream = std::tmpfile();
        if (stream != nullptr) {
            std::fwrite(bytes->second.data(), 1, bytes->second.size(), stream);
            std::rewind(stream);
        }
        return stream;
    }

    ErrorCode remove(const std::wstring& path) override { return real_.remove(path); }
    ErrorCode copy(const std::wstring& from, const std::wstring& to, bool failIfExists) override {
        return real_.copy(from, to, failIfExists);
    }
    ErrorCode move(const std::wstring& from, const std::wstring& to, std::uint32_t flags) override {
        return real_.move(from, to, flags);
    }
    ErrorCode createDirectory(const std::wstring& path) override {
        return real_.createDirectory(path);
    }
    ErrorCode removeDirectory(const std::wstring& path) override {
        return real_.removeDirectory(path);
    }
    ErrorCode resize(const std::wstring& path, std::uint64_t size) override {
        return real_.resize(path, size);
    }
    ErrorCode flushToDisk(const std::wstring& path) override { return real_.flushToDisk(path); }
    ErrorCode setAttributes(const std::wstring& path, std::uint32_t attributes) override {
        return isMine(path) ? FakeFiles::setAttributes(path, attributes)
                            : real_.setAttributes(path, attributes);
    }
    ErrorCode currentDirectory(std::wstring& path) override { return real_.currentDirectory(path); }
    ErrorCode setCurrentDirectory(const std::string& path) override {
        return real_.setCurrentDirectory(path);
    }
    std::filesystem::path nativePath(const std::wstring& path) override {
        return real_.nativePath(path);
    }
    std::FILE* openDescriptor(int descriptor, const std::wstring& mode) override {
        return real_.openDescriptor(descriptor, mode);
    }
    int descriptorOf(std::FILE* stream) override { return real_.descriptorOf(stream); }
    int seekStream(std::FILE* stream, std::int64_t offset, int origin) override {
        return real_.seekStream(stream, offset, origin);
    }
    std::int64_t tellStream(std::FILE* stream) override { return real_.tellStream(stream); }

private:
    static constexpr ErrorCode kGone = platform::error::PathNotFound;

    bool isMine(const std::wstring& path) const { return path.starts_with(root_.substr(0, 2)); }
    static bool isIn(const std::wstring& path, const std::wstring& folder) {
        return path == folder || path.starts_with(folder + L'\\');
    }
    std::wstring parentOf(const std::wstring& path) const {
        const std::wstring parent = path.substr(0, path.find_last_of(L'\\'));
        return parent.size() < root_.size() ? root_ : parent;
    }
    std::uint64_t fileTime() const {
        return (static_cast<std::uint64_t>(now) + 11'644'473'600u) * 10'000'000u;
    }
    void stamp(const std::wstring& path) {
        objects[path].facts.changeStamp = hasStamps ? ++stamps_ : 0;
    }
    void noteChange(const std::wstring& path) {
        objects[path].facts.modifiedTime = fileTime();
        stamp(path);
    }
    void make(const std::wstring& path, std::uint32_t attributes) {
        const auto [object, isNew] = objects.try_emplace(path);
        if (!isNew) {
            return;
        }
        object->second.facts = {attributes, fileTime(), fileTime(), fileTime(), 0};
        object->second.owner = L"S-1-22-1-0";
        object->second.group = L"S-1-22-2-0";
        object->second.sddl = L"O:S-1-22-1-0G:S-1-22-2-0";
        object->second.streams.assign(24, '\0');
        if (path != root_) {
            noteChange(parentOf(path));
        }
    }

    const std::wstring root_;
    platform::Files& real_;
    std::map<std::wstring, std::string> contents_;
    std::uint64_t stamps_ = 0;
};

}  // namespace lathwind::testing
