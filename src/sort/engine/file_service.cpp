#include "sort/engine/file_service.h"

namespace qrt::sort {
namespace {

const FileService* offered;

}  // namespace

void offerFileService(const FileService* service) {
  offered = service;
}

const FileService* offeredFileService() {
  return offered;
}

}  // namespace qrt::sort
