// Texts of COBRTOPT: whatever they hold, the process comes up with options that are possible, and goes down.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>

namespace {

void require(bool condition) {
  if (!condition) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  setenv("COBMSGS", "/dev/null", 1);
  setenv("COBRTOPT", text.c_str(), 1);
  _qrtPgmInit(nullptr);
  const QrtProcessRecord& process = *_qrtProccom;
  require(strlen(process.upsi) == 8 && strspn(process.upsi, "01") == 8);
  require((process.optionFlags & ~(QRT_OPTION_CHECK | QRT_OPTION_DEBUG)) == 0);
  require(process.errCount <= INT32_MAX);
  require(process.fileMode == 'L' || process.fileMode == 'S');
  const char* const systems[] = {"", "HDU", "KFS", "NSD", "PLT", "QDB"};
  require(
      std::ranges::any_of(systems, [&](const char* name) { return strcmp(process.fileSystem, name) == 0; }));
  _qrtCleanUp();
  require(_qrtProccom == nullptr && _qrtRuncom == nullptr);
  return 0;
}
