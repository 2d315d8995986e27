#pragma once

#include <array>
#include <string_view>

// Files that the watch side shares with its tools, relative to the binary folder, which is the
// current directory of every program of the product.
namespace lathwind::watchFiles {

inline constexpr std::wstring_view kFileWatchList = L"..\\system\\filewatch.ini";
inline constexpr std::wstring_view kCustomFileWatchList = L"..\\system\\custfilewatch.ini";
inline constexpr std::wstring_view kLogWatchList = L"..\\system\\logwatch.ini";
inline constexpr std::wstring_view kCustomLogWatchList = L"..\\system\\custlogwatch.ini";
inline constexpr std::wstring_view kServiceLogWatchList = L"..\\system\\ipslogwatch.ini";

// In the order in which their digests stand in the state file.
inline constexpr std::array kWatchLists = {kFileWatchList, kCustomFileWatchList, kLogWatchList,
                                           kCustomLogWatchList, kServiceLogWatchList};

inline constexpr std::wstring_view kStateFile = L"FileWatch.dat";
inline constexpr std::wstring_view kPreviousStateFile = L"FileWatch.dat.tmp";

}  // namespace lathwind::watchFiles
