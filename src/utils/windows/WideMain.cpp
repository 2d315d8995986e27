#include "utils/platform/WideMain.h"

// The run-time's entry for programs whose command line is wide (-municode).
extern "C" int wmain(int count, wchar_t** words) {
    std::vector<std::wstring> list(words, words + count);
    return lathwind::programMain(list);
}
