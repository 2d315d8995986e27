#pragma once

#include <memory>
#include <string>

#include "utils/platform/PlatformFactory.h"

// What the platform's table is made of, one file each. The services are built at first use and
// never destroyed, so that static destructors may still ask them.
namespace lathwind::posix {

platform::Files& files();
platform::Volumes& volumes();
platform::Registry& registry();
platform::Accounts& accounts();
platform::Processes& processes();
platform::Host& host();
platform::Libraries& libraries();
platform::Supervision& supervision();

std::unique_ptr<Lock> makeLock();
std::unique_ptr<Event> makeEvent(const std::wstring& name);
std::unique_ptr<Thread> makeThread(Runnable& runnable);

}  // namespace lathwind::posix
