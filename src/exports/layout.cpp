// Holds the records that compiled code lays out to their offsets.
#include "qrtrlib.h"

namespace {

#define AT(record, field, offset) static_assert(offsetof(record, field) == (offset), #record "." #field)

static_assert(sizeof(QrtJumpBuffer) == 32);

static_assert(sizeof(QrtProgramEntry) == 32);
AT(QrtProgramEntry, entryPoint, 8);
AT(QrtProgramEntry, lastIndex, 12);
AT(QrtProgramEntry, files, 16);
AT(QrtProgramEntry, fileCount, 20);
AT(QrtProgramEntry, block, 28);

static_assert(sizeof(QrtProgramBlock) == 68);
AT(QrtProgramBlock, compilerLevel, 5);
AT(QrtProgramBlock, entries, 8);
AT(QrtProgramBlock, name, 12);
AT(QrtProgramBlock, nameLength, 16);
AT(QrtProgramBlock, flags, 20);
AT(QrtProgramBlock, plle, 24);
AT(QrtProgramBlock, collatingTable, 28);
AT(QrtProgramBlock, fileDescriptions, 32);
AT(QrtProgramBlock, upsi, 36);
AT(QrtProgramBlock, sortedTable, 40);
AT(QrtProgramBlock, ebcdicTable, 44);
AT(QrtProgramBlock, ebcdicTable2, 48);
AT(QrtProgramBlock, yearWindow, 60);
AT(QrtProgramBlock, runUnitShared, 64);

static_assert(sizeof(QrtFileDescription) == 136);
AT(QrtFileDescription, fileIndex, 4);
AT(QrtFileDescription, fileSystemCode, 8);
AT(QrtFileDescription, organization, 12);
AT(QrtFileDescription, attributes, 15);
AT(QrtFileDescription, maxRecord, 16);
AT(QrtFileDescription, keyCount, 28);
AT(QrtFileDescription, externalName, 32);
AT(QrtFileDescription, assignLength, 76);
AT(QrtFileDescription, status2Length, 78);
AT(QrtFileDescription, lineFlags, 80);
AT(QrtFileDescription, linageFlags, 81);
AT(QrtFileDescription, statusFlags, 82);
AT(QrtFileDescription, statusOffset, 88);
AT(QrtFileDescription, keyBlockOffset, 96);
AT(QrtFileDescription, linageOffset, 108);
AT(QrtFileDescription, recordAreaSlot, 120);
AT(QrtFileDescription, assignName, 124);
AT(QrtFileDescription, statusBase, 128);
AT(QrtFileDescription, status2Base, 132);

static_assert(sizeof(QrtFcb) == 200);
AT(QrtFcb, fileIndex, 4);
AT(QrtFcb, fileSystemChar, 8);
AT(QrtFcb, fileSystemName, 9);
AT(QrtFcb, defaultCode, 12);
AT(QrtFcb, defaultName, 13);
AT(QrtFcb, openRequest, 24);
AT(QrtFcb, closeFlags, 28);
AT(QrtFcb, flags, 32);
AT(QrtFcb, description, 36);
AT(QrtFcb, status, 40);
AT(QrtFcb, lastOperation, 42);
AT(QrtFcb, startRelation, 44);
AT(QrtFcb, keyOfReference, 45);
AT(QrtFcb, statementFlags, 47);
AT(QrtFcb, stream, 48);
AT(QrtFcb, startKeyLength, 52);
AT(QrtFcb, fileName, 56);
AT(QrtFcb, recordBase, 64);
AT(QrtFcb, record, 68);
AT(QrtFcb, adapterBlock1, 72);
AT(QrtFcb, recordLength, 80);
AT(QrtFcb, readLength, 84);
AT(QrtFcb, adapterPosition, 88);
AT(QrtFcb, adapterCount, 96);
AT(QrtFcb, linageCurrent, 100);
AT(QrtFcb, linageSaved, 116);
AT(QrtFcb, linageValid, 132);
AT(QrtFcb, advanceLines, 136);
AT(QrtFcb, advanceFlags, 140);
AT(QrtFcb, recordState, 141);
AT(QrtFcb, fileMode, 142);
AT(QrtFcb, readRoutine, 144);
AT(QrtFcb, closeRoutine, 164);
AT(QrtFcb, openRoutine, 168);
AT(QrtFcb, useRoutine, 172);
AT(QrtFcb, useTable, 176);
AT(QrtFcb, concatenation, 184);
AT(QrtFcb, keyArea, 196);

static_assert(sizeof(QrtUnicodeEditRun) == 4);
AT(QrtAlphaNumEditPicture, repeat, 2);
AT(QrtAlphaNumEditPicture, elements, 3);
AT(QrtUnicodeEditPicture, repeat, 2);
AT(QrtUnicodeEditPicture, runs, 4);
AT(QrtNumEditPicture, decimalPoint, 2);
AT(QrtNumEditPicture, currency, 3);
AT(QrtNumEditPicture, editKind, 4);
AT(QrtNumEditPicture, picture, 5);
AT(QrtNumDeeditPicture, picture, 2);
AT(QrtCurrency, text, 2);

static_assert(sizeof(QrtNumvalControl) == 4);
AT(QrtNumvalControl, decimalPoint, 1);
AT(QrtNumvalControl, currencySource, 2);

static_assert(sizeof(QrtSearchKey) == 4 && sizeof(QrtSearchArgument) == 8);
AT(QrtSearchKey, length, 1);
AT(QrtSearchKey, offset, 2);
AT(QrtSearchControl, keyCount, 2);
AT(QrtSearchControl, conditionCount, 4);
AT(QrtSearchControl, keys, 8);
AT(QrtSearchArgument, whole, 4);
static_assert(sizeof(QrtInspectOperand) == 12);
AT(QrtInspectOperand, nationalFlags, 1);
AT(QrtInspectOperand, itemFlags, 2);
AT(QrtInspectOperand, phraseFlags, 3);
AT(QrtInspectOperand, length, 4);
AT(QrtInspectOperand, address, 8);
static_assert(sizeof(QrtInspectPhrase) == 48);
AT(QrtInspectPhrase, compared, 12);
AT(QrtInspectPhrase, before, 24);
AT(QrtInspectPhrase, after, 36);
AT(QrtInspectBlock, item, 4);
AT(QrtInspectBlock, phrases, 16);

static_assert(sizeof(DTSZdate_parts) == 19 * 4);
AT(DTSZdate_parts, ch_era, 72);
AT(DTSZera_table, eras, 4);
AT(DTSZera, span_years, 12);

static_assert(sizeof(QrtFeedback) == 12);
AT(QrtFeedback, messageNumber, 2);
AT(QrtFeedback, classByte, 4);
AT(QrtFeedback, facility, 5);
AT(QrtFeedback, instance, 8);

AT(QrtDisplayControl, target, 4);
AT(QrtDisplayControl, flags, 5);
AT(QrtDisplayControl, decimalPoint, 6);
static_assert(sizeof(QrtDisplayItem) == 16);
AT(QrtDisplayItem, size, 4);
AT(QrtDisplayItem, digits, 8);
AT(QrtDisplayItem, type, 12);

AT(QrtStringBlock, flags, 3);
AT(QrtStringBlock, target, 4);
AT(QrtStringBlock, pointer, 12);
AT(QrtStringBlock, groups, 20);
AT(QrtStringGroup, fields, 12);
static_assert(sizeof(QrtStringField) == 8);
AT(QrtUnstringBlock, flags, 3);
AT(QrtUnstringBlock, source, 4);
AT(QrtUnstringBlock, pointer, 12);
AT(QrtUnstringBlock, delimiters, 28);
static_assert(sizeof(QrtUnstringDelimiter) == 12);
static_assert(sizeof(QrtUnstringReceiver) == 32);
AT(QrtUnstringReceiver, flags, 15);
AT(QrtUnstringReceiver, delimiter, 16);
AT(QrtUnstringReceiver, delimiterFlags, 27);
AT(QrtUnstringReceiver, count, 28);

AT(QrtExternalFloat, after, 2);
AT(QrtExternalFloat, before, 4);
AT(QrtExternalFloat, mantissaSign, 6);
AT(QrtExternalFloat, decimalPoint, 8);
static_assert(sizeof(QrtExternalFloatSource) == 8);
AT(QrtExternalFloatSource, before, 4);
AT(QrtExternalFloatSource, targetSize, 6);

static_assert(sizeof(QrtExponentiation) == 18);
AT(QrtExponentiation, baseDigits, 6);
AT(QrtExponentiation, baseFraction, 8);
AT(QrtExponentiation, resultDigits, 12);
AT(QrtExponentiation, resultFraction, 14);
AT(QrtExponentiation, resultIntegers, 16);

static_assert(sizeof(QrtLocaleRow) == 128);
AT(QrtLocaleRow, doubleByteSpace, 6);
AT(QrtLocaleRow, ebcdic, 8);
AT(QrtLocaleRow, ebcdicEuro, 23);
AT(QrtLocaleRow, others, 38);

AT(QrtVaryingString, text, 2);

static_assert(sizeof(QrtFileKey) == 12);
AT(QrtFileKey, flags, 8);

static_assert(sizeof(QrtRelativeKey) == 36);
AT(QrtRelativeKey, name, 4);

static_assert(sizeof(QrtCallRow) == 12);
AT(QrtCallRow, textOffset, 8);
AT(QrtCallTable, rows, 4);
static_assert(sizeof(QrtExternalItem) == 36);
AT(QrtExternalItem, name, 4);
AT(QrtExternalList, items, 36);
static_assert(sizeof(QrtProgramCache) == 1104 && sizeof(QrtCacheEntry) == 44);
AT(QrtProgramCache, chain, 76);
AT(QrtCacheEntry, flags, 36);

static_assert(sizeof(QrtXmlElement) == 28);
AT(QrtXmlElement, nextSibling, 24);
static_assert(sizeof(QrtXmlAttribute) == 12);
AT(QrtXmlAttribute, nextAttribute, 10);
static_assert(sizeof(QrtXmlNode) == 12 && sizeof(QrtXmlNode16) == 12);
AT(QrtXmlNode, nextNode, 8);
AT(QrtXmlNode16, character, 8);
AT(QrtXmlDocument, root, 26);
AT(QrtXmlDocument16, root, 24);
AT(QrtXmlParseBlock, textRegister, 28);
AT(QrtXmlParseBlock, eventNames, 64);

static_assert(sizeof(QrtXmlDescriptor) == 6 && sizeof(QrtXmlOptions) == 32);
AT(QrtXmlDescriptor, value, 2);
AT(QrtXmlOptions, flags, 4);
AT(QrtXmlOptions, prefixFlags, 7);
AT(QrtXmlOptions, encoding, 12);
AT(QrtXmlOptions, namespaceName, 20);
AT(QrtXmlOptions, prefix, 28);

#undef AT

}  // namespace
