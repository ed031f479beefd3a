// Names of code pages: the three queries agree, and a page that opens converts.
#include <qrtrlib.h>
#include <stdlib.h>

#include <string>

namespace {

void require(bool condition) {
  if (!condition) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string name = text.substr(0, text.find('\0'));
  setenv("COBMSGS", "/dev/null", 1);
  setenv("COBRTOPT", "ERRCOUNT=0", 1);
  _qrtPgmInit(nullptr);
  const bool opens = _qrtValidateCPID(name.data(), static_cast<int32_t>(name.size())) == 0;
  int32_t ccsid = 0;
  const int32_t result = _qrtGetCCSID(name.c_str(), &ccsid);
  require(opens == (result != 2) && (result == 0) == (ccsid > 0));
  require((qrtGetMaxCharSize(name.c_str()) > 0) == opens);
  uint16_t units[9] = {};
  int32_t room = 16;
  const int32_t code =
      _qrtConvToUnicode("ABCDEF", 6, units, &room, name.data(), static_cast<int32_t>(name.size()));
  require(name.empty() || (code == 0 || code == 11) == opens);
  require(units[8] == 0 && room >= 0 && room <= 16);
  _qrtCleanUp();
  return 0;
}
