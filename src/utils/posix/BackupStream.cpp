#include "utils/posix/BackupStream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "utils/posix/Descriptor.h"
#include "utils/posix/Errno.h"

namespace lathwind::posix {
namespace {

namespace error = platform::error;
using platform::ErrorCode;

constexpr std::uint32_t kDataStream = 1;       // BACKUP_DATA
constexpr std::uint32_t kAttributeStream = 2;  // BACKUP_EA_DATA
constexpr std::string_view kUserPrefix = "user.";
constexpr std::size_t kRecordHeader = 8;
constexpr std::size_t kMaxValue = 0xFFFF;  // what a record's 16 bits can tell

template <class T>
void put(std::vector<std::byte>& bytes, T value) {
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        bytes.push_back(static_cast<std::byte>(value >> (8 * i)));
    }
}

void putText(std::vector<std::byte>& bytes, std::string_view text) {
    const auto* data = reinterpret_cast<const std::byte*>(text.data());
    bytes.insert(bytes.end(), data, data + text.size());
}

void putStreamHeader(std::vector<std::byte>& bytes, std::uint32_t id, std::uint64_t size) {
    put<std::uint32_t>(bytes, id);
    put<std::uint32_t>(bytes, 0);  // stream attributes
    put<std::uint64_t>(bytes, size);
    put<std::uint32_t>(bytes, 0);  // name size
}

// What listxattr or getxattr gives. Nearly always that is short, and one call fetches it; where it
// is not, a call without room tells the size first, and the next may find more than that again.
template <class Call>
int readGrowing(const Call& call, std::string& out) {
    constexpr std::size_t kUsualRoom = 1024;
    std::array<char, kUsualRoom> room;
    ssize_t got = call(room.data(), room.size());
    if (got >= 0) {
        out.assign(room.data(), static_cast<std::size_t>(got));
        return 0;
    }
    while (errno == ERANGE) {
        const ssize_t size = call(nullptr, 0);
        if (size < 0) {
            break;
        }
        out.resize(static_cast<std::size_t>(size) + 1);  // room for none would ask for the size
        got = call(out.data(), out.size());
        if (got >= 0) {
            out.resize(static_cast<std::size_t>(got));
            return 0;
        }
    }
    out.clear();
    return errno;
}

// [data header][contents of the file][attribute header and records]
class PosixBackupReader final : public platform::BackupReader {
public:
    PosixBackupReader() = default;
    PosixBackupReader(std::string path, const struct statx& status,
                      const ExtendedAttributes& attributes)
        : path_(std::move(path)) {
        if (S_ISREG(status.stx_mode)) {
            dataSize_ = status.stx_size;
            putStreamHeader(head_, kDataStream, dataSize_);
        }
        const std::vector<std::byte> records = encodeExtendedAttributes(attributes);
        putStreamHeader(tail_, kAttributeStream, records.size());
        tail_.insert(tail_.end(), records.begin(), records.end());
    }

    ErrorCode read(void* target, std::uint32_t count, std::uint32_t& got) override {
        auto* out = static_cast<std::byte*>(target);
        got = 0;
        while (got < count && position_ < size()) {
            std::uint32_t step = 0;
            const ErrorCode code = readSome(out + got, count - got, step);
            if (code != error::Success) {
                return code;
            }
            got += step;
        }
        return error::Success;
    }

    ErrorCode skip(std::uint64_t count) override {
        if (count > size() - position_) {
            return error::HandleEof;
        }
        position_ += count;
        return error::Success;
    }

    ErrorCode finish() override {
        file_.reset(-1);
        return error::Success;
    }

private:
    std::uint64_t size() const { return head_.size() + dataSize_ + tail_.size(); }

    // At least one byte: the caller has seen that there is one.
    ErrorCode readSome(std::byte* out, std::uint32_t count, std::uint32_t& step) {
        const std::uint64_t dataStart = head_.size();
        const std::uint64_t tailStart = dataStart + dataSize_;
        if (position_ >= dataStart && position_ < tailStart) {
            const auto room = std::min<std::uint64_t>(count, tailStart - position_);
            return readContents(out, static_cast<std::size_t>(room), step);
        }
        const bool inHead = position_ < dataStart;
        const std::vector<std::byte>& part = inHead ? head_ : tail_;
        const auto offset = static_cast<std::size_t>(inHead ? position_ : position_ - tailStart);
        step = static_cast<std::uint32_t>(std::min<std::size_t>(count, part.size() - offset));
        std::memcpy(out, part.data() + offset, step);
        position_ += step;
        return error::Success;
    }

