#include "filewatch/windows/StreamListDecoder.h"

#include <string_view>
#include <utility>

#include "utils/LittleEndian.h"

namespace lathwind {

namespace {

constexpr std::size_t kHeaderSize = 24;
constexpr std::wstring_view kUnnamedStream = L"::$DATA";

std::wstring decodeName(std::span<const std::byte> bytes) {
    std::wstring name(bytes.size() / 2, L'\0');
    for (std::size_t i = 0; i < name.size(); ++i) {
        name[i] = static_cast<wchar_t>(loadLittleEndian<std::uint16_t>(&bytes[2 * i]));
    }
    return name;
}

}  // namespace

std::vector<FileStream> decodeStreamList(std::span<const std::byte> list) {
    std::vector<FileStream> streams;
    while (list.size() >= kHeaderSize) {
        const auto next = loadLittleEndian<std::uint32_t>(&list[0]);
        const auto nameSize = loadLittleEndian<std::uint32_t>(&list[4]);
        const auto size = loadLittleEndian<std::uint64_t>(&list[8]);
        if (nameSize == 0 || nameSize > list.size() - kHeaderSize) {
            break;
        }
        std::wstring name = decodeName(list.subspan(kHeaderSize, nameSize));
        if (name != kUnnamedStream) {
            streams.push_back({std::move(name), size});
        }
        if (next < kHeaderSize + nameSize || next > list.size()) {
            break;
        }
        list = list.subspan(next);
    }
    return streams;
}

}  // namespace lathwind
