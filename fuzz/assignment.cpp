// Assignment names and environment values through the resolving of an OPEN. The first byte picks the kind of
// assignment and of file, a line end parts the assignment from the value of the variable that it names.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

// No adapter lies behind the file systems that are asked for, so that nothing is opened: the adapter that
// every one of them would have is replaced by one that refuses.
void refuse(QrtFcb* file, QrtProgramEntry*, int32_t) {
  file->status = 37;
}

void checkResolved(const QrtFcb& file) {
  if (file.status != 37 && file.status != 39 && file.status != 96 && file.status != 33) abort();
  if (file.openState != 0) abort();
  if (file.fileSystemChar < '0' || file.fileSystemChar > '9') abort();
  if (file.fileName == nullptr) abort();
}

void openOnce(std::string assignment, const char* value, uint8_t kind) {
  uint8_t area[64] = {};
  uint8_t* base = area;
  uint8_t* noArea = nullptr;
  QrtFileDescription description{};
  description.organization = QRT_ORGANIZATION_RELATIVE;
  description.attributes = kind & (QRT_FILE_ASSIGN_AS_IS | QRT_FILE_ASSIGN_TEXT);
  description.maxRecord = 8;
  description.assignName = assignment.c_str();
  description.assignLength = static_cast<uint16_t>(assignment.size());
  description.recordAreaSlot = &base;
  description.statusBase = &base;
  description.status2Base = &noArea;
  QrtFileDescription* descriptions[] = {&description};
  QrtFcb file{};
  QrtFcb* files[] = {&file};
  QrtProgramEntry entry{};
  entry.files = files;
  entry.fileCount = 1;
  QrtProgramBlock block{};
  block.entries = &entry;
  block.fileDescriptions = descriptions;
  block.name = "FUZZ";
  block.nameLength = 4;
  block.yearWindow = QRT_NO_YEAR_WINDOW;
  const bool named = !assignment.empty() && assignment.find('=') == assignment.npos;
  if (named) setenv(assignment.c_str(), value, 1);
  _qrtPgmInit(&block);
  file.openRequest = QRT_OPEN_INPUT | QRT_OPEN_CAN_READ;
  file.openRoutine(&file, &entry);
  for (int code = 0; code < 10; ++code) _qrtRuncom->adapterTable[code].init = refuse;
  file.openRoutine(&file, &entry);
  checkResolved(file);
  _qrtPgmTerm(&block);
  if (named) unsetenv(assignment.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 1000) return 0;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  const size_t end = text.find('\n');
  const std::string value = end == text.npos ? "" : text.substr(end + 1);
  const std::string assignment = text.substr(0, end);
  for (const char* kept : {"PATH", "NLSPATH", "LD_LIBRARY_PATH"})
    if (assignment.c_str() == std::string(kept)) return 0;
  openOnce(assignment, value.c_str(), data[0]);
  return 0;
}
