#include "tools/Installation.h"

#include <fstream>
#include <iterator>

namespace lathwind::testing {
namespace {

std::filesystem::path goldenFolder(int version) {
    return std::filesystem::path(LATHWIND_TEST_DATA) / "golden" / goldenName(version);
}

}  // namespace

std::string goldenName(int version) {
    return std::string(version < 10 ? "v0" : "v") + std::to_string(version);
}

std::string readGolden(int version, std::string_view name) {
    std::ifstream stream(goldenFolder(version) / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

Installation::Installation(int version) {
    std::filesystem::copy(goldenFolder(version) / "install", root.native(),
                          std::filesystem::copy_options::recursive);
    root.makeFolder("IDS/bin");
    writeState(readGolden(version, "FileWatch.dat"));
}

}  // namespace lathwind::testing
