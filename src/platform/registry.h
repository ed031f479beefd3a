// The registry: a read-only tree of directories, one for each key, in which each value is a file of one line.
// It lies in the directory that QRT_REGISTRY names, else in .config/qrtrlib/registry of the home directory.
#pragma once

#include <stdint.h>

#include <string_view>

#include "platform/paths.h"

namespace qrt::platform {

// A key that was found. Nothing is held open.
struct RegistryKey {
  NativePath directory;
};

// The key `subkey`, parts separated by `\` or `/`, below a hive; false when there is none.
bool openRegistryKey(std::string_view hive, std::string_view subkey, RegistryKey& key);

// Puts the value of that name, terminated, into `buffer` of `size` bytes. False, and the buffer as it was,
// when there is no such value or it doesn't fit.
bool queryRegistryValue(const RegistryKey& key, std::string_view name, char* buffer, uint32_t size);

}  // namespace qrt::platform
