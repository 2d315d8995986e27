#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

#include "utils/MessageCatalogue.h"

namespace lathwind {
namespace {

struct Row {
    int id;
    std::wstring_view text;
};

// Made from catalogue.txt when the program is built.
constexpr Row kRows[] = {
#include "utils/catalogue.inc"
};
static_assert(std::ranges::is_sorted(kRows, std::ranges::less_equal{}, &Row::id),
              "ids are unique and ascending");

class TableCatalogue : public MessageCatalogue {
public:
    int load(int id, wchar_t* buffer, int size) override {
        if (size <= 0) {
            return 0;
        }
        const auto row = std::ranges::lower_bound(kRows, id, {}, &Row::id);
        if (row == std::end(kRows) || row->id != id) {
            return 0;
        }
        const std::size_t count = row->text.copy(buffer, static_cast<std::size_t>(size) - 1);
        buffer[count] = L'\0';
        return static_cast<int>(count);
    }
};

}  // namespace

std::unique_ptr<MessageCatalogue> makeTableCatalogue() {
    return std::make_unique<TableCatalogue>();
}

}  // namespace lathwind
