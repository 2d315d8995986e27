#include "events/EventCodes.h"

#include <utility>

#include "utils/Text.h"

namespace lathwind {
namespace {

// The text of kind number `index`.
constexpr std::wstring_view kSourceKinds[] = {L"DUNK", L"DNTL", L"DRGW", L"DFWW", L"DGEN",
                                              L"DAUD", L"DSYS", L"DWTM", L"PXXX", L"MERR",
                                              L"MSTD", L"DXXX", L"DUC2", L"DXX"};

// Letter `index` is bit 1 << index.
constexpr std::wstring_view kStateLetters = L"RVIPXGTCDLFSZ";

// Ranks of severity, the gravest first. Rank 0 is kept for emergencies, which nothing reports.
constexpr std::wstring_view kRankLetters = L"ECMWN";
constexpr wchar_t kLowestLetter = L'I';

constexpr std::size_t kHighRank = 1;
constexpr std::size_t kMajorRank = 2;
constexpr std::size_t kWarningRank = 3;
constexpr std::size_t kNoticeRank = 4;
constexpr std::size_t kLowestRank = 5;

constexpr std::pair<std::wstring_view, std::int32_t> kLetterPriorities[] = {
    {L"I", 15}, {L"N", 35}, {L"W", 55}, {L"M", 75}, {L"C", 85}};

std::size_t rankOfPriority(std::int32_t priority) noexcept {
    if (priority < 20) {
        return kLowestRank;
    }
    if (priority < 40) {
        return kNoticeRank;
    }
    if (priority < 60) {
        return kWarningRank;
    }
    return priority >= 80 ? kHighRank : kMajorRank;
}

std::size_t rankOf(std::uint32_t classNumber, std::int32_t priority) noexcept {
    switch (classNumber) {
        case eventClass::Error:
            return kHighRank;
        case eventClass::Warning:
            return kWarningRank;
        case eventClass::Low:
            return kLowestRank;
        default:
            return rankOfPriority(priority);
    }
}

}  // namespace

std::wstring_view sourceKindText(std::uint32_t kind) noexcept {
    return kind < std::size(kSourceKinds) ? kSourceKinds[kind] : kSourceKinds[sourceKind::None];
}

bool parseSourceKind(std::wstring_view text, std::uint32_t& kind) {
    if (text == L"DFWU") {
        kind = sourceKind::FileWatch;
        return true;
    }
    for (std::uint32_t candidate = 0; candidate < std::size(kSourceKinds); ++candidate) {
        if (kSourceKinds[candidate] == text) {
            kind = candidate;
            return true;
        }
    }
    return false;
}

bool hasProcessFields(std::uint32_t kind) noexcept {
    switch (kind) {
        case 1:
        case 2:
        case 3:
        case 4:
        case 6:
        case 7:
        case 12:
            return true;
        default:
            return false;
    }
}

std::wstring systemStateText(std::uint32_t state) {
    std::wstring text;
    for (std::size_t i = 0; i < kStateLetters.size(); ++i) {
        if ((state >> i & 1U) != 0) {
            text += kStateLetters[i];
        }
    }
    return text;
}

std::uint32_t parseSystemState(std::wstring_view text) {
    const std::wstring letters = toLower(text);
    std::uint32_t state = 0;
    for (std::size_t i = 0; i < kStateLetters.size(); ++i) {
        if (letters.find(toLower(kStateLetters[i])) != std::wstring::npos) {
            state |= 1U << i;
        }
    }
    return state;
}

wchar_t severityLetterOf(std::uint32_t classNumber, std::int32_t priority) noexcept {
    const std::size_t rank = rankOf(classNumber, priority);
    return rank < kRankLetters.size() ? kRankLetters[rank] : kLowestLetter;
}

std::wstring_view severityWordOf(std::uint32_t classNumber, std::int32_t priority) noexcept {
    if (classNumber == eventClass::Error) {
        return L"ERROR";
    }
    if (priority < 40 || classNumber == eventClass::Low) {
        return L"LOW";
    }
    return priority >= 80 ? L"HIGH" : L"MEDIUM";
}

std::optional<std::int32_t> priorityOfSeverityLetter(std::wstring_view letter) noexcept {
    for (const auto& [candidate, priority] : kLetterPriorities) {
        if (candidate == letter) {
            return priority;
        }
    }
    return std::nullopt;
}

}  // namespace lathwind
