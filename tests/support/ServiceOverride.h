#pragma once

#include "support/ScopedOverride.h"

namespace lathwind::testing {

// Lets `fake` answer in the place of one service of the platform, until the end of the scope:
//
//     FakeAccounts accounts;
//     ServiceOverride answers(platformFactory.accounts, accounts);
//
// One override of a service at a time.
template <class Service>
class ServiceOverride {
public:
    template <class Fake>
    ServiceOverride(Service& (*&entry)(), Fake& fake)
        : current_(answering, &fake),
          entry_(
              entry, +[]() -> Service& { return *answering; }) {}

private:
    inline static Service* answering = nullptr;
    ScopedOverride<Service*> current_;
    ScopedOverride<Service& (*)()> entry_;
};

template <class Service, class Fake>
ServiceOverride(Service& (*&)(), Fake&) -> ServiceOverride<Service>;

}  // namespace lathwind::testing
