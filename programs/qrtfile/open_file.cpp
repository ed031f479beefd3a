// A record file behind a control block.
#include "open_file.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

namespace qrt::file {
namespace {

constexpr uint32_t recordPrefix = 32;
constexpr uint32_t recordEnd = 2;
constexpr uint16_t modeOfReading = QRT_OPEN_INPUT | QRT_OPEN_CAN_READ;
constexpr uint16_t modeOfWriting = QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE;
constexpr uint16_t modeOfChanging =
    QRT_OPEN_IO | QRT_OPEN_CAN_READ | QRT_OPEN_CAN_WRITE | QRT_OPEN_CAN_REWRITE;

constexpr int16_t recordLengthDiffers = 4, atEnd = 10, noRecord = 23, inUse = 61;

const char* meaning(int16_t status) {
  switch (status) {
    case 21:
      return "the records are not in key order";
    case 22:
      return "a record with this key or number is there already";
    case 24:
      return "no place for a record of this number, or the disk is full";
    case 34:
      return "the disk is full";
    case 35:
      return "not found";
    case 37:
      return "no permission, or not an ordinary file";
    case 39:
      return "not a record file, or its attributes are damaged";
    case 44:
      return "the record is too long or too short";
    case inUse:
      return "another program has it open for writing";
    case 96:
      return "the adapter for record files can't be loaded";
    default:
      return "failed";
  }
}

// The library tells on standard error that it loads an adapter, which isn't what a user has asked for.
class Hushed {
 public:
  Hushed() : saved_(dup(STDERR_FILENO)) {
    const int nothing = ::open("/dev/null", O_WRONLY);
    if (saved_ >= 0 && nothing >= 0) dup2(nothing, STDERR_FILENO);
    if (nothing >= 0) ::close(nothing);
  }
  ~Hushed() {
    if (saved_ < 0) return;
    dup2(saved_, STDERR_FILENO);
    ::close(saved_);
  }
  Hushed(const Hushed&) = delete;
  Hushed& operator=(const Hushed&) = delete;

 private:
  int saved_;
};

// A program that is entered once, and gets the file of each OpenFile in turn.
QrtProgramEntry* enteredProgram() {
  static QrtProgramEntry entry = {};
  static QrtProgramBlock block = {};
  if (block.entries != nullptr) return &entry;
  block.entries = &entry;
  block.name = "QRTFILE";
  block.nameLength = 7;
  block.yearWindow = QRT_NO_YEAR_WINDOW;
  _qrtPgmInit(&block);
  return &entry;
}

}  // namespace

struct OpenFile::Program {
  std::string name;
  std::vector<uint8_t> area;
  uint8_t* recordArea;
  uint8_t status[2] = {};
  uint8_t* statusBase = status;
  // The key tables lie behind the description, as the offsets in it want it.
  std::vector<uint8_t> described;
  std::vector<uint8_t> control;
  QrtProgramEntry* entry = enteredProgram();

  Program(const std::string& file, const Attributes& attributes)
      : name(file),
        area(recordPrefix + attributes.longest + recordEnd),
        recordArea(area.data()),
        described(sizeof(QrtFileDescription) + sizeof(QrtRelativeKey) +
                  attributes.keys.size() * sizeof(QrtFileKey)),
        control(sizeof(QrtFcb) + attributes.keys.size() * sizeof(void*)) {
    QrtFileDescription& about = description();
    memcpy(about.fileSystemCode, "5PLT", sizeof(about.fileSystemCode));
    about.organization = attributes.organization;
    about.accessMode =
        attributes.organization == QRT_ORGANIZATION_SEQUENTIAL ? QRT_ACCESS_SEQUENTIAL : QRT_ACCESS_DYNAMIC;
    about.recordFormat = attributes.variable ? QRT_RECORD_VARIABLE : QRT_RECORD_FIXED;
    about.attributes = QRT_FILE_ASSIGN_AS_IS;
    about.maxRecord = attributes.longest;
    about.minRecord = attributes.shortest;
    about.keyCount = static_cast<uint32_t>(attributes.keys.size());
    about.relativeKeyOffset = sizeof(QrtFileDescription);
    about.keyBlockOffset = sizeof(QrtFileDescription) + sizeof(QrtRelativeKey);
    std::copy(attributes.keys.begin(), attributes.keys.end(), keys());
    about.assignName = name.c_str();
    about.assignLength = static_cast<uint16_t>(name.size());
    about.recordAreaSlot = &recordArea;
    about.statusBase = &statusBase;
    bind();
  }

