#include "utils/platform/WideMain.h"

#include "utils/Text.h"

int main(int argc, char** argv) {
    std::vector<std::wstring> words;
    for (int index = 0; index < argc; ++index) {
        words.push_back(lathwind::utf16FromUtf8(argv[index]));
    }
    return lathwind::programMain(words);
}
