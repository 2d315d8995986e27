#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "filewatch/LogLineReader.h"
#include "utils/Text.h"

namespace lathwind::testing {

// How lines are read, told a character at a time: each character is decoded and appended, and a
// line is complete when the buffer ends in the delimiter. Slow, and shares nothing with the reader.
class LogLineModel {
public:
    struct Line {
        std::wstring text;
        std::size_t position = 0;  // behind it
        friend bool operator==(const Line&, const Line&) = default;
    };

    LogLineModel(std::string_view bytes, const LogLineReader::Format& format, std::size_t limit)
        : bytes_(bytes),
          format_(format),
          limit_(limit),
          overhang_(std::max<std::size_t>(
              4, LogDelimiter(format.delimiter, format.isWide).GetMostBytes())) {
        if (!format_.isWide) {
            replaceAll(format_.delimiter, L"\r\n", L"\n");
        }
        decode();
    }

    std::vector<Line> lines() const {
        std::vector<Line> all;
        std::size_t first = 0;  // character
        while (const std::optional<Line> line = next(first)) {
            all.push_back(*line);
        }
        return all;
    }

private:
    struct Character {
        std::wstring text;
        std::size_t begin;
        std::size_t end;
    };

    void decode() {
        for (std::size_t at = 0; at < bytes_.size();) {
            const std::size_t size = format_.isWide ? 2 : textSize(at);
            const std::string_view raw = bytes_.substr(at, size);
            if (raw.size() < size) {
                return;  // half a character
            }
            std::wstring text = raw == "\r\n" ? L"\n" : widen(raw);
            if (format_.isWide) {
                text = static_cast<wchar_t>(static_cast<unsigned char>(raw[0]) |
                                            static_cast<unsigned char>(raw[1]) << 8);
            }
            characters_.push_back({text, at, at + size});
            at += size;
        }
    }

    std::size_t textSize(std::size_t at) const {
        if (bytes_.substr(at, 2) == "\r\n") {
            return 2;
        }
        for (std::size_t size = 4; size > 1; --size) {
            const std::string_view raw = bytes_.substr(at, size);
            const std::wstring text = widen(raw);
            const bool isPair = text.size() == 2 && text[0] >= 0xD800 && text[0] < 0xDC00;
            if (raw.size() == size && (text.size() == 1 || isPair)) {
                return size;
            }
        }
        return 1;
    }

    std::optional<Line> next(std::size_t& first) const {
        if (first == characters_.size()) {
            return {};
        }
        const std::size_t start = characters_[first].begin;
        const std::wstring& delimiter = format_.delimiter;
        std::wstring buffer;
        for (std::size_t i = first; i < characters_.size(); ++i) {
            buffer += characters_[i].text;
            if (!buffer.ends_with(delimiter)) {
                continue;
            }
            std::size_t content = i + 1;  // characters up to the delimiter
            for (std::size_t units = 0; units < delimiter.size();) {
                units += characters_[--content].text.size();
            }
            const std::size_t end =
                content < characters_.size() ? characters_[content].begin : characters_[i].end;
            if (end - start > limit_) {
                return piece(first);
            }
            if (!format_.includeDelimiter) {
                buffer.resize(buffer.size() - delimiter.size());
            }
            first = i + 1;
            return Line{buffer, characters_[i].end};
        }
        if (bytes_.size() - start > limit_ + overhang_) {
            return piece(first);
        }
        return {};
    }

    Line piece(std::size_t& first) const {
        const std::size_t start = characters_[first].begin;
        Line line;
        for (; characters_[first].end - start <= limit_ && !isTorn(first, start); ++first) {
            line.text += characters_[first].text;
            line.position = characters_[first].end;
        }
        return line;
    }

    // Would a piece that ends with this unit tear a surrogate pair?
    bool isTorn(std::size_t i, std::size_t start) const {
        const auto kind = [&](std::size_t at) { return characters_[at].text[0] & 0xFC00; };
        return format_.isWide && i + 1 < characters_.size() && kind(i) == 0xD800 &&
               kind(i + 1) == 0xDC00 && characters_[i + 1].end - start > limit_;
    }

    std::string_view bytes_;
    LogLineReader::Format format_;
    std::size_t limit_;
    std::size_t overhang_;  // what may begin within the limit and end behind it
    std::vector<Character> characters_;
};

// The lines that the reader finds in `bytes`, from position 0.
inline std::vector<LogLineModel::Line> readLogLines(std::string_view bytes,
                                                    const LogLineReader::Format& format,
                                                    const LogLineReader::Sizes& sizes) {
    LogLineReader reader(format, sizes);
    reader.Restart(0);
    const auto source = [&](char* target, std::size_t count) {
        const std::size_t size = bytes.copy(target, count);
        bytes.remove_prefix(size);
        return size;
    };
    std::vector<LogLineModel::Line> lines;
    while (reader.Find(source) != LogLineReader::Found::Nothing) {
        LogLineModel::Line line{{}, static_cast<std::size_t>(reader.GetPosition())};
        reader.GetText(line.text);
        lines.push_back(line);
    }
    return lines;
}

}  // namespace lathwind::testing
