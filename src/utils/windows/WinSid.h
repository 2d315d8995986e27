#pragma once

#include <string>
#include <vector>

#include "utils/platform/Accounts.h"
#include "utils/windows/WinHandles.h"

// Security identifiers: text, bytes and account names.
namespace lathwind::windows {

platform::ErrorCode sidToText(PSID sid, std::wstring& text);
platform::ErrorCode sidFromText(const std::wstring& text, UniqueLocal<PSID>& sid);
// Asks the name service: may take long on a machine that has lost its domain.
platform::ErrorCode lookUpAccount(PSID sid, platform::AccountName& account);

}  // namespace lathwind::windows
