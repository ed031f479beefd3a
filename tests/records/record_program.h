// Compiled programs with record files: statements of every verb and access mode.
#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <atomic>

#include "fileio/file_program.h"

namespace qrt::test {

struct RecordFile : File {
  QrtRelativeKey key{};

  RecordFile(const std::string& name, uint8_t organization, uint8_t access, uint32_t length)
      : File(name, length, organization) {
    description.accessMode = access;
    description.recordFormat = QRT_RECORD_FIXED;
    description.minRecord = length;
    if (organization == QRT_ORGANIZATION_RELATIVE)
      description.relativeKeyOffset =
          static_cast<uint32_t>(reinterpret_cast<uint8_t*>(&key) - reinterpret_cast<uint8_t*>(&description));
  }
  void makeVariable(uint32_t shortest) {
    description.recordFormat = QRT_RECORD_VARIABLE;
    description.minRecord = shortest;
  }
};

struct RecordProgram : FileProgram {
  using FileProgram::FileProgram;

  std::string readNext(size_t index = 0) {
    fcb(index).statementFlags = QRT_STATEMENT_READ_NEXT;
    const std::string status = read(index);
    fcb(index).statementFlags = 0;
    return status;
  }
  std::string rewrite(const std::string& record, size_t index = 0) {
    place(record, index);
    return perform(fcb(index).rewriteRoutine, index);
  }
  std::string write(const std::string& record, size_t index = 0) {
    place(record, index);
    return perform(fcb(index).writeRoutine, index);
  }
  std::string remove(size_t index = 0) { return perform(fcb(index).deleteRoutine, index); }
  std::string start(uint8_t relation, size_t index = 0) {
    fcb(index).startRelation = relation;
    return perform(fcb(index).startRoutine, index);
  }
  // The record of a READ, without what fills the area behind it.
  std::string taken(size_t index = 0) { return record(index).substr(0, fcb(index).readLength); }

 private:
  void place(const std::string& record, size_t index) {
    QrtFcb& file = fcb(index);
    const uint32_t room = described[index]->description.maxRecord;
    memset(file.record, '?', room);
    memcpy(file.record, record.data(), std::min<size_t>(record.size(), room));
    file.recordLength = static_cast<uint32_t>(record.size());
  }
};

// A child process that does one turn of its work after the other until it is killed.
class Worker {
 public:
  // The work counts the turns that have come back, and doesn't come back itself.
  explicit Worker(const std::function<void(std::atomic<uint32_t>& turns)>& work) {
    if (process_ = fork(); process_ == 0) work(*turns_);
  }
  Worker(const Worker&) = delete;
  ~Worker() { munmap(turns_, sizeof *turns_); }

  void await(uint32_t turns) const {
    while (*turns_ < turns) usleep(20);
  }
  // Returns how many turns had come back.
  uint32_t kill() const {
    int status;
    ::kill(process_, SIGKILL);
    waitpid(process_, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    return *turns_;
  }

 private:
  std::atomic<uint32_t>* const turns_ = static_cast<std::atomic<uint32_t>*>(
      mmap(nullptr, sizeof *turns_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  pid_t process_;
};

}  // namespace qrt::test
