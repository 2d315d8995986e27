// How the changed lines are found, in four steps.
//
// 1. What both texts begin and end with is gone already (LineClasses).
// 2. Lines that the other text does not have are changed, whatever the rest does; they are set
//    aside (Candidates). So are lines that the other text has so often that they say little about
//    what belongs together, when they stand among lines of the first kind: a "}" between new lines
//    is new as well, although there are many of them in the old text.
// 3. The lines that are left go through Myers' search (MyersSearch): from both corners of the edit
//    graph furthest-reaching paths are extended by one edit at a time until they meet; the meeting
//    point divides the problem in two, and so on. Paths are kept by their ends only, on as many
//    diagonals as edits are allowed, hence linear space.
// 4. A run of changed lines may stand in several places with the same result ("}" + blank + "{",
//    say). Runs slide (RunSlider): two that can touch become one, and a run goes down as far as it
//    can, or to where the other text has a run as well.
#include "plugins/LineChanges.h"

#include <algorithm>
#include <limits>
#include <span>

#include "plugins/LineClasses.h"

namespace lathwind {
namespace {

using Flags = std::vector<std::uint8_t>;
using Classes = std::span<const std::uint32_t>;

// ---- Step 2

// A line with more counterparts than this is a frequent one: 5, doubled with each fourfold of 64
// lines, which keeps it in the order of the root of the number of lines.
std::size_t mostUsefulMatches(std::size_t lines) {
    std::size_t limit = 5;
    for (std::size_t rest = lines / 256; rest > 0; rest /= 4) {
        limit *= 2;
    }
    return limit;
}

enum class Standing : std::uint8_t { Kept, Frequent, Unmatched };

// The lines of one side that take part in the search; the others are flagged as changed.
class Candidates {
public:
    Candidates(const std::vector<std::uint32_t>& classes,
               const std::vector<std::uint32_t>& otherCounts, Flags& changed);

    Classes classes() const noexcept { return classes_; }
    void flag(std::size_t candidate) { changed_[lines_[candidate]] = 1; }

private:
    using Standings = std::span<Standing>;
    static void judge(std::vector<Standing>& standings);
    static void judgeRun(Standings run);
    static void keepCrowds(Standings run);
    template <class Iterator>
    static void keepNearEdge(Iterator begin, Iterator end);

