// Directories by the names that callers give.
#pragma once

#include <string_view>

#include "platform/paths.h"

namespace qrt::platform {

bool directoryExists(std::string_view name);

// The current directory; `fits` is false when it has no name that fits.
NativePath currentDirectory();

}  // namespace qrt::platform
