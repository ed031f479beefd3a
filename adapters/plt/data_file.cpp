// The bytes of a sequential or relative file.
#include "data_file.h"

#include <errno.h>
#include <string.h>

#include <algorithm>

namespace qrt::plt {
namespace {

constexpr char magic[8] = {'Q', 'R', 'T', 'R', 'E', 'C', 'S', '\n'};
constexpr uint16_t version = 1;
constexpr uint32_t pageSize = 4096;
constexpr uint32_t usualWindow = 64 * 1024;

bool isOdd(uint32_t sequence) {
  return sequence % 2 != 0;
}

// --- OPEN
// -----------------------------------------------------------------------------------------------------

// Descriptor of a file that is being opened; closed unless it is released.
class Opening {
 public:
  explicit Opening(int descriptor) : descriptor_(descriptor) {}
  ~Opening() {
    if (descriptor_ >= 0) storage::close(descriptor_);
  }
  Opening(const Opening&) = delete;
  Opening& operator=(const Opening&) = delete;

  int get() const { return descriptor_; }
  int release() {
    const int released = descriptor_;
    descriptor_ = -1;
    return released;
  }

 private:
  int descriptor_;
};

// A file as it is found or made.
struct Found {
  Outcome outcome;
  int descriptor = -1;
  bool again = false;  // somebody else has made or replaced the file meanwhile
};

bool writeHeader(int descriptor, const FileHeader& header) {
  return storage::writeAt(descriptor, &header, sizeof(header), 0) == sizeof(header);
}

// Makes a file with nothing but a header, locked, under the name: at once, so that nobody ever meets half of
// it. `old` is the file that it replaces, -1 for none.
Found makeFile(const storage::Path& path, const FileHeader& header, int old) {
  storage::Path made = path;
  Opening file(storage::makeBeside(path, made, old));
  if (file.get() < 0) return {failureOf(errno)};
  const bool written = storage::lockForWriting(file.get()) && writeHeader(file.get(), header);
  if (!written) {
    const int reason = errno;
    storage::remove(made);
    return {failureOf(reason)};
  }
  if (!storage::takeName(made, path, old >= 0)) return {failureOf(errno), -1, errno == EEXIST};
  return {{}, file.release()};
}

Found findAbsent(const Statement& statement, OpenMode mode, const storage::Path& path,
                 const FileHeader& header) {
  const bool optional = isOptional(statement.description);
  if (mode != OpenMode::output && !optional) return {{status::absent}};
  if (mode == OpenMode::input) return {{status::optionalAbsent}};
  Found made = makeFile(path, header, -1);
  if (made.descriptor >= 0 && mode != OpenMode::output) made.outcome = {status::optionalAbsent};
  return made;
}

Found findForWriting(OpenMode mode, const storage::Path& path, const FileHeader& header, Opening& file) {
  if (!storage::lockForWriting(file.get())) return {failureOf(errno)};
  if (!storage::bears(file.get(), path)) return {{}, -1, true};
  // Readers keep the file that they have.
  if (mode == OpenMode::output) return makeFile(storage::resolved(path), header, file.get());
  // An empty file hasn't got its attributes yet.
  if (storage::sizeOf(file.get()) == 0 && !writeHeader(file.get(), header)) return {failureOf(errno)};
  return {{}, file.release()};
}

Found findOnce(const Statement& statement, OpenMode mode, const storage::Path& path,
               const FileHeader& header) {
  const auto access = mode == OpenMode::input ? storage::Access::read : storage::Access::write;
  Opening file(storage::openExisting(path, access));
  if (file.get() < 0)
    return errno == ENOENT ? findAbsent(statement, mode, path, header) : Found{failureOf(errno)};
  if (mode == OpenMode::input) return {{}, file.release()};
  return findForWriting(mode, path, header, file);
}

Found find(const Statement& statement, OpenMode mode, const FileHeader& header) {
  constexpr int attempts = 100;
  const storage::Path path(statement.file.fileName);
  Found found;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    found = findOnce(statement, mode, path, header);
    if (!found.again) return found;
  }
  return {found.outcome.failed() ? found.outcome : failureOf(EAGAIN)};
}

// Maps the header of a file.
Outcome mapHeader(DataFile& data, const FileHeader& wanted, storage::Access access) {
  const int64_t size = storage::sizeOf(data.descriptor);
  if (size < 0) return failureOf(errno);
  // An empty file that is opened INPUT gets a header of its own, and stays empty for as long as it is open.
  const bool isEmpty = size == 0;
  if (!isEmpty && size < static_cast<int64_t>(sizeof(FileHeader))) return {status::attributeConflict};
  data.header = static_cast<FileHeader*>(isEmpty ? storage::mapFirstPage(-1, storage::Access::write)
                                                 : storage::mapFirstPage(data.descriptor, access));
  if (data.header == nullptr) return failureOf(errno);
  if (isEmpty) data.header->recordsEnd = sizeof(FileHeader);
  // Everything up to the sequence is fixed when a file is made.
  const bool fits = isEmpty || memcmp(data.header, &wanted, offsetof(FileHeader, sequence)) == 0;
  return {fits ? status::success : status::attributeConflict};
}

bool copyBytes(int descriptor, uint8_t* buffer, uint32_t size, uint64_t from, uint64_t to) {
  const int32_t got = storage::readAt(descriptor, buffer, size, from);
  if (got >= 0 && static_cast<uint32_t>(got) < size) errno = EIO;
  return got == static_cast<int32_t>(size) && storage::writeAt(descriptor, buffer, size, to) == size;
}

// A damaged header may say anything of an image.
bool imageIsInFile(const DataFile& data) {
  const FileHeader& header = *data.header;
  const auto size = static_cast<uint64_t>(std::max(storage::sizeOf(data.descriptor), int64_t{0}));
  const auto isBehindHeader = [&](uint64_t offset) { return offset >= sizeof(FileHeader) && offset <= size; };
  return header.imageLength <= data.window.capacity && isBehindHeader(header.imageTarget) &&
         isBehindHeader(header.imagePlace) && size - header.imagePlace >= header.imageLength;
}

// Completes the change that a killed writer has left, and ends it.
Outcome completeChange(DataFile& data) {
  FileHeader& header = *data.header;
  if (header.imageLength != 0) {
    if (!imageIsInFile(data)) return failureOf(EIO);
    if (!isOdd(header.sequence)) store(header.sequence, header.sequence + 1);
    if (!copyBytes(data.descriptor, data.window.bytes, header.imageLength, header.imagePlace,
                   header.imageTarget))
      return failureOf(errno);
    store(header.imageLength, 0u);
  }
  if (isOdd(header.sequence)) store(header.sequence, header.sequence + 1);
  return {};
}

Outcome openInto(DataFile& data, const Statement& statement, OpenMode mode, const FileHeader& wanted) {
  const Found found = find(statement, mode, wanted);
  data.descriptor = found.descriptor;
  if (found.descriptor < 0) return found.outcome;
  const auto access = mode == OpenMode::input ? storage::Access::read : storage::Access::write;
  Outcome outcome = mapHeader(data, wanted, access);
  if (!outcome.failed() && mode != OpenMode::input) outcome = completeChange(data);
  if (outcome.failed()) return outcome;
  data.window.sequence = load(data.header->sequence);
  return found.outcome;
}

// --- Reading
// --------------------------------------------------------------------------------------------------

// The sequence, once no change is in progress: even, or what a killed writer has left. A writer that is
// stopped in the middle of a change is waited for up to a second.
uint32_t settledSequence(DataFile& data) {
  constexpr int pauses = 10'000;
  for (int pause = 0; pause < pauses; ++pause) {
    const uint32_t sequence = load(data.header->sequence);
    if (!isOdd(sequence) || sequence == data.deadSequence) return sequence;
    if (!storage::hasWriter(data.descriptor) && load(data.header->sequence) == sequence)
      return data.deadSequence = sequence;
    storage::pause();
  }
  return load(data.header->sequence);
}

// Cuts what lies behind the records.
uint32_t clipped(const FileHeader& header, uint64_t offset, uint32_t length) {
  const uint64_t end = load(header.recordsEnd);
  if (end == 0 || offset + length <= end) return length;
  return offset < end ? static_cast<uint32_t>(end - offset) : 0;
}

// Puts the image over the bytes that it stands for, as far as they are in the window.
bool overlayImage(DataFile& data) {
  const FileHeader& header = *data.header;
  const uint64_t imageLength = load(header.imageLength);
  if (imageLength == 0) return true;
  const Window& window = data.window;
  const uint64_t target = header.imageTarget;
  const uint64_t from = std::max(target, window.offset);
  const uint64_t to = std::min(target + imageLength, window.offset + window.length);
  if (target + imageLength < target || from >= to) return true;
  const auto size = static_cast<uint32_t>(to - from);
  const int32_t got = storage::readAt(data.descriptor, window.bytes + (from - window.offset), size,
                                      header.imagePlace + (from - target));
  if (got >= 0 && static_cast<uint32_t>(got) < size) errno = EIO;
  return got == static_cast<int32_t>(size);
}

}  // namespace