    std::vector<std::uint32_t> lines_;
    std::vector<std::uint32_t> classes_;
    Flags& changed_;
};

Candidates::Candidates(const std::vector<std::uint32_t>& classes,
                       const std::vector<std::uint32_t>& otherCounts, Flags& changed)
    : changed_(changed) {
    const std::size_t limit = mostUsefulMatches(classes.size());
    std::vector<Standing> standings(classes.size());
    std::transform(classes.begin(), classes.end(), standings.begin(), [&](std::uint32_t number) {
        const std::uint32_t matches = otherCounts[number];
        return matches == 0      ? Standing::Unmatched
               : matches > limit ? Standing::Frequent
                                 : Standing::Kept;
    });
    judge(standings);
    const auto kept =
        static_cast<std::size_t>(std::count(standings.begin(), standings.end(), Standing::Kept));
    lines_.reserve(kept);
    classes_.reserve(kept);
    for (std::size_t i = 0; i < classes.size(); ++i) {
        if (standings[i] == Standing::Kept) {
            lines_.push_back(static_cast<std::uint32_t>(i));
            classes_.push_back(classes[i]);
        } else {
            changed_[i] = 1;
        }
    }
}

// Frequent lines are set aside only in runs that begin and end with unmatched lines.
void Candidates::judge(std::vector<Standing>& standings) {
    for (auto at = standings.begin(); at != standings.end();) {
        if (*at == Standing::Frequent) {
            *at = Standing::Kept;
        }
        if (*at == Standing::Kept) {
            ++at;
            continue;
        }
        auto end = std::find(at, standings.end(), Standing::Kept);
        auto runEnd = end;
        while (*(runEnd - 1) == Standing::Frequent) {
            *--runEnd = Standing::Kept;
        }
        judgeRun({at, runEnd});
        at = end;
    }
}

void Candidates::judgeRun(Standings run) {
    const auto frequent =
        static_cast<std::size_t>(std::count(run.begin(), run.end(), Standing::Frequent));
    if (4 * frequent > run.size()) {
        std::replace(run.begin(), run.end(), Standing::Frequent, Standing::Kept);
    } else if (frequent > 0) {
        keepCrowds(run);
        keepNearEdge(run.begin(), run.end());
        keepNearEdge(run.rbegin(), run.rend());
    }
}

// Many frequent lines in a row do say something.
void Candidates::keepCrowds(Standings run) {
    std::size_t crowd = 1;
    for (std::size_t rest = run.size() / 16; rest > 0; rest /= 4) {
        crowd *= 2;
    }
    ++crowd;
    for (auto at = run.begin(); at != run.end();) {
        const auto end =
            std::find_if(at, run.end(), [&](Standing standing) { return standing != *at; });
        if (*at == Standing::Frequent && static_cast<std::size_t>(end - at) >= crowd) {
            std::fill(at, end, Standing::Kept);
        }
        at = end;
    }
}

// Frequent lines near the edge of a run may belong to what is beyond it: up to the third unmatched
// line in a row, or to the first one that is eight lines in.
template <class Iterator>
void Candidates::keepNearEdge(Iterator begin, Iterator end) {
    constexpr std::ptrdiff_t kEdge = 8;
    int unmatched = 0;
    for (Iterator at = begin; at != end && unmatched < 3; ++at) {
        if (*at == Standing::Unmatched && at - begin >= kEdge) {
            break;
        }
        if (*at == Standing::Frequent) {
            *at = Standing::Kept;
        }
        unmatched = *at == Standing::Unmatched ? unmatched + 1 : 0;
    }
}

// ---- Step 3

// A rectangle of the edit graph: x counts old lines, y new ones.
struct Box {
    std::int32_t left;
    std::int32_t right;
    std::int32_t top;
    std::int32_t bottom;
};

// Where a box is divided. A half that is known to have a short edit is searched without a limit.
struct Division {
    std::int32_t x;
    std::int32_t y;
    bool isFirstExact;
    bool isSecondExact;
};

// The furthest-reaching paths from one corner of a box that have a certain number of edits: on
// every second diagonal (x - y) from `first` to `last` the x at which the path ends. Room is for
// `reach` edits.
class Frontier {
public:
    explicit Frontier(std::int32_t reach)
        : ends_(2 * static_cast<std::size_t>(reach) + 3), reach_(reach) {}

    void start(std::int32_t diagonal, std::int32_t x) {
        shift_ = reach_ + 1 - diagonal;
        first = last = diagonal;
        (*this)[diagonal] = x;
    }
    // Makes way for one edit more; `outside` stands for paths that there are not. A diagonal that
    // has left the box is given up.
    void widen(const Box& box, std::int32_t outside) {
        if (first > box.left - box.bottom) {
            --first;
            (*this)[first - 1] = outside;
        } else {
            ++first;
        }
        if (last < box.right - box.top) {
            ++last;
            (*this)[last + 1] = outside;
        } else {
            --last;
        }
    }
    bool holds(std::int32_t diagonal) const { return diagonal >= first && diagonal <= last; }
    std::int32_t& operator[](std::int32_t diagonal) {
        const std::int32_t index = diagonal + shift_;
        return ends_[static_cast<std::size_t>(index)];
    }

