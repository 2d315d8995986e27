#include "plugins/TextDiff.h"

#include <stdexcept>
#include <vector>

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
        const std::size_t size = sizeOf(hunks);
        if (size > DiffFilter::kMostText) {
            throw std::length_error("diff");
        }
        text_.reserve(size);
        for (const Hunk& hunk : hunks) {
            write(hunk);
        }
    }
    std::string take() { return std::move(text_); }

private:
    using Side = LineClasses::Side;

    // Known ahead: a long text must not grow by doubling.
    std::size_t sizeOf(const std::vector<Hunk>& hunks) const {
        std::size_t size = 2 * kUnfinished.size();
        for (const Hunk& hunk : hunks) {
            size += rangeOf(hunk.oldBegin, hunk.oldEnd).size() +
                    rangeOf(hunk.newBegin, hunk.newEnd).size() + std::string_view("c\n").size() +
                    kBetween.size() + bytesOf(lines_.oldSide(), hunk.oldBegin, hunk.oldEnd) +
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
        text_ += rangeOf(hunk.oldBegin, hunk.oldEnd);
        text_ += deletes && inserts ? 'c' : deletes ? 'd' : 'a';
        text_ += rangeOf(hunk.newBegin, hunk.newEnd);
        text_ += '\n';
        writeLines(lines_.oldSide(), hunk.oldBegin, hunk.oldEnd, kOldMark);
        if (deletes && inserts) {
            text_ += kBetween;
        }
        writeLines(lines_.newSide(), hunk.newBegin, hunk.newEnd, kNewMark);
    }

    // First and last line, counted from 1; of no lines the one they would stand behind.
    std::string rangeOf(std::size_t begin, std::size_t end) const {
        const std::size_t first = lines_.commonBefore() + begin + 1;
        const std::size_t last = lines_.commonBefore() + end;
        std::string range;
        if (first < last) {
            range.append(std::to_string(first)).append(",");
        }
        return range.append(std::to_string(last));
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

std::string TextDiff::compare(std::string_view oldText, std::string_view newText,
                              std::uint64_t mostEffort) {
    const LineClasses lines(oldText, newText);
    return NormalForm(lines, hunksOf(LineChanges(lines, mostEffort))).take();
}

std::wstring TextDiff::run(void*& /*state*/, const ByteArray& previous,
                           const ByteArray& current) const {
    return widen(compare(textOf(previous), textOf(current)));
}

void TextDiff::release(void* /*state*/) const {}

}  // namespace lathwind
