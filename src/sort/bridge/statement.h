// SORT, MERGE, RELEASE and RETURN, inside of their guards.
#pragma once

#include "qrtrlib.h"

namespace qrt::sort::bridge {

void sortMerge(int32_t function, const QrtSortRegisters* registers, const QrtSortRecordSpec* record,
               const uint8_t* collatingTable, const char* controlFile, const QrtSortFileList* usingFiles,
               const QrtSortFileList* givingFiles, QrtSortKeyList* keys);
void release(int32_t length, const uint8_t* record, int16_t* result);
void returnRecord(int32_t* length, uint8_t* record, int16_t* atEnd);
void getErrno(int32_t* number);

// At the end of a run unit: frees what its SORT statements keep, and removes a work file.
void endRunUnit();

}  // namespace qrt::sort::bridge
