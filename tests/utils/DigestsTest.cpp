#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <vector>

#include "support/TempDir.h"
#include "utils/Digests.h"
#include "utils/FileIO.h"
#include "utils/Md5.h"
#include "utils/Sha256.h"

namespace lathwind {
namespace {

using testing::TempDir;
using Sha = std::array<std::uint8_t, kSha256Bytes>;
using Md5Digest = std::array<std::uint8_t, kMd5Bytes>;

std::wstring sha256Of(std::string_view text, Sha256::Path path = Sha256::Path::Fastest) {
    Sha256 hash(path);
    hash.update(text.data(), text.size());
    Sha digest;
    hash.finish(digest.data());
    return Sha256ToHex(digest.data());
}

std::wstring md5Of(std::string_view text) {
    Md5Digest digest;
    EXPECT_TRUE(HashBufferMd5(text.data(), text.size(), digest.data()));
    std::wstring hex;
    Md5ToHex(digest.data(), digest.size(), hex);
    return hex;
}

// Bytes without a short period.
std::string message(std::size_t size) {
    std::string text(size, '\0');
    std::uint32_t state = 1;
    for (char& byte : text) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return text;
}

constexpr std::wstring_view kEmptySha =
    L"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr std::wstring_view kEmptyMd5 = L"d41d8cd98f00b204e9800998ecf8427e";

// FIPS 180-4's examples (NIST, SHA256.pdf) and the one of a million "a".
TEST(Digests, Sha256PublishedVectors) {
    const struct {
        std::string text;
        std::wstring_view hex;
    } kCases[] = {
        {"", kEmptySha},
        {"abc", L"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         L"248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqr"
         "lmnopqrsmnopqrstnopqrstu",
         L"cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
        {std::string(1000000, 'a'),
         L"cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(sha256Of(each.text), each.hex);
        EXPECT_EQ(sha256Of(each.text, Sha256::Path::Portable), each.hex);
    }
}

TEST(Digests, Md5PublishedVectors) {  // RFC 1321, A.5
    const struct {
        std::string_view text;
        std::wstring_view hex;
    } kCases[] = {
        {"", kEmptyMd5},
        {"a", L"0cc175b9c0f1b6a831c399e269772661"},
        {"abc", L"900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", L"f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", L"c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         L"d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         L"57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(md5Of(each.text), each.hex);
    }
}

TEST(Digests, BothSha256PathsAgreeOnEveryLengthAndSplit) {
    if (!Sha256::hasInstructions()) {
        GTEST_SKIP() << "the processor has no SHA instructions";
    }
    const std::string text = message(4400);
    for (std::size_t size = 0; size <= 300; ++size) {
        const std::string_view part = std::string_view(text).substr(size % 7, size);
        ASSERT_EQ(sha256Of(part), sha256Of(part, Sha256::Path::Portable)) << size;
    }
    for (const std::size_t size : {4095u, 4096u, 4097u, 4390u}) {
        const std::string_view part = std::string_view(text).substr(1, size);
        ASSERT_EQ(sha256Of(part), sha256Of(part, Sha256::Path::Portable)) << size;
    }
}

template <class Hash>
void expectSplitsToAgree() {
    const std::string text = message(300);
    for (const std::size_t size : {63u, 64u, 119u, 128u, 300u}) {
        std::array<std::uint8_t, Hash::kDigestBytes> whole;
        Hash hash;
        hash.update(text.data(), size);
        hash.finish(whole.data());
        for (std::size_t step = 1; step <= size; ++step) {
            std::array<std::uint8_t, Hash::kDigestBytes> pieces;
            Hash inPieces;
            for (std::size_t at = 0; at < size; at += step) {
                inPieces.update(text.data() + at, std::min(step, size - at));
                inPieces.update(nullptr, 0);
            }
            inPieces.finish(pieces.data());
            ASSERT_EQ(whole, pieces) << size << " in pieces of " << step;
        }
    }
}

TEST(Digests, PiecesMakeNoDifference) {
    expectSplitsToAgree<Sha256>();
    expectSplitsToAgree<Md5>();
}

TEST(Digests, FilesUpToTheLimit) {
    const TempDir folder;
    const std::string text = message(40000);
    folder.write("file", text);
    for (const std::uint64_t limit :
         {0ull, 1ull, 4096ull, 16383ull, 16384ull, 16385ull, 39999ull, 40000ull, 1ull << 40}) {
        const std::string_view part = std::string_view(text).substr(
            0, limit == 0 ? text.size()
                          : static_cast<std::size_t>(std::min<std::uint64_t>(limit, text.size())));
        Sha sha = {}, expectedSha = {};
        Md5Digest md5 = {}, expectedMd5 = {};
        EXPECT_TRUE(HashFileSha256(folder.path(L"file"), sha.data(), limit));
        EXPECT_TRUE(HashFileMd5(folder.path(L"file"), md5.data(), limit));
        HashBufferSha256(part.data(), part.size(), expectedSha.data());
        HashBufferMd5(part.data(), part.size(), expectedMd5.data());
        EXPECT_EQ(sha, expectedSha) << limit;
        EXPECT_EQ(md5, expectedMd5) << limit;
    }
}

TEST(Digests, StreamsAreReadFromWhereTheyStand) {
    const TempDir folder;
    folder.write("file", "xabcdef");
    std::FILE* stream = FileIO::OpenStream(folder.path(L"file"), L"rb");
    ASSERT_NE(stream, nullptr);
    std::fgetc(stream);
    Sha sha;
    EXPECT_TRUE(HashStreamSha256(stream, sha.data(), 3));
    EXPECT_EQ(Sha256ToHex(sha.data()), sha256Of("abc"));
    Md5Digest md5, expected;
    EXPECT_TRUE(HashStreamMd5(stream, md5.data()));
    HashBufferMd5("def", 3, expected.data());
    EXPECT_EQ(md5, expected);
    EXPECT_TRUE(HashStreamSha256(stream, sha.data())) << "at its end";
    EXPECT_EQ(Sha256ToHex(sha.data()), kEmptySha);
    std::fclose(stream);
}

TEST(Digests, FailuresLeaveZeros) {
    const TempDir folder;
    folder.write("empty", "");
    Sha sha;
    Md5Digest md5;
    const auto soil = [&] {
        sha.fill(7);
        md5.fill(7);
    };
    for (const std::wstring& path : {std::wstring(), folder.path(L"missing"), folder.path()}) {
        soil();
        EXPECT_FALSE(HashFileSha256(path, sha.data()));
        EXPECT_FALSE(HashFileMd5(path, md5.data()));
        EXPECT_TRUE(Sha256IsZero(sha.data()) && Md5IsZero(md5.data()));
    }
    std::FILE* writeOnly = FileIO::OpenStream(folder.path(L"out"), L"wb");
    soil();
    EXPECT_FALSE(HashStreamSha256(writeOnly, sha.data()));
    EXPECT_FALSE(HashStreamMd5(writeOnly, md5.data()));
    EXPECT_TRUE(Sha256IsZero(sha.data()) && Md5IsZero(md5.data()));
    std::fclose(writeOnly);
    EXPECT_FALSE(HashStreamMd5(nullptr, md5.data()));
    EXPECT_FALSE(HashBufferSha256(nullptr, 0, sha.data()));
    EXPECT_FALSE(HashBufferSha256("", 0, nullptr));
    EXPECT_FALSE(HashFileSha256(folder.path(L"empty"), nullptr));

    EXPECT_TRUE(HashFileSha256(folder.path(L"empty"), sha.data()));
    EXPECT_TRUE(HashFileMd5(folder.path(L"empty"), md5.data()));
    EXPECT_EQ(Sha256ToHex(sha.data()), kEmptySha);
    EXPECT_TRUE(SameFileMd5(folder.path(L"empty"), folder.path(L"empty")));
    EXPECT_FALSE(SameFileMd5(folder.path(L"empty"), folder.path(L"missing")));
    EXPECT_FALSE(SameFileMd5(folder.path(L"missing"), folder.path(L"missing")));
}

TEST(Digests, PathsBeyondTheCodePageReachTheirFile) {
    const TempDir folder;
    folder.write("\xD0\x96\xE2\x82\xAC\xF0\x9F\x98\x80.txt", "abc");
    const std::wstring name = {
        wchar_t{0x0416}, wchar_t{0x20AC}, wchar_t{0xD83D}, wchar_t{0xDE00}, L'.', L't', L'x', L't'};
    Sha sha;
    EXPECT_TRUE(HashFileSha256(folder.path(name), sha.data()));
    EXPECT_EQ(Sha256ToHex(sha.data()), sha256Of("abc"));
}

TEST(Digests, Texts) {
    Sha sha;
    for (std::size_t i = 0; i < sha.size(); ++i) {
        sha[i] = static_cast<std::uint8_t>(0x0a + 9 * i);
    }
    const std::wstring hex = Sha256ToHex(sha.data());
    EXPECT_EQ(hex.substr(0, 6), L"0a131c");
    EXPECT_EQ(hex.size(), 64u);
    Sha back;
    HexToSha256(hex, back.data());
    EXPECT_TRUE(Sha256Equal(sha.data(), back.data()));
    HexToSha256(L":g", back.data());  // 10 and 16, the high nibble's overflow lost
    EXPECT_EQ(back[0], 0xB0);
    EXPECT_EQ(back[31], 0);
    sha = {};
    sha[31] = 1;
    EXPECT_FALSE(Sha256IsZero(sha.data()));
    EXPECT_FALSE(Sha256Equal(sha.data(), Sha().data()));
    ClearDigest(sha.data());
    EXPECT_TRUE(Sha256IsZero(sha.data()));

    const Md5Digest md5 = {0x0a, 0xf0, 0, 1, 0x10};
    EXPECT_EQ(Md5ToDisplay(md5.data()), L"af0011000000000000");
    std::wstring text = L"old";
    Md5ToHex(md5.data(), md5.size(), text);
    EXPECT_EQ(text, L"0af00001100000000000000000000000");
    EXPECT_TRUE(Md5Equal(md5.data(), md5.data()));
    EXPECT_FALSE(Md5Equal(md5.data(), Md5Digest().data()));
}

}  // namespace
}  // namespace lathwind
