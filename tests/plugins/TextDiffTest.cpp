#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "plugins/TextDiff.h"
#include "support/NormalDiff.h"
#include "support/TempDir.h"
#include "utils/ByteArray.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using testing::NormalDiff;
using testing::TempDir;

struct Pair {
    std::string before;
    std::string now;
};

// Recorded from the `diff` program.
TEST(TextDiff, NormalForm) {
    const struct {
        std::string_view before;
        std::string_view now;
        std::string_view expected;
    } rows[] = {
        {"", "", ""},
        {"a\n", "a\n", ""},
        {"", "a\nb\n", "0a1,2\n> a\n> b\n"},
        {"a\nb\n", "", "1,2d0\n< a\n< b\n"},
        {"a\n", "a", "1c1\n< a\n---\n> a\n\\ No newline at end of file\n"},
        {"a", "a\n", "1c1\n< a\n\\ No newline at end of file\n---\n> a\n"},
        {"a", "b",
         "1c1\n< a\n\\ No newline at end of file\n---\n> b\n\\ No newline at end of file\n"},
        {"a\nb\nc\nd\n", "a\nX\nc\nd\ne\n", "2c2\n< b\n---\n> X\n4a5\n> e\n"},
        {"a\r\nb\r\n", "a\r\nb\n", "2c2\n< b\r\n---\n> b\n"},
        {"x\nb\nb\n", "y\nb\nd\nb\n", "1c1\n< x\n---\n> y\n2a3\n> d\n"},
        {"b\nc\n", "b\nb\nc\n", "1a2\n> b\n"},
        {"{\n}\n\n{\n}\n", "{\n}\n\n{\n}\n\n{\n}\n", "5a6,8\n> \n> {\n> }\n"},
        {"1\n2\n3\n4\n5\n", "1\n3\n5\n6",
         "2d1\n< 2\n4d2\n< 4\n5a4\n> 6\n\\ No newline at end of file\n"},
        {"a\nb\na\nb\n", "b\na\nb\na\n", "1d0\n< a\n4a4\n> a\n"},
        {"\n\n", "\n", "2d1\n< \n"},
        {"h\xE4\n", "h\n", "1c1\n< h\xE4\n---\n> h\n"},
        {"a b\n", "a\tb\n", "1c1\n< a b\n---\n> a\tb\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(TextDiff::compare(row.before, row.now), row.expected);
        EXPECT_EQ(NormalDiff::apply(row.before, row.expected), row.now);
    }
}

TEST(TextDiff, FilterDecodesTheWholeResult) {
    const TextDiff filter;
    void* state = nullptr;
    const ByteArray before("a\n", 2);
    const ByteArray now("b\xFF\n\0c", 5);
    EXPECT_EQ(filter.run(state, before, now),
              widen(std::string("1c1,2\n< a\n---\n> b\xFF\n> \0c\n", 24) +
                    "\\ No newline at end of file\n"));
    EXPECT_EQ(filter.run(state, ByteArray(), ByteArray()), L"");
    EXPECT_EQ(state, nullptr);
}

// Texts of random lines in the shapes that the search treats differently.
class RandomTexts {
public:
    explicit RandomTexts(unsigned seed) : random_(seed) {}

    Pair next() {
        words_ = 1 + below(4) * below(30);
        std::vector<std::string> before = lines(below(60));
        std::vector<std::string> now = below(3) == 0 ? lines(below(60)) : edited(before);
        if (below(2) == 0) {
            addNovelties(before);
            addNovelties(now);
        }
        return {joined(before), joined(now)};
    }

private:
    std::size_t below(std::size_t limit) { return random_() % limit; }

    std::string line() {
        // Some lines are frequent, as braces and blank lines are.
        const std::size_t word = below(4) == 0 ? 0 : below(words_ + 1);
        return word == 0 ? "\n" : std::to_string(word) + "\n";
    }
    std::vector<std::string> lines(std::size_t count) {
        std::vector<std::string> lines(count);
        for (std::string& text : lines) {
            text = line();
        }
        return lines;
    }
    std::vector<std::string> edited(std::vector<std::string> lines) {
        for (std::size_t edits = below(12); edits > 0; --edits) {
            const auto at = lines.begin() + static_cast<std::ptrdiff_t>(below(lines.size() + 1));
            if (at == lines.end() || below(3) == 0) {
                lines.insert(at, line());
            } else if (below(2) == 0) {
                lines.erase(at);
            } else {
                *at = line();
            }
        }
        return lines;
    }
    // Stretches of lines that stand nowhere else, with frequent ones among them.
    void addNovelties(std::vector<std::string>& lines) {
        for (std::size_t stretches = below(4); stretches > 0; --stretches) {
            std::vector<std::string> added(below(30));
            for (std::string& text : added) {
                text = below(5) == 0 ? line() : "new" + std::to_string(random_()) + "\n";
            }
            const auto at = lines.begin() + static_cast<std::ptrdiff_t>(below(lines.size() + 1));
            lines.insert(at, added.begin(), added.end());
        }
    }
    std::string joined(const std::vector<std::string>& lines) {
        std::string text;
        for (const std::string& line : lines) {
            text += line;
        }
        if (!text.empty() && below(4) == 0) {
            text.pop_back();
        }
        return text;
    }

    std::mt19937 random_;
    std::size_t words_ = 1;
};

// Every pair of texts of at most five lines, each "a" or "b".
std::vector<Pair> allShortPairs() {
    std::vector<std::string> texts = {""};
    for (std::size_t first = 0, length = 1; length <= 5; ++length) {
        const std::size_t end = texts.size();
        for (; first < end; ++first) {
            const std::string shorter = texts[first];
            texts.push_back(shorter + "a\n");
            texts.push_back(shorter + "b\n");
        }
    }
    std::vector<Pair> pairs;
    for (const std::string& before : texts) {
        for (const std::string& now : texts) {
            pairs.push_back({before, now});
        }
    }
    return pairs;
}

std::vector<Pair> somePairs() {
    std::vector<Pair> pairs = allShortPairs();
    RandomTexts texts(20);
    for (int i = 0; i < 4000; ++i) {
        pairs.push_back(texts.next());
    }
    return pairs;
}

TEST(TextDiff, ScriptTurnsTheOldTextIntoTheNewOne) {
    for (const Pair& pair : somePairs()) {
        const std::string script = TextDiff::compare(pair.before, pair.now);
        ASSERT_EQ(NormalDiff::apply(pair.before, script), pair.now)
            << pair.before << "\n=> " << pair.now << "\n: " << script;
        ASSERT_EQ(script.empty(), pair.before == pair.now);
    }
}

// Out of breath from the start, or on the way: a longer script perhaps, but a right one.
TEST(TextDiff, ScriptIsRightWhenTheSearchGivesUp) {
    RandomTexts texts(21);
    for (int i = 0; i < 2000; ++i) {
        const Pair pair = texts.next();
        for (const std::uint64_t mostEffort : {0U, 40U, 400U}) {
            const std::string script = TextDiff::compare(pair.before, pair.now, mostEffort);
            ASSERT_EQ(NormalDiff::apply(pair.before, script), pair.now)
                << pair.before << "\n=> " << pair.now << "\n: " << script;
        }
    }
}

#ifndef _WIN32  // where the `diff` program is a part of the system

// One run over two folders: the script for each file is headed by a command line.
std::map<std::string, std::string> programsScripts(const TempDir& folder) {
    const std::string base = folder.native().string();
    const std::string command =
        "cd '" + base + "' && LC_ALL=C diff -a -r old new > scripts; test $? -lt 2";
    EXPECT_EQ(std::system(command.c_str()), 0);
    std::map<std::string, std::string> scripts;
    std::string* script = nullptr;
    const std::string output = folder.read("scripts");
    for (std::size_t begin = 0; begin < output.size();) {
        const std::size_t end = output.find('\n', begin) + 1;
        const std::string line = output.substr(begin, end - begin);
        begin = end;
        if (line.starts_with("diff ")) {
            const std::size_t name = line.rfind('/') + 1;
            script = &scripts[line.substr(name, line.size() - 1 - name)];
        } else if (script != nullptr) {
            *script += line;
        }
    }
    return scripts;
}

TEST(TextDiff, EqualsTheDiffProgram) {
    const TempDir folder;
    const std::vector<Pair> pairs = somePairs();
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        folder.write("old/" + std::to_string(i), pairs[i].before);
        folder.write("new/" + std::to_string(i), pairs[i].now);
    }
    std::map<std::string, std::string> scripts = programsScripts(folder);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        ASSERT_EQ(TextDiff::compare(pairs[i].before, pairs[i].now), scripts[std::to_string(i)])
            << pairs[i].before << "\n=> " << pairs[i].now;
    }
}

// Longer than the search looks for a shortest script: both give up at the same point.
TEST(TextDiff, EqualsTheDiffProgramWhereBothGiveUp) {
    const TempDir folder;
    std::mt19937 random(3);
    std::string texts[2];
    for (std::string& text : texts) {
        for (int i = 0; i < 12000; ++i) {
            text += std::to_string(random() % 3000) + "\n";
        }
    }
    folder.write("old/0", texts[0]);
    folder.write("new/0", texts[1]);
    EXPECT_TRUE(TextDiff::compare(texts[0], texts[1]) == programsScripts(folder)["0"]);
}

#endif

}  // namespace
}  // namespace lathwind