FileHeader headerFor(const QrtFileDescription& description) {
  FileHeader header = {};
  memcpy(header.magic, magic, sizeof(magic));
  header.version = version;
  header.organization = description.organization & QRT_ORGANIZATION_RELATIVE;
  header.recordFormat = isVariable(description) ? QRT_RECORD_VARIABLE : QRT_RECORD_FIXED;
  header.maxRecord = description.maxRecord;
  header.minRecord = isVariable(description) ? description.minRecord : description.maxRecord;
  return header;
}

Outcome openDataFile(const Statement& statement, OpenMode mode, const BlockSizes& sizes) {
  if (mode == OpenMode::none) return {status::modeNotSupported};
  const uint32_t capacity = std::max(sizes.leastWindow, usualWindow);
  const uint64_t size = uint64_t{sizes.state} + capacity + sizes.behind;
  auto* const block =
      size <= UINT32_MAX ? static_cast<uint8_t*>(_qrtCheckMalloc(static_cast<uint32_t>(size))) : nullptr;
  if (block == nullptr) return failureOf(ENOMEM);
  memset(block, 0, sizes.state);
  auto& data = *reinterpret_cast<DataFile*>(block);
  data.descriptor = -1;
  data.window.bytes = block + sizes.state;
  data.window.capacity = capacity;
  statement.file.adapterBlock1 = block;
  const Outcome outcome = openInto(data, statement, mode, headerFor(statement.description));
  if (!outcome.failed() && data.descriptor < 0) statement.file.flags |= QRT_FCB_ABSENT;
  if (outcome.failed() || data.descriptor < 0) abandon(statement);
  return outcome;
}

