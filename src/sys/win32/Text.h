#pragma once
// The wide-text conversions of the framework's OS library, under the names this layer uses.
#include "oslib/WindowsText.h"

namespace Sys::Win32 {
using Ordix::OS::Windows::ErrorText;
using Ordix::OS::Windows::Narrow;
using Ordix::OS::Windows::Widen;
}  // namespace Sys::Win32
