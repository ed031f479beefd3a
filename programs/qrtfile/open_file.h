// A record file behind a control block, as a compiled program has it.
#pragma once

#include <memory>
#include <string_view>

#include "attributes.h"

namespace qrt::file {

enum class Mode { read, write };

// An open file. Failures of the library are thrown as Failure, with the FILE STATUS.
class OpenFile {
 public:
  OpenFile(const std::string& name, const Attributes& attributes, Mode mode);
  ~OpenFile();
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  // The next record; false at the end. It stays until the next call.
  bool next(std::string_view& record);
  bool lengthDiffers() const;  // of the record that was read: it isn't as the file's attributes say
  uint32_t number() const;     // of the record that was read, in a relative file

  // Goes to the first record by a key of an indexed file; false when there is none.
  bool goToFirst(uint8_t key);

  // Writes a record; `number` counts for a relative file. What the library refuses is thrown.
  void write(std::string_view record, uint32_t number);

  void close();

  // Whether some program has the file open for writing.
  static bool isInUse(const std::string& name, const Attributes& attributes);

 private:
  struct Program;
  std::unique_ptr<Program> program_;
};

}  // namespace qrt::file
