// Directories by the names that callers give.
#pragma once

#include <string_view>

namespace qrt::platform {

bool directoryExists(std::string_view name);
bool makeDirectory(std::string_view name);
bool removeDirectory(std::string_view name);

}  // namespace qrt::platform
