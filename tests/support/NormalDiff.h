#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lathwind::testing {

// Applies a script in the normal form of the `diff` program. Strict: line numbers must be right on
// both sides, deleted lines must be those of the text. Nothing is returned for a script that does
// not fit.
class NormalDiff {
public:
    static std::optional<std::string> apply(std::string_view text, std::string_view script) {
        NormalDiff diff{linesOf(text), linesOf(script)};
        return diff.run() ? std::optional(diff.result_) : std::nullopt;
    }

private:
    struct Range {
        std::size_t first = 0;
        std::size_t last = 0;
        std::size_t count() const { return last - first + 1; }
    };

    NormalDiff(std::vector<std::string> text, std::vector<std::string> script)
        : text_(std::move(text)), script_(std::move(script)) {}

    static std::vector<std::string> linesOf(std::string_view text) {
        std::vector<std::string> lines;
        while (!text.empty()) {
            const std::size_t size = std::min(text.find('\n'), text.size() - 1) + 1;
            lines.emplace_back(text.substr(0, size));
            text.remove_prefix(size);
        }
        return lines;
    }

    bool run() {
        while (at_ < script_.size()) {
            if (!applyHunk(script_[at_++])) {
                return false;
            }
        }
        copyTo(text_.size());
        return true;
    }

    bool applyHunk(const std::string& header) {
        const std::size_t letter = header.find_first_of("acd");
        if (letter == std::string::npos) {
            return false;
        }
        const Range before = rangeOf(header.substr(0, letter));
        const Range now = rangeOf(header.substr(letter + 1));
        const bool deletes = header[letter] != 'a';
        const bool inserts = header[letter] != 'd';
        copyTo(deletes ? before.first - 1 : before.last);
        for (std::size_t i = 0; deletes && i < before.count(); ++i) {
            std::string line;
            if (!take("< ", line) || next_ == text_.size() || line != text_[next_++]) {
                return false;
            }
        }
        if (deletes && inserts && (at_ == script_.size() || script_[at_++] != "---\n")) {
            return false;
        }
        if (written_ != (inserts ? now.first - 1 : now.last)) {
            return false;
        }
        for (std::size_t i = 0; inserts && i < now.count(); ++i) {
            std::string line;
            if (!take("> ", line)) {
                return false;
            }
            write(line);
        }
        return true;
    }

    static Range rangeOf(const std::string& text) {
        const std::size_t comma = text.find(',');
        const std::size_t first = std::stoul(text);
        return {first, comma == std::string::npos ? first : std::stoul(text.substr(comma + 1))};
    }

    // The next line of the script without its mark, and without its end if the script says so.
    bool take(std::string_view mark, std::string& line) {
        if (at_ == script_.size() || !script_[at_].starts_with(mark)) {
            return false;
        }
        line = script_[at_++].substr(mark.size());
        if (at_ < script_.size() && script_[at_] == "\\ No newline at end of file\n") {
            ++at_;
            line.pop_back();
        }
        return true;
    }

    void copyTo(std::size_t end) {
        while (next_ < end && next_ < text_.size()) {
            write(text_[next_++]);
        }
    }
    void write(const std::string& line) {
        result_ += line;
        ++written_;
    }

    std::vector<std::string> text_;
    std::vector<std::string> script_;
    std::string result_;
    std::size_t at_ = 0;       // in the script
    std::size_t next_ = 0;     // in the text
    std::size_t written_ = 0;  // lines of the result
};

}  // namespace lathwind::testing