    std::int32_t first = 0;
    std::int32_t last = 0;

private:
    std::vector<std::int32_t> ends_;
    std::int32_t reach_;
    std::int32_t shift_ = 0;  // from a diagonal to its place in ends_
};

constexpr std::int32_t kLeastLimit = 4096;

// How many edits a path may have: the root of the number of diagonals, roughly, and not less than
// what is affordable anyway.
std::int32_t limitFor(std::size_t diagonals) {
    std::int32_t limit = 1;
    for (; diagonals > 0; diagonals /= 4) {
        limit *= 2;
    }
    return std::max(limit, kLeastLimit);
}

// What extending a path costs that then runs along so many equal lines. The processor does not
// foresee where paths run along lines and where not, which takes longer than the lines do.
std::uint64_t costOf(std::int32_t equalLines) {
    constexpr std::uint64_t kSurprise = 8;
    return equalLines == 0 ? 1 : kSurprise + static_cast<std::uint64_t>(equalLines);
}

class MyersSearch {
public:
    MyersSearch(Candidates& oldLines, Candidates& newLines, std::uint64_t mostEffort)
        : old_(oldLines),
          new_(newLines),
          a_(oldLines.classes()),
          b_(newLines.classes()),
          limit_(limitFor(a_.size() + b_.size() + 3)),
          mostEffort_(mostEffort),
          forward_(limit_),
          backward_(limit_) {}
    void run();

private:
    struct Task {
        Box box;
        bool isExact;
    };

    bool same(std::int32_t x, std::int32_t y) const {
        return a_[static_cast<std::size_t>(x)] == b_[static_cast<std::size_t>(y)];
    }
    void trim(Box& box) const;
    void flagAll(const Box& box);
    Division divide(const Box& box, bool isExact);
    bool extendForward(const Box& box, bool mayMeet, Division& met);
    bool extendBackward(const Box& box, bool mayMeet, Division& met);
    Division giveUp(const Box& box);
    std::int32_t limit() const;

