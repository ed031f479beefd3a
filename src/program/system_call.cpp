// Services of the operating system that compiled programs ask for directly.
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "platform/commands.h"
#include "platform/registry.h"
#include "program/command_line.h"
#include "qrtrlib.h"

int32_t _qrtcSystem(const char* line) {
  using namespace qrt::platform;
  constexpr int32_t notStarted = -1, endedBySignal = 128;
  qrt::program::CommandLine command;
  if (!command.split(line)) return notStarted;
  fflush(nullptr);  // what was displayed so far stands ahead of the program's own output
  const CommandEnd end = runCommand(command.words, CommandOutput::shared);
  if (!end.hasRun) return notStarted;
  return end.signal != 0 ? endedBySignal + end.signal : end.exitStatus;
}

char* _qrtcRegistry(const char* key, char* result) {
  using namespace qrt::platform;
  constexpr std::string_view hives[] = {"HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER", "HKEY_USERS"};
  constexpr size_t longestPart = 255;
  std::string_view parts[3], rest = key;
  for (std::string_view& part : parts) {
    part = &part == std::end(parts) - 1 ? rest : rest.substr(0, rest.find('#'));
    if (part.size() > longestPart) return nullptr;
    rest.remove_prefix(std::min(part.size() + 1, rest.size()));
  }
  const auto& [hive, subkey, name] = parts;
  RegistryKey opened;
  if (std::find(std::begin(hives), std::end(hives), hive) == std::end(hives)) return nullptr;
  if (!openRegistryKey(hive, subkey, opened)) return nullptr;
  return queryRegistryValue(opened, name, result, QRT_REGISTRY_RESULT) ? result : nullptr;
}

void* qrtmemset(void* destination, uint8_t value, uint32_t count) {
  return memset(destination, value, count);
}