    // The file is opened when its contents are wanted for the first time: who is after the
    // attributes skips them.
    ErrorCode readContents(std::byte* out, std::size_t count, std::uint32_t& step) {
        if (!file_) {
            file_.reset(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
            if (!file_) {
                return errorFromErrno(errno);
            }
        }
        const auto offset = static_cast<off_t>(position_ - head_.size());
        const ssize_t got = ::pread(file_.get(), out, count, offset);
        if (got <= 0) {
            // The file became shorter than its header says.
            return got < 0 ? errorFromErrno(errno) : error::HandleEof;
        }
        step = static_cast<std::uint32_t>(got);
        position_ += step;
        return error::Success;
    }

    std::string path_;
    Descriptor file_;
    std::vector<std::byte> head_;
    std::uint64_t dataSize_ = 0;
    std::vector<std::byte> tail_;
    std::uint64_t position_ = 0;
};

}  // namespace

std::vector<std::byte> encodeExtendedAttributes(const ExtendedAttributes& attributes) {
    std::vector<std::byte> bytes;
    std::size_t last = 0;
    for (const auto& [name, value] : attributes) {
        if (name.size() > 0xFF) {
            continue;
        }
        if (!bytes.empty()) {
            bytes.resize((bytes.size() + 3) / 4 * 4);
            const auto offset = static_cast<std::uint32_t>(bytes.size() - last);
            for (std::size_t i = 0; i < sizeof offset; ++i) {
                bytes[last + i] = static_cast<std::byte>(offset >> (8 * i));
            }
        }
        last = bytes.size();
        const std::string_view kept = std::string_view(value).substr(0, kMaxValue);
        bytes.reserve(bytes.size() + kRecordHeader + name.size() + 1 + kept.size());
        put<std::uint32_t>(bytes, 0);
        put<std::uint8_t>(bytes, 0);  // flags
        put<std::uint8_t>(bytes, static_cast<std::uint8_t>(name.size()));
        put<std::uint16_t>(bytes, static_cast<std::uint16_t>(kept.size()));
        putText(bytes, name);
        bytes.push_back(std::byte{0});
        putText(bytes, kept);
    }
    return bytes;
}

int readExtendedAttributes(const char* path, ExtendedAttributes& attributes) {
    attributes.clear();
    std::string names;
    int number = readGrowing(
        [path](char* out, std::size_t room) { return ::listxattr(path, out, room); }, names);
    if (number != 0) {
        return number == EOPNOTSUPP ? 0 : number;
    }
    for (std::string_view rest = names; !rest.empty();) {
        const std::string name(rest.substr(0, rest.find('\0')));
        rest.remove_prefix(std::min(rest.size(), name.size() + 1));
        if (!name.starts_with(kUserPrefix)) {
            continue;
        }
        std::string value;
        number = readGrowing(
            [path, &name](char* out, std::size_t room) {
                return ::getxattr(path, name.c_str(), out, room);
            },
            value);
        if (number == ENODATA) {
            continue;  // removed since it was listed
        }
        if (number != 0) {
            return number;
        }
        value.resize(std::min(value.size(), kMaxValue));
        attributes.emplace_back(name.substr(kUserPrefix.size()), std::move(value));
    }
    return 0;
}

int openBackupStream(const char* path, std::unique_ptr<platform::BackupReader>& reader) {
    ExtendedAttributes attributes;
    const int number = readExtendedAttributes(path, attributes);
    if (number != 0) {
        return number;
    }
    if (attributes.empty()) {
        reader = std::make_unique<PosixBackupReader>();
        return 0;
    }
    struct statx status;
    if (::statx(AT_FDCWD, path, AT_STATX_SYNC_AS_STAT, STATX_TYPE | STATX_SIZE, &status) != 0) {
        return errno;
    }
    reader = std::make_unique<PosixBackupReader>(path, status, attributes);
    return 0;
}

}  // namespace lathwind::posix
