#pragma once

// The system's headers in the one order in which they compile: winsock2.h before windows.h, which
// would bring its predecessor, and all others after it.
// clang-format off
#include <winsock2.h>
#include <windows.h>

#include <aclapi.h>
#include <lm.h>
#include <ntsecapi.h>
#include <sddl.h>
#include <tlhelp32.h>
#include <winnetwk.h>
#include <winsvc.h>
// clang-format on
