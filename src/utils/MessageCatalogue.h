#pragma once

#include <memory>

namespace lathwind {

// The program's table of texts: numeric id to row. Ids are stable across builds.
class MessageCatalogue {
public:
    virtual ~MessageCatalogue() = default;
    // Copies row `id` into `buffer`, which has room for `size` units with the terminating zero; a
    // longer row is cut. Gives the number of units copied, 0 if there is no such row.
    virtual int load(int id, wchar_t* buffer, int size) = 0;
};

// The catalogue over the table that is compiled into the program.
std::unique_ptr<MessageCatalogue> makeTableCatalogue();

}  // namespace lathwind
