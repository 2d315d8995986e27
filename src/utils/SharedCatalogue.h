#pragma once

#include <memory>

#include "utils/MessageCatalogue.h"
#include "utils/SharedSingleton.h"

namespace lathwind {

template <>
struct SingletonTraits<MessageCatalogue> {
    static std::unique_ptr<MessageCatalogue> create() {
        return platformFactory.createMessageCatalogue();
    }
    static void load(MessageCatalogue&) {}
};

// The process's catalogue: made for the first reference, destroyed with the last one. The log
// writer holds one while it runs.
using CatalogueRef = SharedSingleton<MessageCatalogue>::Reference;

}  // namespace lathwind