void closeDataFile(DataFile& data) {
  if (data.header != nullptr) storage::unmapFirstPage(data.header);
  if (data.descriptor >= 0) storage::close(data.descriptor);
}

void abandon(const Statement& statement) {
  void*& block = statement.file.adapterBlock1;
  closeDataFile(*static_cast<DataFile*>(block));
  _qrtCheckFree(block);
  block = nullptr;
}

View refill(DataFile& data, uint64_t offset, uint32_t size) {
  Window& window = data.window;
  const bool goesOn = offset > window.offset && offset <= window.offset + window.length &&
                      offset + size > window.offset + window.length;
  window.ahead = std::clamp(goesOn ? window.ahead * 2 : window.leastRead, size, window.capacity);
  for (;;) {
    window.length = 0;
    const uint32_t sequence = settledSequence(data);
    const int32_t got = storage::readAt(data.descriptor, window.bytes, window.ahead, offset);
    if (got < 0) return {nullptr, 0, errno};
    window.offset = offset;
    window.length = clipped(*data.header, offset, static_cast<uint32_t>(got));
    const bool overlaid = overlayImage(data);
    // An image that a change has put there, and the end of it has taken away, is no fault.
    if (load(data.header->sequence) != sequence) continue;
    if (!overlaid) return {nullptr, 0, errno};
    window.sequence = sequence;
    return {window.bytes, window.length};
  }
}

Change::Change(DataFile& data) : data_(data) {
  store(data.header->sequence, data.header->sequence + 1);
}

Change::~Change() {
  const uint32_t before = data_.header->sequence - 1;
  store(data_.header->sequence, before + 2);
  // The writer's own window has followed the change.
  if (data_.window.sequence == before) data_.window.sequence = before + 2;
}

bool liesInOnePage(uint64_t offset, uint32_t size) {
  return size == 0 || offset / pageSize == (offset + size - 1) / pageSize;
}

bool put(DataFile& data, const void* bytes, uint32_t size, uint64_t offset) {
  if (storage::writeAt(data.descriptor, bytes, size, offset) != size) return false;
  const Window& window = data.window;
  const uint64_t from = std::max(offset, window.offset);
  const uint64_t to = std::min(offset + size, window.offset + window.length);
  if (from < to)
    memcpy(window.bytes + (from - window.offset), static_cast<const uint8_t*>(bytes) + (from - offset),
           static_cast<size_t>(to - from));
  return true;
}

bool replace(DataFile& data, const void* bytes, uint32_t size, uint64_t offset, uint64_t imagePlace) {
  FileHeader& header = *data.header;
  if (header.imageLength != 0) {
    // Bytes that couldn't be written are still to come.
    errno = EIO;
    return false;
  }
  if (liesInOnePage(offset, size)) return put(data, bytes, size, offset);
  if (storage::writeAt(data.descriptor, bytes, size, imagePlace) != size) return false;
  header.imageTarget = offset;
  header.imagePlace = imagePlace;
  store(header.imageLength, size);
  if (!put(data, bytes, size, offset)) return false;
  store(header.imageLength, 0u);
  return true;
}

}  // namespace qrt::plt
