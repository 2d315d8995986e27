// Our file digests against `openssl dgst` on the same warm file of 1 GiB. The runs alternate and
// the best of each side counts: a busy machine slows single runs, never speeds them up. The digests
// are compared too; a difference makes the program fail.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/Compare.h"
#include "utils/Digests.h"
#include "utils/Text.h"

namespace {

constexpr std::size_t kMegabyte = 1 << 20;
constexpr std::size_t kFileMegabytes = 1024;
constexpr int kRuns = 7;
const std::string kFile = "build/bench/digest.bin";
const std::string kAnswer = "build/bench/digest.txt";

bool makeFile() {
    std::filesystem::create_directories("build/bench");
    std::ofstream out(kFile, std::ios::binary);
    std::vector<std::uint64_t> block(kMegabyte / sizeof(std::uint64_t));
    std::uint64_t state = 0x9e3779b97f4a7c15;
    for (std::size_t i = 0; i < kFileMegabytes; ++i) {
        for (std::uint64_t& word : block) {
            word = state = state * 6364136223846793005u + 1442695040888963407u;
        }
        out.write(reinterpret_cast<const char*>(block.data()), kMegabyte);
    }
    out.close();
    return out.good();
}

// The digest that openssl printed: "SHA2-256(file)= <hex>".
std::string opensslAnswer() {
    std::ifstream in(kAnswer);
    std::string line;
    std::getline(in, line);
    return line.substr(std::min(line.size(), line.rfind(' ') + 1));
}

bool compare(const std::string& algorithm, std::size_t bytes,
             bool (*hashFile)(const std::wstring&, std::uint8_t*, std::uint64_t)) {
    const std::wstring path = lathwind::widenAscii(kFile);
    const std::string command = "openssl dgst -" + algorithm + " " + kFile + " > " + kAnswer;
    std::vector<std::uint8_t> digest(bytes);
    bool done = true;
    hashFile(path, digest.data(), 0);  // brings the file into memory
    const auto [own, reference] = lathwind::bench::bestOf(
        kRuns, [&] { done &= hashFile(path, digest.data(), 0); },
        [&] { done &= std::system(command.c_str()) == 0; });
    std::wstring hex;
    lathwind::Md5ToHex(digest.data(), digest.size(), hex);
    if (!done || lathwind::narrow(hex) != opensslAnswer()) {
        std::fprintf(stderr, "%s: no digest, or another one than openssl's\n", algorithm.c_str());
        return false;
    }
    const double size = kFileMegabytes * kMegabyte / 1e6;
    std::printf("%s file: %.0f MB/s, openssl dgst: %.0f MB/s, ratio %.2f\n", algorithm.c_str(),
                size / own, size / reference, reference / own);
    return true;
}

}  // namespace

int main() {
    const bool done = makeFile() &&
                      compare("sha256", lathwind::kSha256Bytes, lathwind::HashFileSha256) &&
                      compare("md5", lathwind::kMd5Bytes, lathwind::HashFileMd5);
    std::filesystem::remove(kFile);
    std::filesystem::remove(kAnswer);
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