  QrtFileDescription& description() { return *reinterpret_cast<QrtFileDescription*>(described.data()); }
  QrtRelativeKey& relativeKey() {
    return *reinterpret_cast<QrtRelativeKey*>(described.data() + sizeof(QrtFileDescription));
  }
  QrtFileKey* keys() {
    return reinterpret_cast<QrtFileKey*>(described.data() + sizeof(QrtFileDescription) +
                                         sizeof(QrtRelativeKey));
  }
  QrtFcb& file() { return *reinterpret_cast<QrtFcb*>(control.data()); }

  void bind() {
    QrtFcb* files[] = {&file()};
    QrtFileDescription* descriptions[] = {&description()};
    _qrtInitFCB(1, files, descriptions, entry->block);
    file().statementFlags = QRT_STATEMENT_AT_END | QRT_STATEMENT_INVALID_KEY | QRT_STATEMENT_READ_NEXT;
  }

  int16_t perform(QrtFileRoutine verb) {
    verb(&file(), entry);
    return file().status;
  }
  int16_t open(uint16_t mode) {
    const Hushed hushed;
    file().openRequest = mode;
    return perform(file().openRoutine);
  }
  int16_t close() {
    file().closeFlags = 0;
    return perform(file().closeRoutine);
  }
  [[noreturn]] void fail(int16_t value) const {
    char digits[8];
    snprintf(digits, sizeof(digits), "%02d", value);
    throw Failure(name + ": " + meaning(value) + " (status " + digits + ")");
  }
};

OpenFile::OpenFile(const std::string& name, const Attributes& attributes, Mode mode)
    : program_(std::make_unique<Program>(name, attributes)) {
  const int16_t status = program_->open(mode == Mode::read ? modeOfReading : modeOfWriting);
  if (status >= atEnd) program_->fail(status);
}

OpenFile::~OpenFile() {
  if (program_->file().openState != 0) program_->close();
}

bool OpenFile::next(std::string_view& record) {
  QrtFcb& file = program_->file();
  const int16_t status = program_->perform(file.readRoutine);
  if (status == atEnd) return false;
  if (status > atEnd) program_->fail(status);
  record = {reinterpret_cast<const char*>(file.record),
            std::min(file.readLength, program_->description().maxRecord)};
  return true;
}

bool OpenFile::lengthDiffers() const {
  return program_->file().status == recordLengthDiffers;
}

uint32_t OpenFile::number() const {
  return program_->relativeKey().value;
}

bool OpenFile::goToFirst(uint8_t key) {
  QrtFcb& file = program_->file();
  memset(file.record, 0, program_->description().maxRecord);
  file.keyOfReference = key;
  file.startKeyLength = 0;
  file.startRelation = QRT_START_NOT_LESS;
  const int16_t status = program_->perform(file.startRoutine);
  if (status > atEnd && status != noRecord) program_->fail(status);
  return status != noRecord;
}

void OpenFile::write(std::string_view record, uint32_t number) {
  QrtFcb& file = program_->file();
  const uint32_t longest = program_->description().maxRecord;
  if (record.size() > longest) program_->fail(44);
  memcpy(file.record, record.data(), record.size());
  file.recordLength = static_cast<uint32_t>(record.size());
  program_->relativeKey().value = number;
  const int16_t status = program_->perform(file.writeRoutine);
  if (status >= atEnd) program_->fail(status);
}

void OpenFile::close() {
  const int16_t status = program_->close();
  if (status >= atEnd) program_->fail(status);
}

bool OpenFile::isInUse(const std::string& name, const Attributes& attributes) {
  Program program(name, attributes);
  const int16_t status = program.open(modeOfChanging);
  if (status < atEnd) program.close();
  return status == inUse;
}

}  // namespace qrt::file