    Candidates& old_;
    Candidates& new_;
    const Classes a_;
    const Classes b_;
    const std::int32_t limit_;
    const std::uint64_t mostEffort_;
    std::uint64_t effort_ = 0;
    Frontier forward_;
    Frontier backward_;
};

void MyersSearch::run() {
    const Box all = {0, static_cast<std::int32_t>(a_.size()), 0,
                     static_cast<std::int32_t>(b_.size())};
    std::vector<Task> tasks = {{all, false}};
    while (!tasks.empty()) {
        auto [box, isExact] = tasks.back();
        tasks.pop_back();
        trim(box);
        if (box.left == box.right || box.top == box.bottom) {
            flagAll(box);
            continue;
        }
        const Division at = divide(box, isExact);
        tasks.push_back({{at.x, box.right, at.y, box.bottom}, at.isSecondExact});
        tasks.push_back({{box.left, at.x, box.top, at.y}, at.isFirstExact});
    }
}

void MyersSearch::trim(Box& box) const {
    while (box.left < box.right && box.top < box.bottom && same(box.left, box.top)) {
        ++box.left;
        ++box.top;
    }
    while (box.left < box.right && box.top < box.bottom && same(box.right - 1, box.bottom - 1)) {
        --box.right;
        --box.bottom;
    }
}

void MyersSearch::flagAll(const Box& box) {
    for (std::int32_t x = box.left; x < box.right; ++x) {
        old_.flag(static_cast<std::size_t>(x));
    }
    for (std::int32_t y = box.top; y < box.bottom; ++y) {
        new_.flag(static_cast<std::size_t>(y));
    }
}

// A point on a shortest path through the box, in its middle, or on a promising path if no shortest
// one is found within the limit.
Division MyersSearch::divide(const Box& box, bool isExact) {
    constexpr std::int32_t kBefore = -1;
    constexpr std::int32_t kBehind = std::numeric_limits<std::int32_t>::max();
    const std::int32_t upperLeft = box.left - box.top;
    const std::int32_t lowerRight = box.right - box.bottom;
    // The parity of a path's length is that of the distance between the corners' diagonals.
    const bool isOdd = ((upperLeft - lowerRight) & 1) != 0;
    forward_.start(upperLeft, box.left);
    backward_.start(lowerRight, box.right);
    Division met{};
    for (std::int32_t edits = 1;; ++edits) {
        forward_.widen(box, kBefore);
        if (extendForward(box, isOdd, met)) {
            return met;
        }
        backward_.widen(box, kBehind);
        if (extendBackward(box, !isOdd, met)) {
            return met;
        }
        if (!isExact && edits >= limit()) {
            return giveUp(box);
        }
    }
}

bool MyersSearch::extendForward(const Box& box, bool mayMeet, Division& met) {
    for (std::int32_t k = forward_.last; k >= forward_.first; k -= 2) {
        const std::int32_t below = forward_[k - 1];
        const std::int32_t above = forward_[k + 1];
        const std::int32_t begin = below < above ? above : below + 1;
        std::int32_t x = begin;
        while (x < box.right && x - k < box.bottom && same(x, x - k)) {
            ++x;
        }
        forward_[k] = x;
        effort_ += costOf(x - begin);
        if (mayMeet && backward_.holds(k) && backward_[k] <= x) {
            met = {x, x - k, true, true};
            return true;
        }
    }
    return false;
}

bool MyersSearch::extendBackward(const Box& box, bool mayMeet, Division& met) {
    for (std::int32_t k = backward_.last; k >= backward_.first; k -= 2) {
        const std::int32_t below = backward_[k - 1];
        const std::int32_t above = backward_[k + 1];
        const std::int32_t begin = below < above ? below : above - 1;
        std::int32_t x = begin;
        while (x > box.left && x - k > box.top && same(x - 1, x - k - 1)) {
            --x;
        }
        backward_[k] = x;
        effort_ += costOf(begin - x);
        if (mayMeet && forward_.holds(k) && x <= forward_[k]) {
            met = {x, x - k, true, true};
            return true;
        }
    }
    return false;
}

// The end of the path that has come furthest from its corner. The part of the box that this path
// has crossed has an edit within the limit.
Division MyersSearch::giveUp(const Box& box) {
    Division ahead{box.left, box.top, true, false};
    std::int64_t most = -1;
    for (std::int32_t k = forward_.last; k >= forward_.first; k -= 2) {
        const std::int32_t x = std::min({forward_[k], box.right, box.bottom + k});
        if (most < std::int64_t{x} + (x - k)) {
            most = std::int64_t{x} + (x - k);
            ahead.x = x;
            ahead.y = x - k;
        }
    }
    Division behind{box.right, box.bottom, false, true};
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    for (std::int32_t k = backward_.last; k >= backward_.first; k -= 2) {
        const std::int32_t x = std::max({backward_[k], box.left, box.top + k});
        if (std::int64_t{x} + (x - k) < least) {
            least = std::int64_t{x} + (x - k);
            behind.x = x;
            behind.y = x - k;
        }
    }
    const std::int64_t fromEnd = std::int64_t{box.right} + box.bottom - least;
    return fromEnd < most - (std::int64_t{box.left} + box.top) ? ahead : behind;
}

// Two long texts of the same few lines, shuffled, make every division a long one. After a while a
// longer edit is the better answer: first one that is still sought with some care, then any.
std::int32_t MyersSearch::limit() const {
    if (effort_ <= mostEffort_) {
        return limit_;
    }
    return effort_ <= mostEffort_ + mostEffort_ / 4 ? 256 : 16;
}

// ---- Step 4

// Moves the runs of changed lines of one side. A run is [begin_, end_); the other side's cursor
// stands behind the changed lines that follow what the line before end_ is matched with.
class RunSlider {
public:
    RunSlider(const std::vector<std::uint32_t>& classes, Flags& own, const Flags& other,
              std::uint64_t mostEffort)
        : classes_(classes), own_(own), other_(other), mostEffort_(mostEffort) {}
    void run();

private:
    bool isChanged(std::size_t line) const { return line < own_.size() && own_[line] != 0; }
    bool otherChangedAt(std::size_t line) const {
        return line < other_.size() && other_[line] != 0;
    }
    bool facesRun() const { return cursor_ > 0 && other_[cursor_ - 1] != 0; }
    void skipOtherRun();
    bool slideUp();
    bool slideDown();
    void settle();
    // Runs that meet slide anew. In a long text that repeats itself they could do so for hours; a
    // run may stay anywhere on its way.
    bool isTired() { return ++effort_ > mostEffort_; }

