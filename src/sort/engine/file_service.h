// How the engine reaches files that aren't plain streams of bytes: through a service that its caller offers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qrt::sort {

enum class Direction : uint8_t { input, output };

struct ServiceRead {
  enum { record, endOfFile, failure } outcome;
  uint32_t length;  // bytes of the record
};

// The files are numbered from 0, sources and outputs apart, in the order of the option text. Records of a
// form with a length field come and go with it. All routines run on the thread that called the engine.
struct FileService {
  void* context;
  bool (*open)(void* context, int32_t file, Direction direction);
  bool (*close)(void* context, int32_t file, Direction direction);
  // One record into `room`, which holds a record of the greatest length that the options allow.
  ServiceRead (*read)(void* context, int32_t file, std::span<uint8_t> room);
  bool (*write)(void* context, int32_t file, std::span<const uint8_t> record);
};

// The service for engine runs that start from now on; null for none. `service` stays the caller's.
void offerFileService(const FileService* service);
const FileService* offeredFileService();

}  // namespace qrt::sort
