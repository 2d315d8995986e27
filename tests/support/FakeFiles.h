#pragma once

#include <cstring>
#include <map>
#include <string>

#include "support/FakeBackup.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind::testing {

// One object of FakeFiles: what the system answers about it, refusals included.
struct FakeFile {
    platform::ErrorCode queryCode = platform::error::Success;
    platform::FileFacts facts;
    platform::ErrorCode securityCode = platform::error::Success;
    platform::ErrorCode aclCode = platform::error::Success;  // once the access list is asked for
    std::wstring owner;
    std::wstring group;
    std::wstring sddl;
    platform::ErrorCode sddlCode = platform::error::Success;
    platform::ErrorCode backupCode = platform::error::Success;
    std::string backup;
    int failingBackupStep = FakeBackup::kNone;
    platform::ErrorCode finishCode = platform::error::Success;
    platform::Files::StreamQuery streamAnswer = platform::Files::StreamQuery::Listed;
    platform::ErrorCode streamCode = platform::error::Success;
    std::string streams;
    std::uint32_t reparseTag = 0;
};

// A file system of a few objects by exact path. What the snapshot does not ask is not supported.
class FakeFiles : public platform::Files {
public:
    using ErrorCode = platform::ErrorCode;

    std::map<std::wstring, FakeFile> objects;
    int calls = 0;
    std::uint32_t lastInformation = 0;  // of the last security query

    ErrorCode query(const std::wstring& path, platform::FileFacts& facts) override {
        const FakeFile* object = find(path);
        if (object == nullptr) {
            return platform::error::FileNotFound;
        }
        facts = object->facts;
        return object->queryCode;
    }
    ErrorCode setAttributes(const std::wstring& path, std::uint32_t attributes) override {
        objects.at(path).facts.attributes = attributes;
        return platform::error::Success;
    }
    ErrorCode enumerate(const std::wstring& pattern, const Visitor& visit) override {
        const FakeFile* object = find(pattern);
        if (object == nullptr) {
            return platform::error::FileNotFound;
        }
        visit({pattern, object->facts.attributes, object->reparseTag});
        return platform::error::Success;
    }
    std::unique_ptr<platform::BackupReader> openBackup(const std::wstring& path,
                                                       ErrorCode& code) override {
        const FakeFile* object = find(path);
        code = object != nullptr ? object->backupCode : platform::error::FileNotFound;
        return code != platform::error::Success
                   ? nullptr
                   : std::make_unique<FakeBackup>(object->backup, object->failingBackupStep,
                                                  object->finishCode);
    }
    std::unique_ptr<platform::SecurityDescriptor> readSecurity(const std::wstring& path,
                                                               std::uint32_t information,
                                                               ErrorCode& code) override {
        lastInformation = information;
        const FakeFile* object = find(path);
        code = object != nullptr ? object->securityCode : platform::error::FileNotFound;
        if (code == platform::error::Success && (information & platform::security::Dacl) != 0) {
            code = object->aclCode;
        }
        return code != platform::error::Success ? nullptr : std::make_unique<Descriptor>(*object);
    }
    StreamQuery queryStreams(const std::wstring& path, std::span<std::byte> buffer,
                             ErrorCode& code) override {
        const FakeFile* object = find(path);
        if (object == nullptr) {
            return StreamQuery::OpenFailed;
        }
        std::memcpy(buffer.data(), object->streams.data(), object->streams.size());
        code = object->streamCode;
        return object->streamAnswer;
    }

    ErrorCode remove(const std::wstring&) override { return kUnsupported; }
    ErrorCode copy(const std::wstring&, const std::wstring&, bool) override { return kUnsupported; }
    ErrorCode move(const std::wstring&, const std::wstring&, std::uint32_t) override {
        return kUnsupported;
    }
    ErrorCode createDirectory(const std::wstring&) override { return kUnsupported; }
    ErrorCode removeDirectory(const std::wstring&) override { return kUnsupported; }
    ErrorCode resize(const std::wstring&, std::uint64_t) override { return kUnsupported; }
    ErrorCode flushToDisk(const std::wstring&) override { return kUnsupported; }
    ErrorCode currentDirectory(std::wstring&) override { return kUnsupported; }
    ErrorCode setCurrentDirectory(const std::string&) override { return kUnsupported; }
    std::filesystem::path nativePath(const std::wstring&) override { return {}; }
    std::FILE* openStream(const std::wstring&, const std::wstring&, platform::Sharing) override {
        return nullptr;
    }
    std::FILE* openDescriptor(int, const std::wstring&) override { return nullptr; }
    int descriptorOf(std::FILE*) override { return -1; }
    int seekStream(std::FILE*, std::int64_t, int) override { return -1; }
    std::int64_t tellStream(std::FILE*) override { return -1; }
    ErrorCode writeSecurity(const std::wstring&, std::uint32_t, const std::wstring&) override {
        return kUnsupported;
    }

private:
    static constexpr ErrorCode kUnsupported = platform::error::NotSupported;

    class Descriptor : public platform::SecurityDescriptor {
    public:
        explicit Descriptor(const FakeFile& object) : object_(object) {}
        ErrorCode owner(std::wstring& sid) const override { return give(object_.owner, sid); }
        ErrorCode group(std::wstring& sid) const override { return give(object_.group, sid); }
        ErrorCode toSddl(std::uint32_t information, std::wstring& text) const override {
            text = object_.sddl;
            return information == 23 ? object_.sddlCode : platform::error::InvalidParameter;
        }

    private:
        static ErrorCode give(const std::wstring& from, std::wstring& to) {
            to = from;
            return from.empty() ? platform::error::NoneMapped : platform::error::Success;
        }
        FakeFile object_;
    };

    const FakeFile* find(const std::wstring& path) {
        ++calls;
        const auto found = objects.find(path);
        return found == objects.end() ? nullptr : &found->second;
    }
};

}  // namespace lathwind::testing
