// A message catalogue of any content: opened, looked up, configured from, formatted and wrapped.
#include <qrtrlib.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

namespace {

// A file that NLSPATH leads to, in memory where the system can, gone at the end of the process.
struct File {
  std::string path = "/dev/shm/qrt_fuzz_catalogue_XXXXXX";

  File() {
    if (mkdtemp(path.data()) == nullptr) path = mkdtemp(std::string("/tmp/qrt_fuzz_catalogue_XXXXXX").data());
    setenv("NLSPATH", (path + "/%n").c_str(), 1);
    unsetenv("LC_ALL");
    unsetenv("LC_MESSAGES");
    unsetenv("LANG");
  }
  ~File() {
    remove((path + "/qrtremsg.cat").c_str());
    remove(path.c_str());
  }
  void write(const uint8_t* data, size_t size) const {
    FILE* file = fopen((path + "/qrtremsg.cat").c_str(), "wb");
    fwrite(data, 1, size, file);
    fclose(file);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const File file;
  file.write(data, size);
  qrtWriteERRmsg(0, QRT_MESSAGE_CONTROL | 1);
  // As many values as a text can ask for: numbers, texts, and addresses that can't be read.
  char text[512];
  for (const int32_t number : {12, 40, 994, 9999})
    qrtWriteERRmsg(number, QRT_MESSAGE_TEXT, text, static_cast<int32_t>(size % sizeof(text)), "one", 2, -3, 4,
                   "five", 6, 7, 8, 9, "ten", 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26,
                   27, 28, 29, 30, 31, 32);
  return 0;
}
