// Engine sessions for tests: an option text prepared, and what was said about it.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "sort/engine/messages.h"
#include "sort/engine/parse.h"
#include "sort/engine/session.h"

namespace qrt::test {

inline void keepText(sort::ErrorRecord* record) {
  *static_cast<std::string*>(record->context) = record->name;
}

// A session that lives as long as this object, its options read from `text` as a program gives them: with a
// source and a target buffer unless `arguments` says otherwise.
struct Prepared {
  uint8_t bytes[2][4];
  sort::BufferRow source[2] = {{bytes[0], 4, 0}, {}};
  sort::BufferRow target[2] = {{bytes[1], 4, 0}, {}};
  std::string text, told;  // the option text, the text of the error
  int32_t code = 0;
  sort::SortSession* session = nullptr;

  explicit Prepared(const std::string& options, sort::EngineArguments arguments = {}) : text(options) {
    session = sort::makeSession(code);
    if (session == nullptr) return;
    arguments.text = text;
    arguments.errorCallback = keepText;
    arguments.callbackContext = &told;
    if (arguments.calledByProgram && arguments.inputExit == nullptr) arguments.sources = source;
    if (arguments.calledByProgram && arguments.outputExit == nullptr) arguments.targets = target;
    code = sort::prepare(*session, arguments);
  }
  ~Prepared() {
    if (session != nullptr) sort::freeSession(session);
  }
  Prepared(const Prepared&) = delete;
  Prepared& operator=(const Prepared&) = delete;

  sort::SortOptions& options() { return *session->options; }
};

}  // namespace qrt::test
