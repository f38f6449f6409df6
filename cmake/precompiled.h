// The headers that most units include. Each unit still includes what it uses, and would compile without this file.
#pragma once

// The system accepts only this size of CRYPT_OID_INFO.
#define CRYPT_OID_INFO_HAS_EXTRA_FIELDS

// gcrypt.h includes it, and it must come before windows.h.
#include <winsock2.h>

#include <windows.h>

#include <wincrypt.h>
// wincrypt.h goes before these.
#include <commctrl.h>
#include <prsht.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