    const std::vector<std::uint32_t>& classes_;
    Flags& own_;
    const Flags& other_;
    const std::uint64_t mostEffort_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t cursor_ = 0;
    std::uint64_t effort_ = 0;  // lines passed on the way, of either side
};

void RunSlider::run() {
    std::size_t line = 0;
    skipOtherRun();
    while (line < own_.size()) {
        if (!isChanged(line)) {
            ++line;
            ++cursor_;  // its counterpart
            skipOtherRun();
            continue;
        }
        begin_ = line;
        for (end_ = line; isChanged(end_); ++end_) {
        }
        settle();
        line = end_;
    }
}

void RunSlider::skipOtherRun() {
    while (otherChangedAt(cursor_)) {
        ++cursor_;
        ++effort_;
    }
}

// One line up, if the line above equals the last one; takes in a run that is reached.
bool RunSlider::slideUp() {
    if (begin_ == 0 || classes_[begin_ - 1] != classes_[end_ - 1] || isTired()) {
        return false;
    }
    own_[--begin_] = 1;
    own_[--end_] = 0;
    while (begin_ > 0 && own_[begin_ - 1] != 0) {
        --begin_;
    }
    while (facesRun()) {
        --cursor_;
        ++effort_;
    }
    --cursor_;  // the counterpart of the line that the run has left
    return true;
}

bool RunSlider::slideDown() {
    if (end_ == own_.size() || classes_[begin_] != classes_[end_] || isTired()) {
        return false;
    }
    own_[begin_++] = 0;
    own_[end_++] = 1;
    while (isChanged(end_)) {
        ++end_;
    }
    ++cursor_;
    skipOtherRun();
    return true;
}

// Up as far as possible and down as far as possible, until no other run is met on the way; then
// back to the last place where the other side has a run too, if there was one.
void RunSlider::settle() {
    constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);
    std::size_t facing = kNowhere;
    std::size_t length = 0;
    do {
        length = end_ - begin_;
        while (slideUp()) {
        }
        facing = facesRun() ? end_ : kNowhere;
        while (slideDown()) {
            if (facesRun()) {
                facing = end_;
            }
        }
    } while (length != end_ - begin_);
    while (facing != kNowhere && facing < end_ && slideUp()) {
    }
}

std::vector<std::uint32_t> countsOf(const LineClasses::Side& side, std::size_t classCount) {
    std::vector<std::uint32_t> counts(classCount);
    for (const std::uint32_t number : side.classes) {
        ++counts[number];
    }
    return counts;
}

}  // namespace

LineChanges::LineChanges(const LineClasses& lines, std::uint64_t mostEffort)
    : deleted(lines.oldSide().lineCount()), inserted(lines.newSide().lineCount()) {
    const std::vector<std::uint32_t>& oldClasses = lines.oldSide().classes;
    const std::vector<std::uint32_t>& newClasses = lines.newSide().classes;
    {
        Candidates oldLines(oldClasses, countsOf(lines.newSide(), lines.classCount()), deleted);
        Candidates newLines(newClasses, countsOf(lines.oldSide(), lines.classCount()), inserted);
        MyersSearch(oldLines, newLines, mostEffort).run();
    }
    RunSlider(oldClasses, deleted, inserted, mostEffort).run();
    RunSlider(newClasses, inserted, deleted, mostEffort).run();
}

std::vector<Hunk> hunksOf(const LineChanges& changes) {
    std::vector<Hunk> hunks;
    const auto changedAt = [](const Flags& flags, std::size_t line) {
        return line < flags.size() && flags[line] != 0;
    };
    std::size_t x = 0;
    std::size_t y = 0;
    while (x < changes.deleted.size() || y < changes.inserted.size()) {
        Hunk hunk{x, x, y, y};
        while (changedAt(changes.deleted, hunk.oldEnd)) {
            ++hunk.oldEnd;
        }
        while (changedAt(changes.inserted, hunk.newEnd)) {
            ++hunk.newEnd;
        }
        x = hunk.oldEnd;
        y = hunk.newEnd;
        if (hunk.oldBegin != x || hunk.newBegin != y) {
            hunks.push_back(hunk);
        }
        if (x < changes.deleted.size()) {
            ++x;
            ++y;
        }
    }
    return hunks;
}

}  // namespace lathwind
