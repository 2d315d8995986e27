#include "plugins/TextDiff.h"

#include <vector>

#include "plugins/LineChanges.h"
#include "plugins/LineClasses.h"
#include "utils/ByteArray.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr std::string_view kOldMark = "< ";
constexpr std::string_view kNewMark = "> ";
constexpr std::string_view kBetween = "---\n";
constexpr std::string_view kUnfinished = "\n\\ No newline at end of file\n";

// Writes hunks in the normal form.
class NormalForm {
public:
    NormalForm(const LineClasses& lines, const std::vector<Hunk>& hunks) : lines_(lines) {
        text_.reserve(sizeOf(hunks));
        for (const Hunk& hunk : hunks) {
            write(hunk);
        }
    }
    std::string take() { return std::move(text_); }

private:
    using Side = LineClasses::Side;

    // An upper bound: texts of the largest size grow by their marks, not by doubling.
    std::size_t sizeOf(const std::vector<Hunk>& hunks) const {
        constexpr std::size_t kHeader = 4 * 10 + 8;
        std::size_t size = 2 * kUnfinished.size();
        for (const Hunk& hunk : hunks) {
            size += kHeader + bytesOf(lines_.oldSide(), hunk.oldBegin, hunk.oldEnd) +
                    bytesOf(lines_.newSide(), hunk.newBegin, hunk.newEnd);
        }
        return size;
    }
    static std::size_t bytesOf(const Side& side, std::size_t begin, std::size_t end) {
        if (begin == end) {
            return 0;
        }
        const std::size_t from = begin == 0 ? 0 : side.lineEnds[begin - 1];
        return side.lineEnds[end - 1] - from + (end - begin) * kOldMark.size();
    }

    void write(const Hunk& hunk) {
        const bool deletes = hunk.oldBegin != hunk.oldEnd;
        const bool inserts = hunk.newBegin != hunk.newEnd;
        writeRange(hunk.oldBegin, hunk.oldEnd);
        text_ += deletes && inserts ? 'c' : deletes ? 'd' : 'a';
        writeRange(hunk.newBegin, hunk.newEnd);
        text_ += '\n';
        writeLines(lines_.oldSide(), hunk.oldBegin, hunk.oldEnd, kOldMark);
        if (deletes && inserts) {
            text_ += kBetween;
        }
        writeLines(lines_.newSide(), hunk.newBegin, hunk.newEnd, kNewMark);
    }

    // First and last line, counted from 1; of no lines the one they would stand behind.
    void writeRange(std::size_t begin, std::size_t end) {
        const std::size_t first = lines_.commonBefore() + begin + 1;
        const std::size_t last = lines_.commonBefore() + end;
        if (first < last) {
            text_ += std::to_string(first);
            text_ += ',';
        }
        text_ += std::to_string(last);
    }

    void writeLines(const Side& side, std::size_t begin, std::size_t end, std::string_view mark) {
        for (std::size_t i = begin; i < end; ++i) {
            const std::string_view line = side.line(i);
            text_ += mark;
            text_ += line;
            if (line.back() != '\n') {
                text_ += kUnfinished;
            }
        }
    }

    const LineClasses& lines_;
    std::string text_;
};

std::string_view textOf(const ByteArray& bytes) {
    return {reinterpret_cast<const char*>(bytes.GetData()),
            static_cast<std::size_t>(bytes.GetLength())};
}

}  // namespace

std::string TextDiff::compare(std::string_view oldText, std::string_view newText) {
    const LineClasses lines(oldText, newText);
    return NormalForm(lines, hunksOf(LineChanges(lines))).take();
}

std::wstring TextDiff::run(void*& /*state*/, const ByteArray& previous,
                           const ByteArray& current) const {
    return widen(compare(textOf(previous), textOf(current)));
}

void TextDiff::release(void* /*state*/) const {}

}  // namespace lathwind
