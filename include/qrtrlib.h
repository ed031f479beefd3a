/*
 * qrtrlib: the run-time library of a COBOL compiler.
 *
 * Every entry that compiled programs, hosts and adapters call, every record that they share with the
 * library, and every constant in them. Usable from C11 and C++; 32-bit x86 only.
 *
 * Conventions
 *   - Calls follow the i386 System V ABI (cdecl, stack aligned to 16 bytes at the call). Integers up to 32
 *     bits, addresses and flags are one word each; an 8-byte integer by value is two words, low word first.
 *   - An operand is the address of its first byte and a length, in the unit that the entry names: bytes,
 *     decimal digits or characters. The storage stays the caller's. An entry writes its named result and
 *     nothing beside it. Pointers may be null only where that is said.
 *   - A "guarded" entry arms a jump buffer around its work. A severe error ends the run; with a debugger
 *     attached it comes back through the outermost guard instead, and the entry returns the value that is
 *     given for that case, or one that isn't defined.
 *   - One thread at a time may be inside the library.
 */
#ifndef QRTRLIB_H
#define QRTRLIB_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

/* QRT_API marks an exported function, QRT_DATA an exported variable, QRT_SYMBOL the symbol of a name that C
   can't spell. */
#ifdef QRT_BUILDING
#define QRT_API __attribute__((visibility("protected")))
#define QRT_DATA extern __attribute__((visibility("default")))
#else
#define QRT_API
#define QRT_DATA extern
#endif
#ifdef __clang__
#define QRT_SYMBOL(name) __asm__(name)
#else
#define QRT_SYMBOL(name) __asm__("\"" name "\"")
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ======================================================================================================
 * Records of the frame
 * ====================================================================================================== */

typedef struct QrtHashTable QrtHashTable;
typedef struct QrtPlle QrtPlle;
typedef struct QrtFcb QrtFcb;
typedef struct QrtFileDescription QrtFileDescription;
typedef struct QrtAdapterRow QrtAdapterRow;

/* What ?_qrtsetjmp saves and ?_qrtlongjmp restores: eight words. */
typedef struct QrtJumpBuffer {
  uint32_t framePointer;  /* EBP */
  uint32_t returnAddress; /* where the set call comes back */
  uint32_t stackPointer;  /* ESP behind the return from the set call */
  uint32_t savedEbx;      /* the three registers that a callee keeps */
  uint32_t savedEsi;
  uint32_t savedEdi;
  void* exceptionChain;         /* head of the chain of structured exception handlers */
  uint32_t floatingControlWord; /* x87 control word, in the low half */
} QrtJumpBuffer;

/* The one block behind threadStorage(). */
typedef struct QrtThreadStorage {
  QrtJumpBuffer* anchor; /* innermost armed guard; null when none is armed */
  char* pendingMessage;  /* text of the last severe message handed to a guard; owned by this block */
} QrtThreadStorage;

struct QrtProcessRecord;
struct QrtRunUnitRecord;

/* A link of the stack of run units; the one on top is current. */
typedef struct QrtRunUnitLink {
  struct QrtRunUnitRecord* runUnit;
  struct QrtRunUnitLink* next;
} QrtRunUnitLink;

/* Bits of QrtProcessRecord.optionFlags, OR-ed into the flags word of each program. */
#define QRT_OPTION_CHECK 0x08000000u
#define QRT_OPTION_DEBUG 0x02000000u

/* The process record, one for each process: from the first _qrtPgmInit to the end of the last run unit. */
typedef struct QrtProcessRecord {
  char eyecatcher[8];   /* "XPROCCOM" */
  void* cobpathCache;   /* directory list of the search for programs */
  FILE* sysoutFile;     /* DISPLAY UPON SYSOUT: SYSOUT, SYSLIST or SYSLST, else standard output */
  FILE* syspunchFile;   /* DISPLAY UPON SYSPUNCH; null until first use */
  FILE* consoleOutFile; /* DISPLAY UPON CONSOLE; null until first use */
  FILE* consoleInFile;  /* ACCEPT FROM CONSOLE; null until first use */
  FILE* sysinFile;      /* ACCEPT FROM SYSIN; null until first use */
  uint32_t reserved;    /* 0 */
  uint32_t optionFlags; /* QRT_OPTION_*; both on by default */
  char upsi[9];         /* the UPSI switches as "0" and "1", terminated */
  uint32_t errCount;    /* option ERRCOUNT; 0 means no limit */
  char fileSystem[4];   /* option FILESYS: three letters, terminated; empty when unset */
  QrtRunUnitLink* runUnitStack;
  FILE* messageFile; /* COBMSGS, else standard error; null until the first message */
  void (*abendHook)(struct QrtProcessRecord* process); /* called once by an abnormal end; null for none */
  int32_t localeCodePageIndex;                         /* row of the locale code-page table; -1 while unset */
  char fileMode;                                       /* option FILEMODE: "L" large or "S" small */
} QrtProcessRecord;

struct QrtSortRecordSpec;
struct QrtSortKeyList;
struct QrtSortFileList;

/* What a SORT or MERGE with an INPUT or OUTPUT PROCEDURE leaves between its calls. */
typedef struct QrtSortState {
  char* fileName;        /* name of the work file, empty for none; 1,024 bytes, owned */
  int32_t bufferSize;    /* bytes of recordBuffer in use as a block */
  uint8_t* recordBuffer; /* 256,000 bytes, owned */
  uint8_t* cursor;       /* next record in it */
  int32_t position;      /* bytes of it used; -1: nothing fetched yet */
  uint32_t fileOffset;   /* of the next block of the work file, modulo 2 to the 32 */
  const struct QrtSortRecordSpec* record;
  const struct QrtSortKeyList* keys;
  const struct QrtSortFileList* usingFiles;
  const struct QrtSortFileList* givingFiles;
  const uint8_t* collatingTable;
  const char* controlFile;
  int32_t coreSize;
} QrtSortState;

/* The record of one run unit: one main program and everything that it calls. */
typedef struct QrtRunUnitRecord {
  char eyecatcher[8];                     /* "XRUNCOMM" */
  uint32_t runUnitNumber;                 /* 1 for the first of the process */
  QrtPlle* mainPLLE;                      /* entry of the first program */
  int32_t activeCount;                    /* programs inside a call; never below 0 */
  void (*stopRunCallback)(void* context); /* host routine of _qrtCOBOLInit; null for none */
  QrtHashTable* fileTable;                /* EXTERNAL file control blocks by file name */
  QrtHashTable* externalTable;            /* EXTERNAL items by name; null until the first */
  char upsi[8];
  uint32_t errCountLeft; /* severity 1 messages still allowed; 0 means no limit */
  char fileSystem[3];
  QrtHashTable* programTable; /* program list entries by program name */
  void* plleChunks;
  void* plleChunkEnd;
  QrtPlle* plleNext;
  void* stopRunContext;        /* argument of stopRunCallback */
  uint32_t randomSeed;         /* state of FUNCTION RANDOM; 1 at the start */
  QrtAdapterRow* adapterTable; /* the file-system adapters, by code */
  void* hostedAllocations;     /* head of the list of hosted allocations */
  uint32_t reserved;           /* 0 */
  int32_t centuryWindow;       /* sliding century window; 80 at the start */
  uint32_t runUnitWord;        /* the word that runUnitShared of each program block points to */
  QrtSortState sortState;
  char* tempDirectory; /* TMP when that directory exists, else "."; owned */
  int16_t sortActive;  /* not 0 while a SORT or MERGE is in progress */
  void* sortBlocks;    /* spare nodes of key lists */
  int32_t sortErrno;   /* number of the last failure of a SORT or MERGE; 0 for none */
  char fileMode;
  char localeName[22];
  char ebcdicCodePage[18];
} QrtRunUnitRecord;

struct QrtProgramBlock;

/* Bit of QrtProgramEntry.stateFlags that CANCEL and the end of a cached run unit clear. */
#define QRT_ENTRY_NOT_INITIAL 0x40000000u

/* One element for a program and one for each program nested in it, 32 bytes each, laid out by the compiler.
 */
typedef struct QrtProgramEntry {
  int32_t activeCount;           /*  0: times that the program is active */
  uint32_t stateFlags;           /*  4 */
  void* entryPoint;              /*  8 */
  int32_t lastIndex;             /* 12: in the first element, index of the last; 0 when nothing is nested */
  QrtFcb** files;                /* 16: the program's file control blocks; null for none */
  int32_t fileCount;             /* 20: elements of files */
  uint32_t reserved24;           /* 24 */
  struct QrtProgramBlock* block; /* 28: set at the first entry of the program */
} QrtProgramEntry;

/* Bits of QrtProgramBlock.flags. */
#define QRT_PROGRAM_MAIN 0x80000000u /* main program of the run unit; set and cleared by the library */
#define QRT_PROGRAM_END_BY_COUNT 0x20000000u /* the run unit ends when its activeCount is back to 0 */
#define QRT_PROGRAM_FOLD_NAMES 0x01000000u   /* CALL and CANCEL fold names to upper case */
#define QRT_PROGRAM_EBCDIC 0x00200000u       /* the program's data is in EBCDIC */

/* yearWindow of a program without a window. */
#define QRT_NO_YEAR_WINDOW 9999

/* The block of a compiled program, laid out by the compiler and passed at each entry and exit. */
typedef struct QrtProgramBlock {
  uint8_t reserved0[5];
  uint8_t compilerLevel[3];              /*  5: version, release, modification of the compiler */
  QrtProgramEntry* entries;              /*  8: the program and those nested in it */
  const char* name;                      /* 12: program name, not terminated */
  uint32_t nameLength;                   /* 16: bytes */
  uint32_t flags;                        /* 20: QRT_PROGRAM_* and QRT_OPTION_* */
  QrtPlle* plle;                         /* 24: null while the program isn't bound to a run unit */
  const uint8_t* collatingTable;         /* 28: the rank of each of the 256 bytes; null for none; _qrtcCollSeq
                                                sets it */
  QrtFileDescription** fileDescriptions; /* 32 */
  char* upsi;                            /* 36: set to the run unit's UPSI switches at the first entry */
  const uint8_t* sortedTable;            /* 40: the bytes in collating order; set by _qrtcCollSeq */
  const uint8_t* ebcdicTable;            /* 44: native images of the EBCDIC bytes; set by _qrtcEBCDIC */
  const uint8_t* ebcdicTable2;           /* 48: the same */
  uint32_t reserved52[2];
  int32_t yearWindow;      /* 60: first year of the window, negative when relative to the current year */
  uint32_t* runUnitShared; /* 64: set, from level 5.1.1 on, to a word that all programs share */
} QrtProgramBlock;

/* ------------------------------------------------------------------------------------------------------
 * Exported data of the frame
 * ------------------------------------------------------------------------------------------------------ */

QRT_DATA QrtProcessRecord* _qrtProccom; /* null while the process is down */
QRT_DATA QrtRunUnitRecord* _qrtRuncom;  /* the current run unit; null for none */
QRT_DATA int32_t _qrtIsTrax;            /* 0 in a plain run, else the depth of hosted run units */
QRT_DATA int32_t _qrtIsApc;             /* container level; 0 without a container */
QRT_DATA int32_t _qrtIsDebuggerLoaded;  /* set by a debugger: severe messages come back through the guard */
QRT_DATA void* _qrtTraxModHandle;       /* module handle that a host gave to _qrt_cpm_init */
QRT_DATA uint32_t _qrtInEE;             /* for compiled code, as are the next two */
QRT_DATA uint32_t _qrtFirst_frame;
QRT_DATA uint32_t cpm_mutex;

/* ------------------------------------------------------------------------------------------------------
 * Jumps and the guard
 * ------------------------------------------------------------------------------------------------------ */

/* Symbol ?_qrtsetjmp. Fills `buffer` and returns 0; comes back again, with the jump's value, when
   ?_qrtlongjmp is called on the buffer while the caller's frame is still alive. */
QRT_API int32_t qrtSetJump(QrtJumpBuffer* buffer) QRT_SYMBOL("?_qrtsetjmp") __attribute__((returns_twice));

/* Symbol ?_qrtlongjmp. Takes the chain of structured exception handlers back to the saved head,
   re-initialises the x87 unit, restores its saved control word, and comes back where `buffer` was filled:
   with `value`, or 1 when `value` is 0. */
QRT_API void qrtLongJump(QrtJumpBuffer* buffer, int32_t value) QRT_SYMBOL("?_qrtlongjmp")
    __attribute__((noreturn));

/* Filled by the start-up code of the compiled main program; STOP RUN jumps to it with the return code, 255
   standing for 0. */
QRT_DATA QrtJumpBuffer _qrtJmpCobStart;

/* Symbol ?_qrtsplitpath. Cuts `path` into drive ("x:"), directory with its last separator, name, and
   extension with its dot; each goes terminated to its buffer, which must have the room, unless that is null.
 */
QRT_API void qrtSplitPath(const char* path, char* drive, char* directory, char* name, char* extension)
    QRT_SYMBOL("?_qrtsplitpath");

/* The process's storage block, made at the first call; out of memory ends the run with message 907. */
QRT_API QrtThreadStorage* threadStorage(void);

/* Frees the block of threadStorage(), not its pendingMessage; the next call makes a new one. */
QRT_API void freeThreadStorage(void);

/* Forgets the block of threadStorage() without freeing it: for hosted runs, where it lies on the run unit's
   list of allocations. */
QRT_API void resetThreadStorageAnchor(void);

/* ------------------------------------------------------------------------------------------------------
 * Memory. In hosted mode (_qrtIsTrax not 0 and a run unit live) each block hangs on a list of the run unit
 * and goes with it; otherwise these are the heap of the process. A block is freed in the mode in which it
 * was allocated.
 * ------------------------------------------------------------------------------------------------------ */

/* A block of `size` bytes, or null; no message. */
QRT_API void* _qrtCheckMalloc(uint32_t size);

/* A zero-filled block of `count` times `size` bytes, or null; no message. */
QRT_API void* _qrtCheckCalloc(uint32_t count, uint32_t size);

/* Gives a block back; a null block does nothing. */
QRT_API void _qrtCheckFree(void* block);

/* Hosted mode: frees every block of the current run unit's list. Otherwise nothing. */
QRT_API void _qrtCheckFreeAll(void);

/* As _qrtCheckMalloc, but a failure is reported as message `number` with `flags`, which as a rule ends the
   run; null when it does not. */
QRT_API void* _qrtMalloc(uint32_t size, int32_t number, uint32_t flags);

/* ------------------------------------------------------------------------------------------------------
 * Hash table of fixed size. Values are addresses that stay the caller's; 0 stands for none.
 * ------------------------------------------------------------------------------------------------------ */

/* Key mode: a node keeps the address of the caller's key. Any other mode copies the key. */
#define QRT_HASH_KEY_BY_REFERENCE 1

/* An empty table of `buckets` chains; null when `buckets` is below 1 or memory is short. */
QRT_API QrtHashTable* _qrt_hash_create(int32_t buckets, int32_t keyMode);

/* Frees every node and the table; not the values. */
QRT_API void _qrt_hash_terminate(QrtHashTable* table);

/* The newest value under the key of `length` bytes, or null. */
QRT_API void* _qrt_hash_find(QrtHashTable* table, const void* key, uint32_t length);

/* Adds a node in front of any other of the same key. 0, or -1 when memory is short. */
QRT_API int32_t _qrt_hash_insert(QrtHashTable* table, const void* key, uint32_t length, void* value);

/* Takes the newest node of the key out. 0, or -1 when there is none. */
QRT_API int32_t _qrt_hash_delete(QrtHashTable* table, const void* key, uint32_t length);

/* The value of the node with that index in table order, or null past the end; counting up costs one step a
   call. The table must not change during a walk. A null table or a negative index gives null. */
QRT_API void* _qrt_hash_next(QrtHashTable* table, int32_t index);

/* Creates a table into `*slot` when that is null. */
QRT_API void _qrtInitHashCreate(QrtHashTable** slot, int32_t buckets, int32_t keyMode);

/* ------------------------------------------------------------------------------------------------------
 * Messages
 * ------------------------------------------------------------------------------------------------------ */

/* Bits of the flags word of the message calls; the low byte is the variant of the text, less one. */
#define QRT_MESSAGE_CONTROL 0x0100u        /* control call; with bit 0x0001 it closes the catalogue */
#define QRT_MESSAGE_KEEP_TRACEBACK 0x0200u /* with QRT_MESSAGE_TEXT: the traceback goes into the text */
#define QRT_MESSAGE_NO_TRACEBACK 0x0400u
#define QRT_MESSAGE_SEVERE 0x0800u      /* counts as severity 2, whatever the text says */
#define QRT_MESSAGE_INFORMATION 0x1000u /* counts as severity 0, whatever the text says */
/* Formats into the caller's buffer: values are its address, its length, then those of the text. */
#define QRT_MESSAGE_TEXT 0x2000u

/* Where a thread stood: what a traceback starts from. */
typedef struct QrtMachineContext {
  uint32_t instructionPointer;
  uint32_t framePointer;
  uint32_t stackPointer;
} QrtMachineContext;

/* A fault, as structured exception handlers get it. */
typedef struct QrtExceptionRecord {
  uint32_t code; /* the signal's number */
  void* address; /* of the instruction at fault */
} QrtExceptionRecord;

/* A fault, as the vectored handler gets it. */
typedef struct QrtExceptionPointers {
  QrtExceptionRecord* record;
  QrtMachineContext* context;
} QrtExceptionPointers;

QRT_DATA void* _qrtExceptionAddress; /* instruction of the last fault while trapping is on; null for none */

/* Guarded. Writes message `number` with `flags` and its values, one word each, to the message stream or the
   host. Severities 2 and 3 end the run, severity 1 does when ERRCOUNT is used up. Returns 0. */
QRT_API int32_t _qrtWriteERRmsg(int32_t number, uint32_t flags, ...);

/* The same without a guard, for use inside one. */
QRT_API int32_t qrtWriteERRmsg(int32_t number, uint32_t flags, ...);

/* The same, with the traceback started from `machine` instead of the current frame; null stands for that. */
QRT_API int32_t qrtWriteERRmsg2(int32_t number, const QrtMachineContext* machine, uint32_t flags, ...);

/* Gives `length` bytes of message text to the host or the message stream. With length 0 nothing is written
   and the line width of the destination comes back, 0 where it sets none; else 0. `room` is the space
   behind the text in the caller's buffer. In a hosted run each line goes to the host by its own, without its
   line end and unterminated. */
QRT_API int32_t _qrtWriteStderr(const char* text, int32_t length, int32_t room);

/* The structured handler of the message writer: a fault during a traceback ends the traceback; any other is
   passed on by the result 1. */
QRT_API int32_t ERRmsgHandler(QrtExceptionRecord* record);

/* Fills `record` with the instruction, frame and stack pointers of its caller. */
QRT_API void context(QrtMachineContext* record);

/* Abnormal end: tells the host, takes the run unit down and ends the process with exit code 3, with 183
   behind a stop-run routine, or, in a hosted run below container level 2, jumps to _qrtJmpCobStart with 1. */
QRT_API void _qrtAbend(void) __attribute__((noreturn));

typedef struct QrtCatalogue QrtCatalogue;

/* Opens the message catalogue of that name through the templates of NLSPATH, or returns null. */
QRT_API QrtCatalogue* _qrtCatopen(const char* name);

/* Closes it; null does nothing. */
QRT_API void _qrtCatclose(QrtCatalogue* catalogue);

/* Traps SIGFPE, SIGILL, SIGINT and SIGSEGV, which are then told by message 995; nothing in a hosted run. */
QRT_API void _qrtSignalInit(void);

/* Gives SIGILL, SIGINT and SIGSEGV their defaults back; nothing in a hosted run. */
QRT_API void _qrtSignalTerminate(void);

/* The vectored handler behind _qrtSignalInit: notes the address in _qrtExceptionAddress and passes the
   exception on by its result 0. */
QRT_API int32_t _qrtExceptHandler(QrtExceptionPointers* exception);

/* How many signals have been trapped. */
QRT_API int32_t gotSignal(void);

/* Kept for old programs: always -1. */
QRT_API int32_t _qrtGetname(uint32_t first, uint32_t second);

/* Writes message 202. */
QRT_API void _qrtnogxm(void);

/* ------------------------------------------------------------------------------------------------------
 * Debugger link
 * ------------------------------------------------------------------------------------------------------ */

QRT_DATA char* _qrtDebugBuf;      /* where DISPLAY puts its text under a debugger; null for the stream */
QRT_DATA int32_t _qrtDebugBufLen; /* bytes of the last such text */

/* 1 while a debugger has set _qrtIsDebuggerLoaded, else 0. */
QRT_API int32_t qrtDebugAttached(void);

/* Hands a message to the routine _debug_start_msg of the module dvtddbg1.dll: `first`, `second` + 1, `third`,
   the code set's name (whatever `codeSet` is) and `text`. The routine's result, or 0 where there is none. */
QRT_API int32_t qrtDebugStartMsg(int32_t first, int32_t second, int32_t third, const char* codeSet,
                                 const char* text);

/* ======================================================================================================
 * Run units, programs and hosts
 *
 * The first _qrtPgmInit of a process brings the library up; the end of the last run unit takes it down. In a
 * plain run the end of a run unit leaves through _qrtJmpCobStart. Hosted run units nest on one stack, and
 * their ends come back to the host: a transaction monitor (_qrtIsTrax alone) or an application-server
 * container (_qrtIsApc, its level). None of these calls is guarded.
 * ====================================================================================================== */

/* The program list entry: one for each program name that a run unit knows. */
struct QrtPlle {
  char inlineName[32]; /* a name of up to 30 bytes, not terminated */
  char* name;          /* inlineName, or a block of its own for a longer name; key in programTable */
  uint32_t nameLength; /* bytes */
  void* entry;         /* address of the program; may be null */
  struct QrtProgramBlock* program; /* the block while the program is bound, else null */
  void* module;                    /* the loaded module; null when it wasn't loaded for this entry */
};

/* A routine of the host in one of its several roles, see _qrtCOBOLInit. */
typedef void (*QrtHostRoutine)(void);

/* Receives messages: flag 1 for one that ends the run, the tag "TCBL", the text and its length in bytes. */
typedef int32_t (*QrtMessageCallback)(int32_t flag, const char* tag, const char* text, int32_t length);

/* Called by an abnormal end in a container, ahead of the end of the process. */
typedef void (*QrtAbnormalEndCallback)(void);

/* What a container wants called at the STOP RUN of one depth of hosted run units. */
typedef struct QrtStopRunPair {
  void (*routine)(void* context, int32_t code); /* must not return; null for none */
  void* context;
} QrtStopRunPair;

#define QRT_STOP_RUN_PAIRS 32 /* pairs in the static table */

QRT_DATA QrtStopRunPair* _qrtApcStopRun; /* pairs by depth; the static table until that is too small */
QRT_DATA int32_t _qrtApcStopRunMax;      /* pairs that _qrtApcStopRun holds */
QRT_DATA QrtStopRunPair _qrtApcStopRunTab[QRT_STOP_RUN_PAIRS];
QRT_DATA int32_t _qrtDebug;                  /* trace level from __QRTDEBUG; 0 for none */
QRT_DATA int32_t _qrt_trax_exit_in_progress; /* not 0: the next exit of a program ends its run unit */

/* Mutexes for callers that serialise around the named services: each word holds the address of a recursive
   pthread_mutex_t that the first _qrtPgmInit of the process makes, null before. They are never closed, and
   the library takes none of them. */
QRT_DATA void* _qrt_init_term_rte_mutex;
QRT_DATA void* accept_mutex;
QRT_DATA void* create_plle_mutex;
QRT_DATA void* display_mutex;
QRT_DATA void* extvar_mutex;
QRT_DATA void* init_hash_mutex;
QRT_DATA void* pgm_count_mutex;
QRT_DATA void* catget_mutex;
QRT_DATA void* iconvt_mutex;
QRT_DATA void* collseq_mutex;
QRT_DATA void* century_window_mutex;

/* Enters a program: binds its block to the run unit at the first entry and counts it as active. Brings the
   process up when it is down; with a null block that is all, and the next program isn't taken for the main
   program. Out of memory is message 907; a year window that the current year is outside of is message 240
   (relative) or 241. */
QRT_API void _qrtPgmInit(struct QrtProgramBlock* program);

/* Leaves a program (GOBACK, EXIT PROGRAM). In the main program this ends the run unit, unless a stop-run
   routine is registered for it. */
QRT_API void _qrtPgmTerm(struct QrtProgramBlock* program);

/* Counters of a program and of the run unit, by the program's first entry: one up, or one down where they are
   above 0. The two Unlock calls do nothing. */
QRT_API void _qrtPgmEnterLock(QrtProgramEntry* program);
QRT_API void _qrtPgmEnterUnlock(void* program);
QRT_API void _qrtPgmExit(QrtProgramEntry* program);
QRT_API void _qrtPgmExitLock(QrtProgramEntry* program);
QRT_API void _qrtPgmExitUnlock(void* program);

/* Opens a run unit on top of the current one. Nothing while the process is down. */
QRT_API void _qrtRunUnitInit(void);

/* STOP RUN. A plain run leaves through _qrtJmpCobStart with `returnCode`, 255 standing for 0; a hosted one
   comes back, or in a container leaves through its stop-run pair, 256 standing for 0. */
QRT_API void _qrtRunUnitTerm(int32_t returnCode);

/* Takes the current run unit down and comes back, except to a stop-run routine of a plain run. */
QRT_API void _qrtCleanUp(void);

/* Closes the files of a program, EXTERNAL ones excepted, and puts it and those nested in it back to their
   initial state. Takes the program's first entry. */
QRT_API void _qrtCloseReset(QrtProgramEntry* program);

/* Calls the main routine of a compiled program with the chain of structured exception handlers as it is now,
   and puts the chain back behind it. Returns what the routine returns. */
QRT_API int32_t _qrtCallMain(int32_t (*routine)(void* argument), void* argument);

/* Opens one of the standard COBOL files unless it is open: "I" SYSIN, "M" messages, "P" SYSPUNCH, "A" console
   in, "D" console out. syspunchFile stays null when no variable names it or it can't be opened; the others
   fall back to the standard streams. Nothing while the process is down. */
QRT_API void _qrtEnvNameInit(char letter);

/* Reads the options in COBRTOPT into the process record, except in hosted mode, and turns trapping on unless
   they say otherwise. A bad option is message 171, 172, 173, 174, 181 or 182, and the next one is read. */
QRT_API void _qrtProcessRteOpts(void);

/* A new program list entry in the current run unit, not yet in programTable; null when memory is short. */
QRT_API QrtPlle* _qrtCreatePLLE(const char* name, uint32_t length);

/* The program list entry of that name; a new one gets `entry` and `module`, one that is there stays as it is.
   Null when memory is short. */
QRT_API QrtPlle* _qrtCreateInsertPLLE(const char* name, uint32_t length, void* entry, void* module);

/* Frees all program list entries of the current run unit. */
QRT_API void _qrtFreePLLE(void);

/* Host interface, by `fcode`.
   - 9, the first call of a container, reads __QRTDEBUG and __COBOL_APC_CONTAINER; `routine` is a
     QrtMessageCallback and `context` a QrtAbnormalEndCallback. *result stays as it is.
   - 10: `routine` goes to _qrtCOBOLApcLoadBind. *result stays as it is.
   - At container level 2 and above, any other: makes `routine` (context, code) the stop-run pair of the
     current depth and opens a hosted run unit. *result is 0, or 1 when memory is short.
   - 1, below that level: registers `routine` (context) as stop-run routine of the run unit, which then
     stays up when its main program returns. *result is 0, or 1 in a hosted run, without a routine, and when
     there is one already.
   - Any other below that level does nothing; *result is 1.
   A stop-run routine must not return: the process then ends with exit code 183. */
QRT_API void _qrtCOBOLInit(int32_t fcode, QrtHostRoutine routine, int32_t* result, void* context);
QRT_API void QRTCOBOLINIT(int32_t fcode, QrtHostRoutine routine, int32_t* result, void* context);
QRT_API void _QrtCOBOLInit(int32_t fcode, QrtHostRoutine routine, int32_t* result, void* context);

/* For a container: what fcode 9 does, the stop-run pair of the current depth, the two callbacks and the bind
   routine, then _qrtCOBOLInit with the first four arguments. */
QRT_API void _qrtCOBOLInit1(int32_t fcode, QrtHostRoutine routine, int32_t* result, void* context,
                            QrtMessageCallback messages, QrtAbnormalEndCallback abnormalEnd,
                            QrtHostRoutine bind);

/* Ends what _qrtCOBOLInit began. Plain and level 1: fcode 1 clears the stop-run routine and takes the run
   unit down; *result is 0, or 1 when there is none. At level 2 and above the current run unit ends, with
   fcode 9 as by _qrtCleanUp; *result is 0. A run that isn't hosted leaves through _qrtJmpCobStart with 1.
   After a trapped signal the process ends with exit code 183, except from a nested run unit. */
QRT_API void _qrtCOBOLTerm(int32_t fcode, int32_t* result);
QRT_API void QRTCOBOLTERM(int32_t fcode, int32_t* result);
QRT_API void _QrtCOBOLTerm(int32_t fcode, int32_t* result);

/* Brings the process up for a host; the next program that is entered becomes the main program. *result is 0,
   or 1 in hosted mode, where nothing is done. */
QRT_API void _qrtCOBOLHostInit(int32_t* result);

/* Stores both; null for none. */
QRT_API void _qrtCOBOLErrorCallbacks(QrtMessageCallback messages, QrtAbnormalEndCallback abnormalEnd);

/* Accepted and ignored. */
QRT_API void _qrtCOBOLApcLoadBind(QrtHostRoutine bind);

/* Mode 1 opens a hosted run unit; `messages` replaces the message callback, a null one not in a container.
   The first one of a process waits for the first _qrtPgmInit. Any other mode makes the next exit of a program
   end the run unit. */
QRT_API void _qrtTraxRunUnit(int32_t mode, QrtMessageCallback messages);

/* Keeps `module` in _qrtTraxModHandle and opens a hosted run unit. */
QRT_API void _qrt_cpm_init(QrtMessageCallback messages, void* module);

/* As _qrtCleanUp. */
QRT_API void _qrt_cpm_cancel(void);

/* STOP RUN with code 1, then out through _qrtJmpCobStart with value 1. */
QRT_API void _qrt_cpm_exit(void) __attribute__((noreturn));

/* ======================================================================================================
 * CALL, CANCEL, EXTERNAL data, and calls to the system
 * ====================================================================================================== */

/* One program that the calling unit itself contains. */
typedef struct QrtCallRow {
  int32_t entryIndex; /* of its program entry in the caller's block, from 1 */
  uint32_t reserved4;
  uint32_t textOffset; /* of its name, counted from the end of the rows */
} QrtCallRow;

/* Call table, laid out by the compiler: the rows, and the texts of the names behind the last of them. */
typedef struct QrtCallTable {
  int32_t rowCount;   /* 0 when nothing is contained */
  QrtCallRow rows[1]; /* as many as rowCount says */
} QrtCallTable;

/* CALL of a name of `nameLength` bytes, which counts without trailing blanks and beyond them to 160 bytes at
   most, in upper case where the caller's block asks for that. The address of the program stands in the first
   word of the result, 0 in the second.
   A name in the call table gives the element of `results`, one for each row, unless that is 0; a row matches
   by the first `nameLength` bytes of its text. Then comes a name that the run unit knows. Any other is looked
   for as the file NAME.dll, in a hosted run ahead of that as NAME.qmccob, in the current directory and in
   those of COBPATH, a list separated by ";"; the module's routine NAME is the program. The module stays
   loaded to the end of the run unit.
   A program that isn't found gives 0. `exceptions` is never null: when the word isn't 0 the CALL has an ON
   EXCEPTION or ON OVERFLOW phrase, and a failure adds 1 to it; when it is 0 message 96 tells of the failure
   by its variant: 1 the module can't be loaded, 3 out of memory, 4 COBPATH isn't set, 5 no such routine in
   the module, 6 the name is blank, 7 no such file. Guarded. */
QRT_API uint64_t _qrtDynLd(const QrtCallTable* table, int32_t nameLength, const char* name,
                           QrtProgramBlock* caller, const uint64_t* results, uint32_t* exceptions);

/* Guarded. CANCEL of a program by its name, in the call table or in the run unit: closes its files and puts
   it back to its initial state. The module stays. 1 when the program is active, and nothing is done, else 0,
   also for a name that isn't known. */
QRT_API int32_t _qrtCancel(const QrtCallTable* table, int32_t nameLength, const char* name,
                           QrtProgramBlock* caller);

/* The entry, in the array of program entries that starts with `first`, of the row of that name; null when no
   row matches. */
QRT_API QrtProgramEntry* _qrtSrchCancall(const QrtCallTable* table, int32_t nameLength, const char* name,
                                         QrtProgramEntry* first);

/* One EXTERNAL item. */
typedef struct QrtExternalItem {
  uint32_t size; /* bytes */
  char name[32]; /* terminated; must stay valid for the run unit */
} QrtExternalItem;

/* The EXTERNAL items of a program. */
typedef struct QrtExternalList {
  int32_t count;
  uint8_t reserved4[32];
  QrtExternalItem items[1]; /* as many as count says */
} QrtExternalList;

/* Guarded. Puts the address of each item's data into its slot. The first program of the run unit that names
   an item makes it, uninitialised; the data goes with the run unit. An item of another size than before is
   message 66, out of memory is message 907; both end the run. */
QRT_API void _qrtExtVarInit(const QrtExternalList* list, void** slots);

/* Guarded. Copies a name of `length` bytes and ends it with a zero byte at its first blank or, without one,
   behind it. The destination has `length` + 1 bytes. */
QRT_API void _qrtMoveMethodName(char* destination, const char* source, uint32_t length);

/* Runs a program, without a shell, and waits for its end. Words are separated by runs of blanks outside
   double quotes, and a run of blanks at the end makes an empty word more. The first word names the program,
   found along PATH when it is a bare name, and loses its quotes; the others keep theirs. Returns the
   program's exit status, 128 and the signal's number when a signal ended it; -1 when it can't be started, and
   for a line of more than 511 bytes or 19 words. */
QRT_API int32_t _qrtcSystem(const char* line);

/* Bytes that the result of _qrtcRegistry must have room for. */
#define QRT_REGISTRY_RESULT 256

/* Reads a value of the registry: a tree of directories with a file of one line for each value, in the
   directory that the variable QRT_REGISTRY names, else in .config/qrtrlib/registry of the home directory.
   `key` is "HIVE#subkey#value" with the hive HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER or HKEY_USERS, a subkey
   with its parts separated by "\" or "/", and at most 255 bytes for each of the three. The value goes
   terminated to `result`, which has QRT_REGISTRY_RESULT bytes. Returns `result`, or null when there is no
   such value or it has more than 255 bytes; `result` is then as it was. */
QRT_API char* _qrtcRegistry(const char* key, char* result);

/* Sets `count` bytes to `value`. Returns the destination. */
QRT_API void* qrtmemset(void* destination, uint8_t value, uint32_t count);

/* What the program qrtrun passes to a main program by the argument of _qrtCallMain: the arguments behind "--"
   on its command line. */
typedef struct QrtMainArguments {
  int32_t count;
  char** texts; /* terminated */
} QrtMainArguments;

/* ------------------------------------------------------------------------------------------------------
 * The program cache keeps modules loaded between run units, for a host that runs many short ones in one
 * process. It is one block: a header, and entries of varying length carved out behind it. An entry stays
 * where it is until the next load, which may make room by compaction, by growing or by evicting the entry
 * that was least recently used. The environment variables COB_CPM_SIZE_MIN and COB_CPM_SIZE_MAX set the size
 * in kilobytes, 32 and 1,024 by default; a largest size of 0 turns the cache off. None of these calls is
 * guarded, and none writes a message.
 * ------------------------------------------------------------------------------------------------------ */

/* Bits of QrtCacheEntry.flags. */
#define QRT_CACHED_LOADED 0x01u        /* holds a loaded program */
#define QRT_CACHED_UNLOAD_WANTED 0x02u /* goes when its last use is given back */
#define QRT_CACHED_FREE 0x04u          /* on the free list */
#define QRT_CACHED_EVICTING 0x08u

/* One program. Its size in the block is 44 bytes and the room of its name. */
typedef struct QrtCacheEntry {
  struct QrtCacheEntry* lru_next; /* towards the least recently used; also next on the free list */
  struct QrtCacheEntry* lru_prev;
  struct QrtCacheEntry* hash_next;
  struct QrtCacheEntry* hash_prev;
  void* load_point;   /* module; null for a program of the main module, or when unloaded */
  void* entry_point;  /* address of the program */
  uint32_t name_size; /* room for the name: its length + 1, rounded up to a multiple of 4 */
  uint32_t name_len;
  int32_t use_count; /* the host's: only taken from by the library */
  uint32_t flags;
  char name[4]; /* name_size bytes, terminated */
} QrtCacheEntry;

/* Bits of QrtProgramCache.flags. */
#define QRT_CACHE_COMPACT 0x01u     /* the last compaction won nothing, and nothing changed since */
#define QRT_CACHE_LARGEST 0x02u     /* at its largest size */
#define QRT_CACHE_RESIZING 0x04u    /* a resize is under way */
#define QRT_CACHE_STATISTICS 0x08u  /* statistics are being printed */
#define QRT_CACHE_DESTROYING 0x10u  /* entries are unloaded whatever their use_count */
#define QRT_CACHE_MAKING_ROOM 0x20u /* room for an entry is being made */
#define QRT_CACHE_SLOTS_VALID 0x40u /* the slot table is valid */

#define QRT_CACHE_SLOTS 256

/* The header of the cache. */
typedef struct QrtProgramCache {
  char magic[4]; /* "cpm " */
  QrtCacheEntry* lru_head;
  QrtCacheEntry* lru_tail;
  QrtCacheEntry* free_head; /* by rising name_size */
  void* dlopen;             /* the main module; null until first use, and after _qrt_cpm_forget */
  uint32_t flags;
  uint32_t min;     /* size at the start, in bytes */
  uint32_t max;     /* size from which on it doesn't grow */
  uint32_t size;    /* of the block as it is */
  uint32_t left;    /* bytes not carved yet */
  char* next;       /* where the next entry is carved */
  uint32_t entries; /* on the list of use */
  uint32_t free;    /* on the free list */
  uint32_t reuses;  /* loads served by the cache or by a free entry */
  uint32_t skipped; /* loads that failed */
  uint32_t evicts;
  uint32_t compacts;
  uint32_t resizes;
  uint32_t slots; /* in use */
  uint32_t chain; /* longest one walked so far, in entries */
  QrtCacheEntry* slot[QRT_CACHE_SLOTS];
} QrtProgramCache;

QRT_DATA QrtProgramCache* cpm_anchor; /* the cache; null for none */
QRT_DATA int32_t cpm_status;          /* 1 enabled, 0 disabled; for hosts */

/* The cache, made by the first call. Null when it is turned off; and when memory is short, which is told on
   standard error. */
QRT_API QrtProgramCache* _qrt_cpm_create(void);

/* Unloads all programs and frees the cache. The end of a process that isn't hosted does this. */
QRT_API void _qrt_cpm_destroy(void);

/* The entry of a program, loaded if need be and now the most recently used; null when it can't be loaded, or
   there is no cache. The name is taken as it stands, up to 1,023 bytes. The program is looked for in the main
   module; then, with COBPATH set, as the file NAME (in a hosted run NAME.qmccob ahead of it) in the
   directories of COBPATH, where the first that can be read counts; when there is none, by that bare name as
   modules are looked for, NAME without an extension standing for NAME.dll. The module's routine NAME is the
   program. */
QRT_API QrtCacheEntry* _qrt_cpm_load(const char* name);
QRT_API QrtCacheEntry* _qrt_cpm_load2(const char* name, uint32_t length);

/* 1 when the cache has the program, and no unload is wanted of it, else 0. */
QRT_API int32_t _qrt_cpm_cached(const char* name);
QRT_API int32_t _qrt_cpm_cached2(const char* name, uint32_t length);

/* Gives one use back; a program that is to be unloaded goes with the last one. 1 when the cache has the
   program, else 0. */
QRT_API int32_t _qrt_cpm_free(const char* name);
QRT_API int32_t _qrt_cpm_free2(const char* name, uint32_t length);
QRT_API void _qrt_cpm_free_all(void);

/* Unloads a program, or, while it is in use, notes that it is to be unloaded; it is then no longer found by a
   load. 1 when the cache has the program, else 0. */
QRT_API int32_t _qrt_cpm_unload(const char* name);
QRT_API int32_t _qrt_cpm_unload2(const char* name, uint32_t length);
QRT_API void _qrt_cpm_unload_all(void);

/* Set cpm_status. */
QRT_API void _qrt_cpm_enable(void);
QRT_API void _qrt_cpm_disable(void);

/* Forgets the main module, at the end of each run unit. */
QRT_API void _qrt_cpm_forget(void);

/* Prints the statistics of the cache, if there is one, on standard error. */
QRT_API void _qrt_cpm_stats(void);

/* Kept for hosts: nothing is changed by it. */
QRT_API void _qrt_cpm_call_hook(void);

/* For calls from COBOL; the name is terminated. */
QRT_API void QRT_CPM_ENABLE(void);
QRT_API void QRT_CPM_DISABLE(void);
QRT_API void QRT_CPM_STATS(void);
QRT_API int32_t QRT_CPM_UNLOAD(const char* name);
QRT_API void QRT_CPM_UNLOAD_ALL(void);

/* ======================================================================================================
 * Decimal data
 *
 * Packed: digits/2 + 1 bytes, two digits a byte, the sign in the last low nibble: 0xC or 0xD as results, 0xA,
 * 0xC, 0xE, 0xF positive and 0xB, 0xD negative as operands.
 * Zoned: one ASCII digit a byte; the sign is an overpunch of the last (TO) or first (LO) digit, bit 0x40 of
 * that byte standing for minus, or a separate "+" or "-" behind (TS) or ahead of (LS) the digits; US has
 * none.
 * ====================================================================================================== */

/* In the entries of this section `op1Digits`, `sourceDigits`... count decimal digits. Results that don't fit
   are cut on the left without a report. A result may lie on an operand of the same address and length.
   Arithmetic checks its operands first and reports a sign nibble below 10 as message 39, a digit nibble above
   9 as message 903; compares, shifts and zoned operands aren't checked. */

/* Guarded. op1 plus op2; op1 minus op2; op1 times op2. Return `result`, also when caught. Operands of SUB,
   and of ADD with unlike signs, have at most 63 digits, those of MPY at most 63 without leading zeros. */
QRT_API uint8_t* _qrtcBCD_ADD_Pckd(const uint8_t* op1, const uint8_t* op2, uint8_t* result,
                                   int32_t resultDigits, int32_t op2Digits, int32_t op1Digits);
QRT_API uint8_t* _qrtcBCD_SUB_Pckd(const uint8_t* op1, const uint8_t* op2, uint8_t* result,
                                   int32_t resultDigits, int32_t op2Digits, int32_t op1Digits);
QRT_API uint8_t* _qrtcBCD_MPY_Pckd(const uint8_t* op1, const uint8_t* op2, uint8_t* result,
                                   int32_t resultDigits, int32_t op2Digits, int32_t op1Digits);

/* Guarded. The integer quotient, truncated towards zero. Returns `quotient`, also when caught. The dividend
   has at most 91 digits without leading zeros. A zero divisor is message 902 and leaves the quotient as it
   was. */
QRT_API uint8_t* _qrtcBCD_DIV_Pckd(const uint8_t* dividend, const uint8_t* divisor, uint8_t* quotient,
                                   int32_t quotientDigits, int32_t divisorDigits, int32_t dividendDigits);

/* Guarded. The same with the remainder, which takes the sign of the dividend. A zero divisor leaves both as
   they were. A remainder of a dividend shorter than the divisor keeps the dividend's sign nibble. */
QRT_API void _qrtcBCD_DIVR_Pckd(const uint8_t* dividend, const uint8_t* divisor, uint8_t* quotient,
                                uint8_t* remainder, int32_t remainderDigits, int32_t quotientDigits,
                                int32_t divisorDigits, int32_t dividendDigits);

/* Guarded. The source without its sign; with the other sign. The destination receives as many bytes as the
   source has, whatever destinationDigits says. Return `destination`, also when caught. */
QRT_API uint8_t* _qrtcBCD_ABS_Pckd(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                                   int32_t sourceDigits);
QRT_API uint8_t* _qrtcBCD_NEG_Pckd(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                                   int32_t sourceDigits);

/* Guarded. 1 when the relation of op1 to op2 holds, else 0, also when caught. -0 equals +0. */
QRT_API int32_t _qrtcBCD_EQU_Pckd(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits,
                                  int32_t op1Digits);
QRT_API int32_t _qrtcBCD_NEQ_Pckd(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits,
                                  int32_t op1Digits);
QRT_API int32_t _qrtcBCD_GRT_Pckd(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits,
                                  int32_t op1Digits);
QRT_API int32_t _qrtcBCD_GEQ_Pckd(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits,
                                  int32_t op1Digits);
QRT_API int32_t _qrtcBCD_LES_Pckd(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits,
                                  int32_t op1Digits);
QRT_API int32_t _qrtcBCD_LEQ_Pckd(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits,
                                  int32_t op1Digits);

/* Guarded. 1 when the value is zero, else 0, also when caught. */
QRT_API int32_t _qrtcBCD_NOT_Pckd(const uint8_t* op, int32_t opDigits);

/* Guarded. The source times 10 to the `shift`, with its sign nibble as it is; the source without its `shift`
   low-order digits, cut, or rounded by the highest digit dropped, half away from zero. Return `destination`,
   null when caught. `shift` is 0 or above. */
QRT_API uint8_t* _qrtcBCD_SHFD_Pckd_Left(const uint8_t* source, uint8_t* destination,
                                         int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_Pckd_Right(const uint8_t* source, uint8_t* destination,
                                          int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_Pckd_RightRnd(const uint8_t* source, uint8_t* destination,
                                             int32_t destinationDigits, int32_t sourceDigits, int32_t shift);

/* Guarded. The same on zoned items. To the left destinationDigits must be sourceDigits + shift; to the right
   the first destinationDigits digits of the source stay and `shift` isn't used. Return `destination`, null
   when caught. */
QRT_API uint8_t* _qrtcBCD_SHFD_ZndLO_Left(const uint8_t* source, uint8_t* destination,
                                          int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_ZndLO_Right(const uint8_t* source, uint8_t* destination,
                                           int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_ZndLS_Left(const uint8_t* source, uint8_t* destination,
                                          int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_ZndLS_Right(const uint8_t* source, uint8_t* destination,
                                           int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_ZndTO_Left(const uint8_t* source, uint8_t* destination,
                                          int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_ZndTO_Right(const uint8_t* source, uint8_t* destination,
                                           int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_ZndTS_Left(const uint8_t* source, uint8_t* destination,
                                          int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_ZndTS_Right(const uint8_t* source, uint8_t* destination,
                                           int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_ZndUS_Left(const uint8_t* source, uint8_t* destination,
                                          int32_t destinationDigits, int32_t sourceDigits, int32_t shift);
QRT_API uint8_t* _qrtcBCD_SHFD_ZndUS_Right(const uint8_t* source, uint8_t* destination,
                                           int32_t destinationDigits, int32_t sourceDigits, int32_t shift);

/* 1 when every nibble of the item, the spare one of an even count included, is a digit and the last one a
   sign; else 0. */
QRT_API int32_t _Is_Valid_Pckd_BCD(const uint8_t* item, int32_t digits);

/* -1, 0 or 1 for op1 below, equal to or above op2. */
QRT_API int32_t _Compare_Pckd_BCD(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits,
                                  int32_t op1Digits);

/* The sum of two magnitudes, lengths in bytes, `longBytes` not below `shortBytes`. The result is given a
   minus when `negative` isn't 0 and the sum isn't zero; a spare nibble isn't cleared. */
QRT_API void packed_add(const uint8_t* longer, int32_t longBytes, const uint8_t* shorter, int32_t shortBytes,
                        uint8_t* result, int32_t resultBytes, int32_t negative);

/* Packs the low-order digits of zoned bytes, zones and all, into a positive packed item; unpacks the
   low-order digits of a packed item, whatever its sign, into plain zoned bytes. `*nonZero` is 0 when only
   zeros were moved, not 0 otherwise. Source and destination don't overlap. */
QRT_API void _Convert_Znd_To_Pckd(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                                  int32_t sourceDigits, uint32_t* nonZero);
QRT_API void _Convert_Pckd_To_ZndUS(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                                    int32_t sourceDigits, uint32_t* nonZero);

/* ------------------------------------------------------------------------------------------------------
 * Conversions of decimal data. All are guarded; what comes back after a caught failure isn't defined. The
 * low-order digits are moved: what is too long is cut on the left without a report, what is too short is
 * filled with zeros on the left, and nothing is rounded. A value whose moved digits are all zero is positive.
 * Source and destination don't overlap. Bad packed data is reported as message 39 (sign) or 903 (digit), a
 * separate sign that is neither "+" nor "-" as 40; then the conversion goes on. Zoned digits aren't checked.
 * ------------------------------------------------------------------------------------------------------ */

/* The shape of the conversions between decimal forms; each returns destination. */
typedef uint8_t* QrtDecimalConversion(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                                      int32_t sourceDigits);

/* Packed to zoned. ZndLS alone keeps the "-" of a negative zero. */
QRT_API QrtDecimalConversion _qrtcBCD_CONV_Pckd_To_ZndTO, _qrtcBCD_CONV_Pckd_To_ZndTS,
    _qrtcBCD_CONV_Pckd_To_ZndLO, _qrtcBCD_CONV_Pckd_To_ZndLS, _qrtcBCD_CONV_Pckd_To_ZndUS;

/* Zoned to packed. */
QRT_API QrtDecimalConversion _qrtcBCD_CONV_ZndTO_To_Pckd, _qrtcBCD_CONV_ZndTS_To_Pckd,
    _qrtcBCD_CONV_ZndLO_To_Pckd, _qrtcBCD_CONV_ZndLS_To_Pckd, _qrtcBCD_CONV_ZndUS_To_Pckd;

/* Zoned to zoned. Zones of digits travel with them, apart from the one that holds the sign; the zone of an
   overpunched sign goes to an overpunched target as it stands, and a separate sign byte to a separate target.
   A target without sign, or a source without one, looks at no sign byte. */
QRT_API QrtDecimalConversion _qrtcBCD_CONV_ZndTO_To_ZndTO, _qrtcBCD_CONV_ZndTO_To_ZndTS,
    _qrtcBCD_CONV_ZndTO_To_ZndLO, _qrtcBCD_CONV_ZndTO_To_ZndLS, _qrtcBCD_CONV_ZndTO_To_ZndUS;
QRT_API QrtDecimalConversion _qrtcBCD_CONV_ZndTS_To_ZndTO, _qrtcBCD_CONV_ZndTS_To_ZndTS,
    _qrtcBCD_CONV_ZndTS_To_ZndLO, _qrtcBCD_CONV_ZndTS_To_ZndLS, _qrtcBCD_CONV_ZndTS_To_ZndUS;
QRT_API QrtDecimalConversion _qrtcBCD_CONV_ZndLO_To_ZndTO, _qrtcBCD_CONV_ZndLO_To_ZndTS,
    _qrtcBCD_CONV_ZndLO_To_ZndLO, _qrtcBCD_CONV_ZndLO_To_ZndLS, _qrtcBCD_CONV_ZndLO_To_ZndUS;
QRT_API QrtDecimalConversion _qrtcBCD_CONV_ZndLS_To_ZndTO, _qrtcBCD_CONV_ZndLS_To_ZndTS,
    _qrtcBCD_CONV_ZndLS_To_ZndLO, _qrtcBCD_CONV_ZndLS_To_ZndLS, _qrtcBCD_CONV_ZndLS_To_ZndUS;
QRT_API QrtDecimalConversion _qrtcBCD_CONV_ZndUS_To_ZndTO, _qrtcBCD_CONV_ZndUS_To_ZndTS,
    _qrtcBCD_CONV_ZndUS_To_ZndLO, _qrtcBCD_CONV_ZndUS_To_ZndLS, _qrtcBCD_CONV_ZndUS_To_ZndUS;

/* Packed to integer, modulo the width of the integer; the unsigned ones take the magnitude. Only the
   eight-byte ones store their result, at any alignment. */
QRT_API int8_t _qrtcBCD_CONV_Pckd_To_Int1(const uint8_t* source, int32_t sourceDigits);
QRT_API uint8_t _qrtcBCD_CONV_Pckd_To_Uns1(const uint8_t* source, int32_t sourceDigits);
QRT_API int16_t _qrtcBCD_CONV_Pckd_To_Int2(const uint8_t* source, int32_t sourceDigits);
QRT_API uint16_t _qrtcBCD_CONV_Pckd_To_Uns2(const uint8_t* source, int32_t sourceDigits);
QRT_API int32_t _qrtcBCD_CONV_Pckd_To_Int4(const uint8_t* source, int32_t sourceDigits);
QRT_API uint32_t _qrtcBCD_CONV_Pckd_To_Uns4(const uint8_t* source, int32_t sourceDigits);
QRT_API void _qrtcBCD_CONV_Pckd_To_Int8(const uint8_t* source, int32_t sourceDigits, int64_t* result);
QRT_API void _qrtcBCD_CONV_Pckd_To_Uns8(const uint8_t* source, int32_t sourceDigits, uint64_t* result);

/* Integer to packed; each returns destination. */
QRT_API uint8_t* _qrtcBCD_CONV_Int1_To_Pckd(int8_t value, uint8_t* destination, int32_t destinationDigits);
QRT_API uint8_t* _qrtcBCD_CONV_Uns1_To_Pckd(uint8_t value, uint8_t* destination, int32_t destinationDigits);
QRT_API uint8_t* _qrtcBCD_CONV_Int2_To_Pckd(int16_t value, uint8_t* destination, int32_t destinationDigits);
QRT_API uint8_t* _qrtcBCD_CONV_Uns2_To_Pckd(uint16_t value, uint8_t* destination, int32_t destinationDigits);
QRT_API uint8_t* _qrtcBCD_CONV_Int4_To_Pckd(int32_t value, uint8_t* destination, int32_t destinationDigits);
QRT_API uint8_t* _qrtcBCD_CONV_Uns4_To_Pckd(uint32_t value, uint8_t* destination, int32_t destinationDigits);
QRT_API uint8_t* _qrtcBCD_CONV_Int8_To_Pckd(int64_t value, uint8_t* destination, int32_t destinationDigits);
QRT_API uint8_t* _qrtcBCD_CONV_Uns8_To_Pckd(uint64_t value, uint8_t* destination, int32_t destinationDigits);

/* Packed to float: the value times 10 to the -scale, for scales from -31 to 31. Single and double show a
   negative zero. Extended takes about 20 digits into account, becomes infinite above 1.001e31 and 0 below
   1e-19. */
QRT_API float _qrtcBCD_CONV_Pckd_To_SFlt(const uint8_t* source, int32_t sourceDigits, int32_t scale);
QRT_API double _qrtcBCD_CONV_Pckd_To_LFlt(const uint8_t* source, int32_t sourceDigits, int32_t scale);
QRT_API long double _qrtcBCD_CONV_Pckd_To_EFlt(const uint8_t* source, int32_t sourceDigits, int32_t scale);

/* Float to packed: the value times 10 to the -scale, cut to a whole number, so that the scale has the
   opposite sign of the way back; each returns destination. A magnitude below 1e-19 or above 10 to the
   (destinationDigits + 19), and a NaN, gives zero. In a field that has more than 10 bytes behind its first
   byte with a digit, or is too short for the value, the digits that the mantissa can't tell are cleared. */
QRT_API uint8_t* _qrtcBCD_CONV_SFlt_To_Pckd(float value, uint8_t* destination, int32_t destinationDigits,
                                            int32_t scale);
QRT_API uint8_t* _qrtcBCD_CONV_LFlt_To_Pckd(double value, uint8_t* destination, int32_t destinationDigits,
                                            int32_t scale);
QRT_API uint8_t* _qrtcBCD_CONV_EFlt_To_Pckd(long double value, uint8_t* destination,
                                            int32_t destinationDigits, int32_t scale);

/* ------------------------------------------------------------------------------------------------------
 * Eight-byte integers: two's complement, low word first, by address at any alignment. None of these is
 * guarded, none reports a message, and a result may lie on an operand.
 * ------------------------------------------------------------------------------------------------------ */

/* a plus b, and a minus b, modulo 2 to the 64th. */
QRT_API void _qrtAdd8to4(int64_t* result, const int64_t* a, int32_t b);
QRT_API void _qrtAdd8to8(int64_t* result, const int64_t* a, const int64_t* b);
QRT_API void _qrtSub8from8(int64_t* result, const int64_t* a, const int64_t* b);

/* a times b modulo 2 to the 64th. 0, or -1 when the magnitude of the product needs more than 64 bits; a
   magnitude from 2 to the 63rd up wraps and gives 0. */
QRT_API int32_t _qrtMult8by4(int64_t* result, const int64_t* a, int32_t b);
QRT_API int32_t _qrtMult8by8(int64_t* result, const int64_t* a, const int64_t* b);
QRT_API int32_t _qrtMult8by8u(uint64_t* result, const uint64_t* a, const uint64_t* b);

/* Quotient, cut towards zero, and remainder with the sign of the dividend. 0; with nothing written, 1 for a
   zero divisor and -1 for the lowest value divided by -1. */
QRT_API int32_t _qrtDiv8by2(int64_t* quotient, int32_t* remainder, const int64_t* dividend, int16_t divisor);
QRT_API int32_t _qrtDiv8by2u(uint64_t* quotient, uint32_t* remainder, const uint64_t* dividend,
                             uint16_t divisor);
QRT_API int32_t _qrtDiv8by4(int64_t* quotient, int64_t* remainder, const int64_t* dividend, int32_t divisor);
QRT_API int32_t _qrtDiv8by8(int64_t* quotient, int64_t* remainder, const int64_t* dividend,
                            const int64_t* divisor);
QRT_API int32_t _qrtDiv8by8u(uint64_t* quotient, uint64_t* remainder, const uint64_t* dividend,
                             const uint64_t* divisor);

/* Negates in place; the lowest value stays as it is. */
QRT_API void _qrtNeg8(int64_t* value);

/* The decimal text of a value, terminated: at most 21 bytes. */
QRT_API void _qrtConv8toStr(char* buffer, const int64_t* value);

/* The value cut towards zero. 0, or -1 for a magnitude from 2 to the 60th up, with the low 64 bits of the
   whole value in the result; an infinity or NaN stores 0. */
QRT_API int32_t _qrtConvDblto8(int64_t* result, double value);

/* The nearest single or double of a signed or (u) unsigned value. */
QRT_API void _qrtConv8toFlt(float* result, const int64_t* value);
QRT_API void _qrtConv8utoFlt(float* result, const uint64_t* value);
QRT_API void _qrtConv8toDbl(double* result, const int64_t* value);
QRT_API void _qrtConv8utoDbl(double* result, const uint64_t* value);

/* ------------------------------------------------------------------------------------------------------
 * The ** operator. All are guarded. `sizeError` is never null: when the word isn't 0 the statement has an ON
 * SIZE ERROR phrase, and an error adds 1 to it; when it is 0 the error is reported as a message. An
 * eight-byte operand goes by address, at any alignment.
 * ------------------------------------------------------------------------------------------------------ */

/* base ** exponent in floating point. Zero to the power zero is an error (49) and gives 1, zero to a negative
   power one (50) and gives 0; a negative base with a fractional exponent is one (48) and gives the power of
   the magnitude; so is an infinite result (58). */
QRT_API double _qrtExpFloat4Float4(float base, float exponent, uint32_t* sizeError);
QRT_API double _qrtExpFloat8Float8(double base, double exponent, uint32_t* sizeError);
QRT_API long double _qrtExpFloat16Float8(long double base, double exponent, uint32_t* sizeError);
QRT_API double _qrtExpFloat4Int4(float base, int32_t exponent, uint32_t* sizeError);
QRT_API double _qrtExpFloat8Int8(double base, const int64_t* exponent, uint32_t* sizeError);
QRT_API long double _qrtExpFloat16Int8(long double base, const int64_t* exponent, uint32_t* sizeError);
QRT_API double _qrtExpInt4Int4(int32_t base, int32_t exponent, uint32_t* sizeError);
QRT_API double _qrtExpInt8Int8(const int64_t* base, const int64_t* exponent, uint32_t* sizeError);

/* The operands of a decimal power: counts of digits. */
typedef struct QrtExponentiation {
  int16_t exponentDigits;
  int16_t reserved1[2];
  int16_t baseDigits;
  int16_t baseFraction; /* of them after the decimal point */
  int16_t reserved5;
  int16_t resultDigits;
  int16_t resultFraction; /* of them after the decimal point */
  int16_t resultIntegers; /* of them before it */
} QrtExponentiation;

/* base ** exponent in decimal, exact up to 31 digits, on zoned items with a leading separate sign; the
   exponent is a whole number, the base has at most 31 digits without leading zeros. Fraction digits beyond
   the result's are cut. The result may lie on an operand. It is left as it was after message 60 (an
   intermediate result of more than 31 digits, also counted), 61 (reciprocal of a power that was cut to zero),
   a counted zero to the power zero (49) or to a negative power (50), and a counted result with too many
   integer digits, which with the word 0 is cut on the left. Of an exponent with more than 9 digits (59) the
   last 9 count. */
QRT_API void _qrtcExpFixedPt(const QrtExponentiation* control, const uint8_t* exponent, const uint8_t* base,
                             uint8_t* result, uint32_t* sizeError);

/* ------------------------------------------------------------------------------------------------------
 * Hexadecimal floats. The value is fraction * 16 ** (exponent - 64), the fraction below 1;
 * an item is one little-endian integer of 4 or 8 bytes: a sign bit, 7 bits of exponent, the fraction. Where
 * bits don't fit they are cut off. An item of 4 bytes goes by value, one of 8 by address, at any alignment.
 * The faults are 53, overflow, also of an infinity, and 54, a NaN; the result is then left as it was. A _qrtc
 * entry reports a fault as the message of that number, through _qrtWriteERRmsg, and gives 0 where it returns
 * its result; a _qrtd entry returns 0 or the fault and reports nothing.
 * ------------------------------------------------------------------------------------------------------ */

/* To IEEE. An item whose fraction, or whose higher or only word but for the sign, is zero gives 0; so does a
   value too small for a single, which keeps its sign. A single whose exponent field comes to 0 is stored with
   that field and the 23 bits behind the first one. */
QRT_API double _qrtcConvHex8toIEEE(const void* item);
QRT_API float _qrtcConvHex4toIEEE(uint32_t item);
QRT_API int32_t _qrtdConvHex4toIEEE(uint32_t item, float* value);

/* To hexadecimal, normalized. A zero, and a double whose higher word but for the sign is zero, gives zero
   bytes; a value too small gives zero bytes but for its sign. */
QRT_API void _qrtcConvIEEE8toHex(double value, void* item);
QRT_API int32_t _qrtdConvIEEE8toHex(double value, void* item);
QRT_API uint32_t _qrtcConvIEEE4toHex(float value);
QRT_API int32_t _qrtdConvIEEE4toHex(float value, uint32_t* item);

/* ------------------------------------------------------------------------------------------------------
 * External floating-point items: text of a mantissa sign, digits, a decimal point, digits, "E", an exponent
 * sign and two exponent digits.
 * ------------------------------------------------------------------------------------------------------ */

/* The item that a float is moved to. */
typedef struct QrtExternalFloat {
  int16_t length;       /* 0: bytes of the item; negative when no decimal point is stored */
  int16_t after;        /* 2: digits of the mantissa behind the point */
  int16_t before;       /* 4: digits ahead of it; together 1 to 64, further ones are shown as zeros */
  uint8_t mantissaSign; /* 6: "+", or "-" for a space in the place of "+" */
  uint8_t exponentSign; /* 7: the same for the exponent */
  uint8_t decimalPoint; /* 8 */
} QrtExternalFloat;

/* The item that a float is taken from. */
typedef struct QrtExternalFloatSource {
  int16_t length; /* 0: bytes of the item; negative when no decimal point is stored */
  int16_t reserved2;
  int16_t before;     /* 4: digits of the mantissa ahead of the point */
  int16_t targetSize; /* 6: bytes of the float, 4 or 8; any other is extended */
} QrtExternalFloatSource;

/* Guarded. Writes a double or an extended value, at any alignment, with its mantissa rounded to the item's
   digits. The exponent of a zero is 0, and its sign "+"; one of more than two digits is written whole. An
   infinity is the sign and "INFINITY", a NaN the sign and "NAN". What is too long is cut at the item's
   length, spaces fill what is left. */
QRT_API void _qrtcConvIntFltToExtFlt(const QrtExternalFloat* control, const void* value,
                                     uint8_t* destination);
QRT_API void _qrtcConvIntEFltToExtFlt(const QrtExternalFloat* control, const void* value,
                                      uint8_t* destination);

/* Guarded. Reads an item. "." and "," are points, "E" may be small, and bytes that aren't expected are passed
   over; an "E" ahead of all digits ends the text, and a text without digits is 0. Without a stored point the
   first digit from byte before + 1 on, counted from 0, stands behind the point. The value is the nearest long
   double, rounded once more to the target; an extended one takes 16 bytes, the last 6 of them zero.
   0; 1, underflow: 0 is stored; 2, overflow: the largest value of the target's size is stored, with the sign.
   `report` not 0 reports these as messages 55 and 53. */
QRT_API int32_t _qrtcConvExtFltToIntFlt(const QrtExternalFloatSource* control, const uint8_t* text,
                                        void* destination, int32_t report);

/* ======================================================================================================
 * MOVE and editing
 *
 * A picture record holds a PICTURE with one byte for each character position. Numeric sources come with a
 * sign byte, "+" or "-", ahead of their digits, and numeric results get theirs behind: scaling and alignment
 * are done. Items, sources and pictures don't overlap, except in _qrtcMoveVarLenOverlap.
 * ====================================================================================================== */

/* Picture of an alphanumeric-edited item. "0", "/", " " and the pair 0x81 0x40, the double-byte blank, are
   inserted as they stand; any other element takes a byte of the source. */
typedef struct QrtAlphaNumEditPicture {
  int16_t elementCount; /* 0: elements; the double-byte blank counts as one */
  uint8_t repeat;       /* 2: not 0 starts the source again when it runs out; 0 goes on with spaces */
  uint8_t elements[1];  /* 3: the elements, as many as there are */
} QrtAlphaNumEditPicture;

/* A UTF-16 character for `count` positions: an insertion as above, or positions that take source characters.
   A count below 1 is none. */
typedef struct QrtUnicodeEditRun {
  uint16_t character;
  int16_t count;
} QrtUnicodeEditRun;

/* Picture of a national-edited item. */
typedef struct QrtUnicodeEditPicture {
  int16_t size;              /* 0: bytes of runs */
  uint8_t repeat;            /* 2: as in QrtAlphaNumEditPicture */
  uint8_t reserved3;         /* 3 */
  QrtUnicodeEditRun runs[1]; /* 4: the runs, as many as there are */
} QrtUnicodeEditPicture;

/* Values of QrtNumEditPicture.editKind. The letters tell what a sign position prints: S the source's sign, M
   a space for "+" and "-" for anything else, neither a space. */
#define QRT_EDIT_PLAIN 1
#define QRT_EDIT_S 2 /* 4 and 5 too */
#define QRT_EDIT_M 3
#define QRT_EDIT_S_FLOATING_SIGN 6 /* 8 too, with another zero rule */
#define QRT_EDIT_M_FLOATING_SIGN 7 /* 9 too, with another zero rule */
#define QRT_EDIT_S_FLOATING_CURRENCY 10
#define QRT_EDIT_M_FLOATING_CURRENCY 11
#define QRT_EDIT_FLOATING_CURRENCY 12

/* Picture of a numeric-edited item, for moves to it. The characters are "9", "Z", "*", "$", "+", "-", "0",
   "/", " ", ".", ",", "V", "P" and the pairs "CR" and "DB"; anything else counts as one of these pairs. "P"
   and "V" take no byte of the item. */
typedef struct QrtNumEditPicture {
  int16_t pictureLength; /* 0: characters; negative, a zero value becomes asterisks for editKind below 8 with
                               "*" in the picture, the decimal point excepted, and spaces otherwise */
  uint8_t decimalPoint;  /* 2: "."; anything else prints "." of the picture as "," and "," as "." */
  uint8_t currency;      /* 3: what "$" prints */
  uint8_t editKind;      /* 4: QRT_EDIT_*; its two's complement for BLANK WHEN ZERO */
  uint8_t picture[1];    /* 5: the characters, as many as there are */
} QrtNumEditPicture;

/* Picture of a numeric-edited item, for moves from it. */
typedef struct QrtNumDeeditPicture {
  int16_t pictureLength; /* 0: characters; the sign has no meaning */
  uint8_t picture[1];    /* 2: the characters, as above */
} QrtNumDeeditPicture;

/* A currency string. A length below 1 is an empty one. */
typedef struct QrtCurrency {
  int16_t length;  /* 0: bytes */
  uint8_t text[1]; /* 2: the string, as long as it is */
} QrtCurrency;

/* Guarded. Moves sourceLength bytes (below 1: none) into an alphanumeric-edited item. An empty source gives
   spaces. */
QRT_API void _qrtcMoveAlphaNumEdit(const QrtAlphaNumEditPicture* picture, const uint8_t* source,
                                   int32_t sourceLength, uint8_t* destination);

/* Guarded. The same for UTF-16, in native byte order; the length is in bytes. Items need no alignment. */
QRT_API void _qrtcMoveUnicodeEdit(const QrtUnicodeEditPicture* picture, const void* source,
                                  int32_t sourceLengthInBytes, void* destination);

/* Guarded. Fills an item with a literal over and over: of the size `length` from its first byte on, of the
   size -`length` so that its end is the literal's. A literal of less than 1 byte leaves the item alone. */
QRT_API void _qrtcMoveFigConst(uint8_t* destination, int32_t length, const uint8_t* literal,
                               int32_t literalLength);

/* Guarded. Edits the digits behind the sign byte at `source`: as many as the picture uses. A floating symbol
   that would stand ahead of the item isn't written. */
QRT_API void _qrtcMoveNumToNumEdit(const QrtNumEditPicture* picture, const uint8_t* source,
                                   uint8_t* destination);

/* Guarded. The same with a currency string in the place of the first "$" of the text, whatever
   picture->currency holds. The item has as many bytes as the picture prints, less one, and the string's;
   without a "$" in the text, spaces fill its end. What a picture prints behind byte 249 is left out. */
QRT_API void _qrtcMoveNumToNumEdit2(const QrtNumEditPicture* picture, const uint8_t* source,
                                    uint8_t* destination, const QrtCurrency* currency);

/* Guarded. Takes an edited item apart: the digits to `destination`, the sign behind them. 0, or 1 when the
   item doesn't fit the picture; then the digits up to that point are written. */
QRT_API int32_t _qrtcMoveNumEditToNum(const QrtNumDeeditPicture* picture, const uint8_t* source,
                                      uint8_t* destination);

/* Guarded. The same for an item with a currency string. A picture that prints more than 249 bytes gives 1. */
QRT_API int32_t _qrtcMoveNumEditToNum2(const QrtNumDeeditPicture* picture, const uint8_t* source,
                                       uint8_t* destination, const QrtCurrency* currency);

/* Guarded. Moves bytes between items that may overlap, one by one from the left: a target that starts inside
   the source gets its first bytes over and over. A negative targetLength justifies right; a negative
   sourceLength pads with 0x40 and not with 0x20. Sizes are the absolute values. */
QRT_API void _qrtcMoveVarLenOverlap(uint8_t* target, int32_t targetLength, const uint8_t* source,
                                    int32_t sourceLength);

/* ======================================================================================================
 * NUMVAL, NUMVAL-C, LOWER-CASE, UPPER-CASE and REVERSE
 *
 * _qrtc entries take bytes, _qrtu entries UTF-16 in native byte order, of which they look at the low bytes
 * only. Lengths are in bytes; a negative one is 0, and an odd last byte of UTF-16 isn't looked at. Nothing
 * needs an alignment.
 * ====================================================================================================== */

/* Values of QrtNumvalControl.currencySource; with any other there is no currency sign. */
#define QRT_CURRENCY_BYTE 1     /* the one character `currency` of the control block */
#define QRT_CURRENCY_ARGUMENT 2 /* the string that the call gives; of length 0 it is none */

/* The program's ways to write numbers. */
typedef struct QrtNumvalControl {
  uint8_t currency;       /* 0: the currency sign */
  uint8_t decimalPoint;   /* 1: "," for DECIMAL-POINT IS COMMA; anything else is the normal form */
  int16_t currencySource; /* 2: QRT_CURRENCY_BYTE or QRT_CURRENCY_ARGUMENT; for NUMVAL-C only */
} QrtNumvalControl;

/* Guarded. The value of a number text. Between spaces that stand anywhere but inside a number: "+" or "-",
   digits with or without a decimal point, then, unless the sign led, "+", "-", "CR" or "DB" in upper case; a
   lone "C" or "D" at the end says nothing. The value is the nearest long double, rounded once more for a
   double.
   Message 97: there is no digit; the result is 0. 151: more than 31 digits; the result is their value. 152:
   an invalid character, with its position from 1; the result is 0. */
QRT_API void _qrtcNumval(const QrtNumvalControl* control, int32_t length, const void* string, double* result);
QRT_API void _qrtuNumval(const QrtNumvalControl* control, int32_t length, const void* string, double* result);

/* Guarded. The same with an extended result: 10 bytes are written. */
QRT_API void _qrtcNumval16(const QrtNumvalControl* control, int32_t length, const void* string, void* result);
QRT_API void _qrtuNumval16(const QrtNumvalControl* control, int32_t length, const void* string, void* result);

/* Guarded. The same for NUMVAL-C: a currency sign may stand ahead of the number, behind a sign that leads,
   and each comma among the digits ahead of the point must have a digit or the end right behind it. Message
   155: a currency string begins or ends with a space, or holds a digit or one of "+,-."; the first such
   character is told, and the string is used all the same. */
QRT_API void _qrtcNumvalC(const QrtNumvalControl* control, int32_t length, const void* string,
                          int32_t currencyLength, const void* currency, double* result);
QRT_API void _qrtuNumvalC(const QrtNumvalControl* control, int32_t length, const void* string,
                          int32_t currencyLength, const void* currency, double* result);
QRT_API void _qrtcNumvalC16(const QrtNumvalControl* control, int32_t length, const void* string,
                            int32_t currencyLength, const void* currency, void* result);
QRT_API void _qrtuNumvalC16(const QrtNumvalControl* control, int32_t length, const void* string,
                            int32_t currencyLength, const void* currency, void* result);

/* Guarded. Copies text with the letters "A" to "Z" in lower case, or "a" to "z" in upper case, whatever the
   code page. The areas are the same or apart. */
QRT_API void _qrtToLower(int32_t length, const uint8_t* source, uint8_t* destination);
QRT_API void _qrtToUpper(int32_t length, const uint8_t* source, uint8_t* destination);

/* Guarded. Copies text backwards, by bytes or by UTF-16 units; the areas are apart. */
QRT_API void _qrtcReverse(int32_t length, const void* source, void* destination);
QRT_API void _qrtcReverseUnicode(int32_t length, const void* source, void* destination);

/* ======================================================================================================
 * Mathematics and statistics
 *
 * All are guarded; what comes back after a caught failure isn't defined. An extended value is an x87 one of
 * 64 mantissa bits; in arrays it has a slot of 16 bytes, of which the last 6 mean nothing, and a result of
 * that width has 10 bytes. Nothing needs an alignment. After a message the function goes on with its argument
 * as it is; the results are those of the C library.
 * ====================================================================================================== */

/* ACOS and ASIN: message 179 below -1, 176 above 1. */
QRT_API double _qrtAcosFloat8(double argument);
QRT_API long double _qrtAcosFloat16(long double argument);
QRT_API double _qrtAsinFloat8(double argument);
QRT_API long double _qrtAsinFloat16(long double argument);

QRT_API double _qrtAtanFloat8(double argument);
QRT_API long double _qrtAtanFloat16(long double argument);
QRT_API double _qrtCosFloat8(double argument);
QRT_API long double _qrtCosFloat16(long double argument);
QRT_API double _qrtSinFloat8(double argument);
QRT_API long double _qrtSinFloat16(long double argument);
QRT_API double _qrtTanFloat8(double argument);
QRT_API long double _qrtTanFloat16(long double argument);

/* LOG and LOG10: message 178 at 0 and below. */
QRT_API double _qrtLogFloat8(double argument);
QRT_API long double _qrtLogFloat16(long double argument);
QRT_API double _qrtLog10Float8(double argument);
QRT_API long double _qrtLog10Float16(long double argument);

/* SQRT: message 179 below 0. */
QRT_API double _qrtSqrtFloat8(double argument);
QRT_API long double _qrtSqrtFloat16(long double argument);

/* INTEGER, the greatest whole number that isn't above; INTEGER-PART, cut towards zero. */
QRT_API double _qrtInteger(double argument);
QRT_API long double _qrtInteger16(long double argument);
QRT_API double _qrtIntegerPart(double argument);
QRT_API long double _qrtIntegerPart16(long double argument);

/* REM, with the sign of the dividend. Message 177: the divisor is zero; the result is a NaN. A quotient of
   more than 64 bits is taken off piece by piece, each rounded. */
QRT_API double _qrtRemFloat8Float8(double dividend, double divisor);
QRT_API long double _qrtRemFloat16Float16(long double dividend, long double divisor);

/* RANDOM, from 0 to 1: the next value of the run unit's sequence, or the first one of the sequence of a seed.
   Message 163: the seed is negative; the sequence is that of 0. 176: it is 10 to the 18th or more. 180: it
   has a fraction, which is dropped. */
QRT_API double _qrtRandom(void);
QRT_API double _qrtRandomInt8(int64_t seed);
QRT_API double _qrtRandomFloat8(double seed);

/* MEDIAN of `count` values, 1 or more. The extended one reorders its array; the other one needs a copy, and
   reports 907 with the result as it was where there is no memory for it. */
QRT_API void _qrtcMedian(int32_t count, double* result, const double* array);
QRT_API void _qrtcMedian16(int32_t count, void* result, void* array);

/* PRESENT-VALUE of the `count` - 1 amounts behind the discount rate, the first value. Message 100: the rate
   is -1 or below. */
QRT_API void _qrtcPresentValue(int32_t count, double* result, const double* array);
QRT_API void _qrtcPresentValue16(int32_t count, void* result, const void* array);

/* VARIANCE of a population around its mean, which the caller gives, and its root, STANDARD-DEVIATION. */
QRT_API void _qrtcVariance(int32_t count, double* result, double mean, const double* array);
QRT_API void _qrtcVariance16(int32_t count, void* result, long double mean, const void* array);
QRT_API void _qrtcStandardDeviation(int32_t count, double* result, double mean, const double* array);
QRT_API void _qrtcStandardDeviation16(int32_t count, void* result, long double mean, const void* array);

/* ======================================================================================================
 * SEARCH ALL, and the refresh of independent segments
 * ====================================================================================================== */

/* Bit of QrtSearchKey.type: the key ascends; without it, it descends. */
#define QRT_SEARCH_ASCENDING 0x80

/* The other bits of QrtSearchKey.type. Any other type is text, collated when its low bit is clear and then
   only on the table's side; it ascends, except 0x60, 0x61 and 0x06. */
#define QRT_SEARCH_TEXT 0x08        /* bytes, collated when the program has a collating table */
#define QRT_SEARCH_PLAIN_TEXT 0x09  /* bytes as they are */
#define QRT_SEARCH_NATIONAL 0x04    /* national or double-byte text, bytes as they are */
#define QRT_SEARCH_ZONED 0x10       /* ASCII digits; bit 0x40 of the sign digit stands for minus */
#define QRT_SEARCH_HOST_ZONED 0x11  /* EBCDIC digits; zone 0xD of the sign digit stands for minus */
#define QRT_SEARCH_ZONED_PAIRS 0x02 /* two bytes a digit, the first one as in QRT_SEARCH_ZONED */
#define QRT_SEARCH_PACKED 0x20
#define QRT_SEARCH_BINARY 0x40      /* signed, low-order byte first */
#define QRT_SEARCH_HOST_BINARY 0x41 /* signed, high-order byte first */

/* A key of the table, in the order of the KEY phrase. Zoned keys have their sign on the last digit. */
typedef struct QrtSearchKey {
  uint8_t type;    /* 0: QRT_SEARCH_* */
  uint8_t length;  /* 1: bytes */
  uint16_t offset; /* 2: in the table entry, bytes */
} QrtSearchKey;

/* The fixed part of a SEARCH ALL. Behind the keys follow a 32-bit length in bytes for each WHEN condition,
   then a byte of QRT_SEARCH_SEPARATE_SIGN and so on for each. Condition i is on key i; the keys of all
   conditions have at most 256 bytes. */
typedef struct QrtSearchControl {
  uint16_t subscriptCount; /* 0: outer dimensions of the table */
  uint16_t keyCount;       /* 2: keys of the table */
  uint16_t conditionCount; /* 4: WHEN conditions, not more than keys */
  uint16_t reserved6;      /* 6 */
  QrtSearchKey keys[1];    /* 8: as many as keyCount says */
} QrtSearchControl;

/* Bits that tell how an argument of a zoned key is signed, and one of a text key when the two top bits of its
   byte are QRT_SEARCH_SIGNED_TEXT. Without a separate sign it is the zone of the last or the first digit. */
#define QRT_SEARCH_SEPARATE_SIGN 0x10
#define QRT_SEARCH_LEADING_SIGN 0x20
#define QRT_SEARCH_SIGNED_TEXT 0x40

/* The argument of a WHEN condition: in the form of the key, as long as the key or longer. What is compared
   are as many bytes as the key has: the last ones of a number, but of QRT_SEARCH_BINARY and of text the
   first. */
typedef struct QrtSearchArgument {
  const uint8_t* kept;  /* 0: the bytes that are compared */
  const uint8_t* whole; /* 4: the whole argument with its separate sign */
} QrtSearchArgument;

/* Guarded. Searches a table in order of its keys, of `entryCount` entries of `entrySize` bytes, by halves.
   The offset in bytes of the first matching entry that is met, from the start of the instance that the
   subscripts choose; -1 when there is none, and when caught. `subscripts` are the addresses of byte offsets
   that are added up to find that instance; the word at offset 28 of `programContext` is the address of the
   collating table, 0 for none. The part of an argument that its key has no room for must be padding: leading
   zero digits, sign bytes of binary data, trailing spaces of text (0x40 with the type's low bit); otherwise
   nothing matches. Zero with a minus is zero, in the table too. */
QRT_API int32_t _qrtcSrchAll(const QrtSearchControl* control, const uint8_t* table, int32_t entryCount,
                             int32_t entrySize, const QrtSearchArgument* arguments,
                             const int32_t* const* subscripts, const void* programContext);

/* Guarded. Puts altered GO TO targets back to their initial state: those of `count` words in `live` whose
   byte in `segments`, a priority digit as a character, is `segment`; for a transfer from segment `current` to
   `target`, those of the target if it is above "1" and another one; for GO TO DEPENDING, with
   targets[index-1]. */
QRT_API void _qrtcRfshUncond(uint8_t segment, int32_t count, uint32_t* live, const uint32_t* initial,
                             const uint8_t* segments);
QRT_API void _qrtcRfshCond(uint8_t current, int32_t count, uint8_t target, uint32_t* live,
                           const uint32_t* initial, const uint8_t* segments);
QRT_API void _qrtcRfshGoDepend(int32_t index, uint8_t current, int32_t count, const uint8_t* targets,
                               uint32_t* live, const uint32_t* initial, const uint8_t* segments);

/* ======================================================================================================
 * Comparison of text, and class conditions
 * ====================================================================================================== */

/* Guarded. -1, 0 or 1: the order of two texts under a collating table of 256 bytes, the shorter one followed
   by spaces. A negative length, of one operand, makes it a figurative constant of that many bytes, repeated
   or cut to the other's length. */
QRT_API int32_t _qrtcCmpACS(const uint8_t* op1, int32_t length1, const uint8_t* op2, int32_t length2,
                            const uint8_t* table);

/* Guarded. -1, 0 or 1: the order of a text and a literal repeated to its length, byte by byte. 0 for lengths
   below 1. */
QRT_API int32_t _qrtcCmpMultiByteFig(const uint8_t* op, int32_t length, const uint8_t* figurative,
                                     int32_t figurativeLength);

/* Guarded. Below 0, 0 or above 0: the order of double-byte texts by the locale's collation, the shorter one
   followed by the pair 0x81 0x40; of a text and a literal repeated to its length. A zero byte ends a text.
   Message 907: memory is short. 0 for a literal of less than 1 byte. */
QRT_API int32_t _qrtcDBCSCmp(const uint8_t* op1, int32_t length1, const uint8_t* op2, int32_t length2);
QRT_API int32_t _qrtcDBCSCmpMultiByteFig(const uint8_t* op, int32_t length, const uint8_t* figurative,
                                         int32_t figurativeLength);

/* Guarded. As _qrtcMoveVarLenOverlap, but pads with the double-byte space of the code page, and for a
   negative sourceLength with 0x40 0x40; an odd last byte of padding gets the first one of the pair. */
QRT_API void _qrtcDBCSMoveVarLenOverlap(uint8_t* target, int32_t targetLength, const uint8_t* source,
                                        int32_t sourceLength);

/* Class conditions: guarded, 1 when the class holds, else 0. Every character must be in the class; an item
   without characters is in each class that needs no sign. */

/* Bits of the flags word of the numeric ones: one of the forms, and the strict test, which holds signs to
   those that the library makes and a negative zero for not numeric. */
#define QRT_CLASS_UNSIGNED 0
#define QRT_CLASS_LEADING_OVERPUNCH 1
#define QRT_CLASS_TRAILING_OVERPUNCH 2
#define QRT_CLASS_LEADING_SEPARATE 3
#define QRT_CLASS_TRAILING_SEPARATE 4
#define QRT_CLASS_STRICT 0x0100

/* NUMERIC. Packed: digits, and a sign nibble from 0xA on, strict 0xC or 0xD. Zoned: ASCII digits, the zone of
   an overpunched one anything, strict 3 or 7. */
QRT_API int32_t _qrtcClasPackedDec(uint32_t flags, const uint8_t* item, int32_t lengthInBytes);
QRT_API int32_t _qrtcClasZonedDec(uint32_t flags, const uint8_t* item, int32_t length);

/* ALPHABETIC, ALPHABETIC-UPPER, ALPHABETIC-LOWER: letters of that kind and spaces. */
QRT_API int32_t _qrtcClasAlpha(const uint8_t* item, int32_t length);
QRT_API int32_t _qrtcClasAlphaUpper(const uint8_t* item, int32_t length);
QRT_API int32_t _qrtcClasAlphaLower(const uint8_t* item, int32_t length);

/* A class of the program's own: the bytes that `table`, of 256, has a 0 for. */
QRT_API int32_t _qrtcClasUserDef(const uint8_t* item, int32_t length, const uint8_t* table);

/* KANJI and DBCS: double-byte spaces, and pairs in EBCDIC form with a first byte from 0x41 to 0x7F for KANJI
   and to 0xFE for DBCS and a second one from 0x41 to 0xFE. Native text is converted, and must become one
   shifted string; a negative length is that of text in EBCDIC form without shifts. */
QRT_API int32_t _qrtcClasKanji(const uint8_t* item, int32_t length);
QRT_API int32_t _qrtcClasDBCS(const uint8_t* item, int32_t length);

/* NUMERIC, ALPHABETIC and its kin for UTF-16 at any address. A half character is in no class. The signed form
   knows separate signs only: with other forms it tests the digits. */
QRT_API int32_t _qrtuClasNumeric(const void* item, int32_t lengthInBytes);
QRT_API int32_t _qrtuSClasNumeric(uint32_t flags, const void* item, int32_t lengthInBytes);
QRT_API int32_t _qrtuClasAlpha(const void* item, int32_t lengthInBytes);
QRT_API int32_t _qrtuClasUpper(const void* item, int32_t lengthInBytes);
QRT_API int32_t _qrtuClasLower(const void* item, int32_t lengthInBytes);

/* ======================================================================================================
 * Calendar
 *
 * Lilian day 1 is 15 October 1582, the first day of the Gregorian calendar, and 3074324 is 31 December 9999.
 * Integer date 1 is 1 January 1601.
 * ====================================================================================================== */

#define QRT_LAST_LILIAN_DAY 3074324

/* Values of DTSZdate_parts.era_type. */
#define QRT_ERA_GREGORIAN 0
#define QRT_ERA_JAPANESE 1
#define QRT_ERA_CHINESE 2

/* A date and time in parts, as pictures read and show it. */
typedef struct DTSZdate_parts {
  int32_t era_type; /* QRT_ERA_* */
  int32_t year;     /* Gregorian; of an era date the year of the era, until DTSZDATE_chk has converted it */
  int32_t month;    /* 1 to 12; 0 when not given */
  int32_t day;      /* 1 to 31; 0 when not given */
  int32_t day_of_year; /* 1 to 366; 0 when not given */
  int32_t hour;        /* 0 to 23 */
  int32_t minute;
  int32_t second;
  int32_t millisecond;
  int32_t ampm;    /* 0 AM, 1 PM, in the work on a twelve-hour time */
  int32_t weekday; /* 1 for Sunday to 7 for Saturday; 0 when not given */
  int32_t jp_year; /* the date in its Japanese era */
  int32_t jp_month;
  int32_t jp_day;
  int32_t jp_era;  /* 1 for the first era of the table; 0 for none */
  int32_t ch_year; /* the same for the Chinese table */
  int32_t ch_month;
  int32_t ch_day;
  int32_t ch_era;
} DTSZdate_parts;

typedef struct DTSZera {
  int32_t start_year; /* first day, Gregorian */
  int32_t start_month;
  int32_t start_day;
  int32_t span_years; /* years that the era counts, the first and the last included */
} DTSZera;

#define QRT_MOST_ERAS 20
#define QRT_JAPANESE_NAME 6 /* bytes of an era's name, without the zero byte behind it */
#define QRT_CHINESE_SHORT_NAME 10
#define QRT_CHINESE_LONG_NAME 20

/* A table of eras, the oldest first. Behind the last era follow `count` names, filled up with blanks and each
   ended by a zero byte: those of the Japanese table; or all short, then all long ones of the Chinese table.
 */
typedef struct DTSZera_table {
  int32_t count;   /* 0 to QRT_MOST_ERAS */
  DTSZera eras[1]; /* `count` of them */
} DTSZera_table;

/* What a date service reports: twelve zero bytes for success, or a condition. */
typedef struct QrtFeedback {
  uint16_t severity;      /* 0 success, 2 warning, 3 error */
  uint16_t messageNumber; /* 0 for success */
  uint8_t classByte;      /* 0x41 and the severity in bits 3 to 5; 0 for success */
  char facility[3];       /* "DTS"; zero for success */
  uint32_t instance;      /* 0 */
} QrtFeedback;

/* Sets year, month, day and day_of_year of the parts, all else staying as it is, from a Lilian day in range.
 */
QRT_API void DTSZDATE_alg(int32_t lilianDay, DTSZdate_parts* parts);

/* The Lilian day of the parts' year and day_of_year, or month and day where day_of_year is 0. Takes the date
   to be valid. */
QRT_API void DTSZDAYS_alg(const DTSZdate_parts* parts, int32_t* lilianDay);

/* *flag is 1 when the year of the parts is a Gregorian leap year, else 0. */
QRT_API void DTSZLEAP_year(int32_t* flag, const DTSZdate_parts* parts);

/* Values of DTSZDATE_chk. */
#define QRT_DATE_VALID 0
#define QRT_DATE_BAD_YEAR 1         /* outside 1582 to 9999 */
#define QRT_DATE_BAD_ERA_YEAR 2     /* outside its era */
#define QRT_DATE_BAD_DAY 4          /* no such day, or one before or behind its era */
#define QRT_DATE_BAD_MONTH 8        /* no such month, or one before its era */
#define QRT_DATE_BEFORE_CALENDAR 16 /* before 15 October 1582, or by day of year in 1582 */
#define QRT_DATE_WITHOUT_ERA 26     /* an era date whose era isn't in the table */

/* Checks a date, an era date against its table; the other table, or both, may be null. The year of an era
   date becomes Gregorian when it lies in its era. *code is QRT_DATE_VALID or the first fault found; returns 0
   for a valid date, else 1. */
QRT_API int32_t DTSZDATE_chk(DTSZdate_parts* parts, int32_t* code, const DTSZera_table* japanese,
                             const DTSZera_table* chinese);

/* Sets the date within its era of a Gregorian year, month and day: the last era of the table that holds it.
   Only the era, to 0, where none does. */
QRT_API void DTSZJAP_date(DTSZdate_parts* parts, const DTSZera_table* table);
QRT_API void DTSZCHI_date(DTSZdate_parts* parts, const DTSZera_table* table);

/* Makes the Japanese or Chinese table from variant 1 or 2 of message 216 and returns 0; the caller frees it
   by _qrtCheckFree. Else *table is null and 1 comes back: without that message, behind message 206 with value
   2; out of memory, with condition 813 in the feedback; for a text that is no table, with a trace line under
   _qrtDebug. The feedback stays as it is otherwise. */
QRT_API int32_t DTSZGetJapEra(DTSZera_table** table, QrtFeedback* feedback);
QRT_API int32_t DTSZGetChiEra(DTSZera_table** table, QrtFeedback* feedback);

/* Which eras a picture asks for: QRT_ERA_JAPANESE for one with <JJJJ>, QRT_ERA_CHINESE for <CCCC> or
   <CCCCCCCC>, QRT_ERA_GREGORIAN for neither, -1 for both. */
QRT_API int32_t DTSZ_JAPCHI_type(const char* picture, const char* pictureEnd);

/* *weekday is 1 for Sunday to 7 for Saturday, *status 0. The range isn't checked. */
QRT_API void _qrtTKM_DTSDYWK(int32_t lilianDay, int32_t* status, int32_t* weekday);

/* The day of the year, 1 to 366, of a month and day that are taken to be valid. */
QRT_API void _qrtGregorian_to_Julian(int32_t year, int32_t month, int32_t day, int32_t* dayOfYear);

/* The integer date of a day of a year, below 1 before 1601. */
QRT_API void _qrtJulian_to_Lilian(int32_t year, int32_t dayOfYear, int32_t* integerDate);

/* ======================================================================================================
 * Pictures of dates and times
 *
 * A picture says how a date or time is written. A token is a run of one letter:
 *
 *   YYYY YY Y     year, its last two digits, its last digit      HH ZH    hour; twelve-hour with AP or A.P.
 *   YYY ZYY       year of an era                                 MI       minute
 *   MM ZM         month                                          SS       second
 *   Mmm MMM...    its name, abbreviated to three letters         9 99 999 tenths and so on of a second
 *   Mmmmmmmmmz    its name, up to 20 letters                     AP A.P.  AM or PM, A.M or P.M; ap, a.p.
 *   RRRR RRRZ     month as Roman numeral                         <JJJJ>   Japanese era
 *   DD ZD DDD     day of the month, of the year                  <CCCC>   Chinese era
 *   Www Wwww...   weekday, as the months; up to 10 letters       <CCCCCCCC>  the same, long name
 *
 * "Z" ahead of a token leaves its leading zeros out; behind a name or numeral it leaves the blanks out that
 * fill the token up. Letters of a token in lower case show letters of a name in lower case. The names are
 * those of the process's locale. Everything else is shown as it is; in reading it stands for any one
 * character. Reading doesn't tell upper case from lower case, nor how many blanks separate fields.
 * ====================================================================================================== */

#define QRT_NAME_SCRATCH 793 /* bytes that callers hand over as nameScratch; its content isn't used */

/* Results of the two engines and of their tokens. */
#define QRT_PICTURE_DONE 0
#define QRT_PICTURE_LATE_ERA 2     /* reading: an era behind a part of the date */
#define QRT_PICTURE_BAD_ERA 3      /* reading: no name of an era */
#define QRT_PICTURE_SHORT_OUTPUT 4 /* rendering: the output holds what fitted */
#define QRT_PICTURE_BAD_DAY 4      /* reading: day or weekday */
#define QRT_PICTURE_BAD_MONTH 8
#define QRT_PICTURE_BAD_HOUR 9
#define QRT_PICTURE_BAD_MINUTE 10
#define QRT_PICTURE_BAD_SECOND 11
#define QRT_PICTURE_NO_ERA 14      /* rendering: the date is in no era */
#define QRT_PICTURE_SHORT_INPUT 16 /* reading: the input ends early, or lacks a digit or AM or PM */
#define QRT_PICTURE_INVALID 24
#define QRT_PICTURE_NO_DATE 32     /* reading: the picture doesn't give year, month and day */
#define QRT_PICTURE_BAD_YEAR 64    /* rendering: YY of a year outside 1582 to 9999 */
#define QRT_PICTURE_NO_STORAGE 100 /* reading; the feedback holds condition 813 */

/* Guarded. Shows `parts` by the picture in [output, outputEnd), which isn't filled up; returns the code, also
   in *code. Codes other than 0 and 4 leave the whole output blank. With an era in era_type, years, months and
   days are those of the era. Without showsTime the tokens of time are shown as they are. The tables may be
   null. */
QRT_API int32_t DTSZOUTPUT_date(char* output, const char* picture, const DTSZdate_parts* parts, int32_t* code,
                                void* nameScratch, const DTSZera_table* japanese,
                                const DTSZera_table* chinese, const char* pictureEnd, char* outputEnd,
                                int32_t showsTime);

/* Guarded. Reads [input, inputEnd) by the picture into `parts`, where fields that aren't given are 0; returns
   the code, also in *code. A blank picture stands for "MM/DD/YY", with isTime for "MM/DD/YY HH:MI:SS AP". An
   era date keeps its year in the era. The date isn't checked any further. The tables may be null. */
QRT_API int32_t DTSZCONVERT_from_picture(const char* input, const char* picture, DTSZdate_parts* parts,
                                         int32_t* code, void* nameScratch, const DTSZera_table* japanese,
                                         const DTSZera_table* chinese, const char* pictureEnd,
                                         const char* inputEnd, QrtFeedback* feedback, int32_t isTime);

/* Guarded. The tokens of the engines: the picture cursor is on the first letter of the token and moves behind
   what was consumed, the output or input cursor behind what was written or read. *suppressesZeros is not 0
   when a "Z" stood ahead. In reading, picture and input are as DTSZSET_STRING makes them. The results are the
   codes. */
typedef int32_t QrtRenderToken(const DTSZdate_parts* parts, char** output, const char** picture,
                               int32_t* suppressesZeros, const char* pictureEnd, char* outputEnd);
typedef int32_t QrtRenderNameToken(const DTSZdate_parts* parts, char** output, const char** picture,
                                   int32_t* suppressesZeros, const char* pictureEnd, char* outputEnd,
                                   void* nameScratch);
typedef int32_t QrtRenderEraToken(const DTSZdate_parts* parts, char** output, const char** picture,
                                  int32_t* suppressesZeros, const char* pictureEnd, char* outputEnd,
                                  const DTSZera_table* table);
QRT_API QrtRenderToken DTSZOUTPUT_year, DTSZOUTPUT_day, DTSZOUTPUT_hour, DTSZOUTPUT_second,
    DTSZOUTPUT_tsecond, DTSZOUTPUT_ap, DTSZOUTPUT_roman_month;
QRT_API QrtRenderNameToken DTSZOUTPUT_month, DTSZOUTPUT_day_of_week; /* month: minutes too */
QRT_API QrtRenderEraToken DTSZOUTPUT_jp_ERA, DTSZOUTPUT_ch_ERA;

typedef int32_t QrtParseToken(DTSZdate_parts* parts, const char** input, const char** picture,
                              int32_t* suppressesZeros, const char* pictureEnd, const char* inputEnd);
typedef int32_t QrtParseNameToken(DTSZdate_parts* parts, const char** input, const char** picture,
                                  int32_t* suppressesZeros, const char* pictureEnd, const char* inputEnd,
                                  void* nameScratch);
typedef int32_t QrtParseEraToken(DTSZdate_parts* parts, const char** input, const char** picture,
                                 int32_t* suppressesZeros, const char* pictureEnd, const char* inputEnd,
                                 const DTSZera_table* table);
QRT_API QrtParseToken DTSZCONVERT_year, DTSZCONVERT_day, DTSZCONVERT_hour, DTSZCONVERT_second,
    DTSZCONVERT_tsecond, DTSZCONVERT_AP, DTSZCONVERT_roman;
QRT_API QrtParseNameToken DTSZCONVERT_month, DTSZCONVERT_day_of_week; /* month: minutes too */
QRT_API QrtParseEraToken DTSZCONVERT_jp_era, DTSZCONVERT_ch_era;

/* Appends the last `width` characters of the value in a format of DTS_sprintf at *output, which moves on. 0,
   or 4 when they don't all fit. */
QRT_API int32_t DTSZprint_number(int32_t value, const char* format, int32_t width, char** output,
                                 const char* outputEnd);

/* 4 when `bytes` more bytes don't fit, else 0. */
QRT_API int32_t DTSZcheck_length(const char* output, const char* outputEnd, int32_t bytes);

/* 1 when the hours of the picture are those of a twelve-hour clock: when its first "A" is followed by "P", or
   by
   ".P"; else 0. */
QRT_API int32_t DTSZpm_format(const char* picture, const char* pictureEnd);

/* The form in which pictures and inputs are read: without leading blanks, letters in upper case, a run of
   blanks as one "/", no final "/". *copy is a terminated block that the caller frees by _qrtCheckFree. 0; out
   of memory 100, with condition 813 in the feedback. */
QRT_API int32_t DTSZSET_STRING(const char* start, const char* end, char** copy, char** copyEnd,
                               QrtFeedback* feedback);

/* Moves both cursors over characters that are the same. 24 when the first ones differ, else 0. */
QRT_API int32_t DTSZDELIMITERS(const char** picture, const char** input, const char* pictureEnd,
                               const char* inputEnd);

/* String routines. DTS_strncmp compares bytes as unsigned and gives -1, 0 or 1. DTS_strstrend finds a
   terminated needle in [text, end), null when it isn't there. DTS_isdigit is 1 for "0" to "9". DTS_sprintf
   writes the low N digits of a value, terminated, by "%0Nd", without leading zeros by "%-Nd", N from 1 to 9;
   it returns the characters written, or -1 for another format or a negative value. DTS_fmod is the remainder,
   -1.0 for a negative value or a divisor that isn't above 0. */
QRT_API char* DTS_strcpy(char* target, const char* source);
QRT_API int32_t DTS_strlen(const char* text);
QRT_API int32_t DTS_sprintf(char* target, const char* format, int32_t value);
QRT_API int32_t DTS_strncmp(const char* first, const char* second, int32_t length);
QRT_API const char* DTS_strstr(const char* text, const char* needle);
QRT_API const char* DTS_strstrend(const char* text, const char* end, const char* needle);
QRT_API int32_t DTS_isdigit(int32_t character);
QRT_API double DTS_fmod(double value, double divisor);

/* ======================================================================================================
 * Date services
 *
 * Lilian seconds are the Lilian day times 86400 and the seconds of that day, with milliseconds as a fraction:
 * 86400.0 to 265621679999.999.
 *
 * All services are guarded and return 0. Their _HOST twins are for programs whose data keeps the host's
 * layout: big-endian integers and lengths, EBCDIC text, hexadecimal floating point. Host strings are cut to
 * 256 bytes.
 *
 * A service sets its whole feedback to a record of DTSCTVAL: success, or the condition that is named by its
 * message number below. Where the feedback is null, the condition becomes that message. A condition leaves
 * numbers at 0 and text blank, if nothing else is said. Host feedback has its severity, message number and
 * instance big-endian and its facility in EBCDIC.
 * ====================================================================================================== */

/* Text with its length in front; a negative length stands for 0. A picture that is blank, or begins with a
   zero byte, stands for the default one. */
typedef struct QrtVaryingString {
  int16_t length; /* bytes of text */
  char text[1];
} QrtVaryingString;

#define QRT_DATE_FIELD 80       /* bytes of the output of DTSDATE and DTSDATM */
#define QRT_LOCAL_TIME_FIELD 17 /* of DTSLOCT: YYYYMMDDHHMISS999 */
#define QRT_LOCAL_DATE_FIELD 8  /* of KBZEDT4: YYYYMMDD */

/* Success, then the conditions in the order of their messages: 813, 2502, 2503, 2505 to 2522, 2525 to 2527,
   2531, 2533. */
#define QRT_CONDITIONS 27
QRT_DATA const QrtFeedback DTSCTVAL[QRT_CONDITIONS];

/* Lilian day, or integer date, of a text. Conditions: 813; 2507 the picture gives no full date; 2508 day or
   weekday; 2509 era; 2513 outside 15 October 1582 to 9999; 2517 month; 2518 picture; 2520 the text ends early
   or lacks a digit; 2521 year of an era; a record with message 1 and all else 0 for any other. */
QRT_API int16_t DTSDAYS(const QrtVaryingString* input, const QrtVaryingString* picture, int32_t* lilianDay,
                        QrtFeedback* feedback);
QRT_API int16_t DTSDAYS_HOST(const QrtVaryingString* input, const QrtVaryingString* picture,
                             int32_t* lilianDay, QrtFeedback* feedback);
QRT_API int16_t DTSCBLDY(const QrtVaryingString* input, const QrtVaryingString* picture, int32_t* integerDate,
                         QrtFeedback* feedback);
QRT_API int16_t DTSCBLDY_HOST(const QrtVaryingString* input, const QrtVaryingString* picture,
                              int32_t* integerDate, QrtFeedback* feedback);

/* Lilian seconds of a text. The same conditions, and 2510 hours, 2516 minutes, 2519 seconds; 2525 instead of
   2520. */
QRT_API int16_t DTSSECS(const QrtVaryingString* input, const QrtVaryingString* picture, double* lilianSeconds,
                        QrtFeedback* feedback);
QRT_API int16_t DTSSECS_HOST(const QrtVaryingString* input, const QrtVaryingString* picture,
                             double* lilianSeconds, QrtFeedback* feedback);

/* Text of a Lilian day in a field of QRT_DATE_FIELD bytes, filled up with blanks. A zero byte ends the
   picture. Conditions: 813; 2512 day out of range, or year for YY; 2518 picture; 2522 no era; the warning
   2526, under which the field holds what fitted. */
QRT_API int16_t DTSDATE(const int32_t* lilianDay, const QrtVaryingString* picture, char* output,
                        QrtFeedback* feedback);
QRT_API int16_t DTSDATE_HOST(const int32_t* lilianDay, const QrtVaryingString* picture, char* output,
                             QrtFeedback* feedback);

/* The same of Lilian seconds, rounded to a millisecond. Conditions: 813; 2505 seconds out of range; 2506 no
   era, or year for YY; 2518; the warning 2527 for a text that was cut. */
QRT_API int16_t DTSDATM(const double* lilianSeconds, const QrtVaryingString* picture, char* output,
                        QrtFeedback* feedback);
QRT_API int16_t DTSDATM_HOST(const double* lilianSeconds, const QrtVaryingString* picture, char* output,
                             QrtFeedback* feedback);

/* The parts of Lilian seconds, rounded to a millisecond. Condition 2505. */
QRT_API int16_t DTSSECI(const double* lilianSeconds, int32_t* year, int32_t* month, int32_t* day,
                        int32_t* hours, int32_t* minutes, int32_t* seconds, int32_t* milliseconds,
                        QrtFeedback* feedback);
QRT_API int16_t DTSSECI_HOST(const double* lilianSeconds, int32_t* year, int32_t* month, int32_t* day,
                             int32_t* hours, int32_t* minutes, int32_t* seconds, int32_t* milliseconds,
                             QrtFeedback* feedback);

/* Lilian seconds of parts. Conditions, the first fault: 2514 year, 2517 month, 2511 day, 2513 before 15
   October 1582, 2510 hours, 2516 minutes, 2519 seconds, 2515 milliseconds. */
QRT_API int16_t DTSISEC(const int32_t* year, const int32_t* month, const int32_t* day, const int32_t* hours,
                        const int32_t* minutes, const int32_t* seconds, const int32_t* milliseconds,
                        double* lilianSeconds, QrtFeedback* feedback);
QRT_API int16_t DTSISEC_HOST(const int32_t* year, const int32_t* month, const int32_t* day,
                             const int32_t* hours, const int32_t* minutes, const int32_t* seconds,
                             const int32_t* milliseconds, double* lilianSeconds, QrtFeedback* feedback);

/* Weekday of a Lilian day, 1 for Sunday. Condition 2512. */
QRT_API int16_t DTSDYWK(const int32_t* lilianDay, int32_t* weekday, QrtFeedback* feedback);
QRT_API int16_t DTSDYWK_HOST(const int32_t* lilianDay, int32_t* weekday, QrtFeedback* feedback);

/* Now in Greenwich; DTSUTC is another name. Condition 2502. */
QRT_API int16_t DTSGMT(int32_t* lilianDay, double* lilianSeconds, QrtFeedback* feedback);
QRT_API int16_t DTSGMT_HOST(int32_t* lilianDay, double* lilianSeconds, QrtFeedback* feedback);
QRT_API int16_t DTSUTC(int32_t* lilianDay, double* lilianSeconds, QrtFeedback* feedback);
QRT_API int16_t DTSUTC_HOST(int32_t* lilianDay, double* lilianSeconds, QrtFeedback* feedback);

/* Offset of local time from Greenwich, east positive: its seconds; its whole hours, and the minutes of the
   rest with the opposite sign (5 and -30 for 05:30 east). Condition 2503. */
QRT_API int16_t DTSGMTO(int32_t* hours, int32_t* minutes, double* seconds, QrtFeedback* feedback);
QRT_API int16_t DTSGMTO_HOST(int32_t* hours, int32_t* minutes, double* seconds, QrtFeedback* feedback);

/* Now in local time; `text` has QRT_LOCAL_TIME_FIELD bytes. */
QRT_API int16_t DTSLOCT(int32_t* lilianDay, double* lilianSeconds, char* text, QrtFeedback* feedback);
QRT_API int16_t DTSLOCT_HOST(int32_t* lilianDay, double* lilianSeconds, char* text, QrtFeedback* feedback);

/* The local date, QRT_LOCAL_DATE_FIELD digits. Condition 2531, with a zero byte as the first one of the
 * field. */
QRT_API int16_t KBZEDT4(char* date, QrtFeedback* feedback);
QRT_API int16_t KBZEDT4_HOST(char* date, QrtFeedback* feedback);

/* The century window of the current run unit, which must be there: how many years before this one the hundred
   years begin that two-digit years mean; 0 to 100. Condition 2533, the old window staying. */
QRT_API int16_t DTSSCEN(const int32_t* window, QrtFeedback* feedback);
QRT_API int16_t DTSSCEN_HOST(const int32_t* window, QrtFeedback* feedback);
QRT_API int16_t DTSQCEN(int32_t* window, QrtFeedback* feedback);
QRT_API int16_t DTSQCEN_HOST(int32_t* window, QrtFeedback* feedback);

/* ======================================================================================================
 * DISPLAY, ACCEPT and STOP
 * ====================================================================================================== */

/* Values of QrtDisplayControl.target. */
#define QRT_DISPLAY_SYSOUT 1
#define QRT_DISPLAY_CONSOLE 2
#define QRT_DISPLAY_SYSPUNCH 3

/* Bit of QrtDisplayControl.flags. */
#define QRT_DISPLAY_NO_ADVANCING 0x01

typedef struct QrtDisplayControl {
  int32_t itemCount;    /* 0 */
  uint8_t target;       /* 4: QRT_DISPLAY_SYSOUT and on */
  uint8_t flags;        /* 5: QRT_DISPLAY_NO_ADVANCING or 0 */
  uint8_t decimalPoint; /* 6: what stands for the point of a floating value */
} QrtDisplayControl;

/* Values of QrtDisplayItem.type; the three kinds of text are shown alike. */
#define QRT_DISPLAY_FLOAT 1
#define QRT_DISPLAY_TEXT 2
#define QRT_DISPLAY_INTEGER 3
#define QRT_DISPLAY_TEXT_4 4
#define QRT_DISPLAY_TEXT_5 5

typedef struct QrtDisplayItem {
  const void* data; /*  0 */
  uint32_t size;    /*  4: bytes of data: 4 or 8 for a float; 2, 4 or 8 for an integer */
  int32_t digits;   /*  8: in: for a float its significant digits, for an integer its digits, 256 at most;
                           out: bytes of text. To be set again for each DISPLAY. */
  int32_t type;     /* 12: QRT_DISPLAY_FLOAT and on */
} QrtDisplayItem;

/* Guarded. Shows the items one behind the other. An integer shows its last `digits` digits, filled with
   zeros, behind a "-" if it is negative. A float shows as sign or space, point, digits, "E", "-" or space,
   exponent of at least two digits; what is no number as "Infinity" or "NaN" with a zero byte behind it.
   With _qrtDebugBuf set the first item's text goes there, without a zero byte, its length to
   _qrtDebugBufLen, and nothing is written. Message 168: SYSPUNCH can't be opened, standard output is used;
   169: unknown target, nothing is written; 170: item of unknown type or size, the rest isn't written. */
QRT_API void _qrtcDisplay(const QrtDisplayControl* control, QrtDisplayItem* items);

/* What ACCEPT reads: the first of these that is set, in this order. */
#define QRT_ACCEPT_CONSOLE 0x20
#define QRT_ACCEPT_SYSIN 0x02
#define QRT_ACCEPT_DATE 0x10        /* YYMMDD */
#define QRT_ACCEPT_DAY 0x08         /* YYDDD */
#define QRT_ACCEPT_TIME 0x04        /* HHMMSS and hundredths */
#define QRT_ACCEPT_DAY_OF_WEEK 0x01 /* 1 for Monday to 7 for Sunday */
/* And how. */
#define QRT_ACCEPT_FOUR_DIGIT_YEAR 0x40
#define QRT_ACCEPT_DOUBLE_BYTE 0x80 /* the receiver holds double-byte characters */

/* Guarded. Reads into a receiver of `length` bytes; below 1 nothing is done. A line of a terminal ends the
   input, and what doesn't fit is dropped; the lines of a file run together without their line ends, and what
   doesn't fit stays for the next ACCEPT. Spaces fill the rest; at end of file the receiver stays as it was.
   A date or time is cut on the right to fit. Message 200 on a read error, after which the statement ends. */
QRT_API void _qrtcAccept(uint8_t flags, int32_t length, uint8_t* receiver);

/* Guarded. Reads characters from console or SYSIN, decoded by the locale, as UTF-16 units: as many as
   `*length` at most. No padding, no date or time; else as _qrtcAccept. */
QRT_API void _qrtAcceptUnicode(uint8_t flags, const int32_t* length, void* receiver);

/* Guarded. STOP with a literal: shows the text on SYSOUT and waits for a line, or the end, of SYSIN. Message
   200 on a read error. */
QRT_API void _qrtcStopLiteral(int32_t length, const char* text);

/* ======================================================================================================
 * INSPECT
 * ====================================================================================================== */

/* Bit of QrtInspectOperand.nationalFlags: a number in UTF-16 digits, which with QRT_INSPECT_SIGNED has a sign
   character. It wins over QRT_INSPECT_NUMERIC. */
#define QRT_INSPECT_NATIONAL_NUMERIC 0x80

/* Bits of QrtInspectOperand.itemFlags. A signed number's sign takes no part: an overpunched one has the zone
   of a plain digit in every comparison, and the inspected item keeps its own; a separate one, or that of a
   national number, is left out. Of a number with an overpunched sign 31 digits take part. */
#define QRT_INSPECT_NUMERIC 0x20
#define QRT_INSPECT_SIGNED 0x10
#define QRT_INSPECT_SIGN_LEADS 0x08
#define QRT_INSPECT_SEPARATE_SIGN 0x04
/* Of the inspected item only, any of them: characters of two bytes. */
#define QRT_INSPECT_TWO_BYTES 0x41
/* Of `replacement` only: its first character is repeated, and is there whatever the length says; the phrase
   has an AFTER delimiter. */
#define QRT_INSPECT_FIGURATIVE 0x02
#define QRT_INSPECT_HAS_AFTER 0x80

/* Bits of QrtInspectOperand.phraseFlags, of `replacement` only: one of the first three, and the rest. */
#define QRT_INSPECT_TALLYING 0x80
#define QRT_INSPECT_REPLACING 0x40
#define QRT_INSPECT_CONVERTING 0x20
#define QRT_INSPECT_CHARACTERS 0x10
#define QRT_INSPECT_LEADING 0x04
#define QRT_INSPECT_FIRST 0x02
#define QRT_INSPECT_HAS_BEFORE 0x01

typedef struct QrtInspectOperand {
  uint8_t reserved;      /* 0 */
  uint8_t nationalFlags; /* 1: QRT_INSPECT_NATIONAL_NUMERIC or 0 */
  uint8_t itemFlags;     /* 2 */
  uint8_t phraseFlags;   /* 3 */
  int32_t length;        /* 4: bytes, the sign's included */
  void* address;         /* 8 */
} QrtInspectOperand;

/* One of ALL (none of the three bits), LEADING, FIRST and CHARACTERS, or a CONVERTING phrase. Operands that
   the flags don't ask for aren't looked at. */
typedef struct QrtInspectPhrase {
  QrtInspectOperand replacement; /*  0: what comes in; CONVERTING: TO; TALLYING: the counter, an int32_t */
  QrtInspectOperand compared;    /* 12: what is looked for; CONVERTING: FROM */
  QrtInspectOperand before;      /* 24: delimiter; where it first stands in the item the phrase ends */
  QrtInspectOperand after;       /* 36: delimiter; behind the place where it first stands the phrase starts */
} QrtInspectPhrase;

typedef struct QrtInspectBlock {
  int32_t phraseCount;         /*  0: a number below 1 is none */
  QrtInspectOperand item;      /*  4: what is inspected */
  QrtInspectPhrase phrases[1]; /* 16: as many as there are, in the order of the statement */
} QrtInspectBlock;

/* Guarded. Carries out the phrases in one pass over the item from the left: at each place the first phrase
   that matches counts or replaces, and the pass goes on behind what it matched; CONVERTING takes each
   character that it reaches. Phrases behind a TALLYING phrase that aren't TALLYING start another pass.
   Comparisons see operands that overlap the item as the pass has left them. An operand without a length
   matches nothing. Counters are added to and may wrap; none may share storage with an operand.
   Operands of a replacing phrase that differ in length, the replacement not being figurative, are cut to the
   shorter length, with message 76 for CHARACTERS and 77 for the others. Memory is asked for by statements of
   more than 12 phrases only; message 907 if there is none. */
QRT_API void _qrtcInspect(const QrtInspectBlock* block);

/* ======================================================================================================
 * STRING and UNSTRING
 * ====================================================================================================== */

/* Lengths are bytes; one below 0 counts as 0. Of double-byte and national data a character has two bytes:
   delimiters are looked for at each second byte from the start only, and pointers and counts are in
   characters. Where the program's collating table is in force, for single-byte data, a delimiter is found
   where the table maps both texts to the same bytes. */

/* A sending field. */
typedef struct QrtStringField {
  const uint8_t* data; /* 0 */
  int32_t length;      /* 4 */
} QrtStringField;

/* A delimiter and the sending fields that end before it. The next group follows the last field. */
typedef struct QrtStringGroup {
  const uint8_t* delimiter; /*  0: null for DELIMITED BY SIZE */
  int32_t delimiterLength;  /*  4: 0 for DELIMITED BY SIZE */
  int32_t fieldCount;       /*  8 */
  QrtStringField fields[1]; /* 12: as many as there are */
} QrtStringGroup;

/* Bits of QrtStringBlock.flags. */
#define QRT_STRING_POINTER 0x80
#define QRT_STRING_DOUBLE_BYTE 0x40
#define QRT_STRING_COLLATING 0x10 /* the program's collating table is in force */
#define QRT_STRING_NATIONAL 0x08

typedef struct QrtStringBlock {
  uint8_t reserved0[3];
  uint8_t flags;        /*  3: QRT_STRING_* */
  uint8_t* target;      /*  4 */
  int32_t targetLength; /*  8 */
  int32_t pointer;      /* 12: in, with QRT_STRING_POINTER: first character to write, from 1; out, always: the
                                one behind the last written */
  int32_t groupCount;   /* 16 */
  QrtStringGroup groups[1]; /* 20: as many as there are */
} QrtStringBlock;

/* Guarded. STRING: appends to the target, from the pointer on, each sending field or what stands before its
   delimiter; the rest of the target stays as it was. What doesn't fit is cut, later fields are still tried,
   and a word at `overflow` that isn't 0 is incremented. A pointer outside of the target moves nothing.
   `programContext` is looked at with QRT_STRING_COLLATING only. */
QRT_API void _qrtcString(QrtStringBlock* block, const QrtProgramBlock* programContext, uint32_t* overflow);

/* Bit of QrtUnstringDelimiter.flags. */
#define QRT_DELIMITER_ALL 0x80000000u /* adjacent occurrences count as one */

/* A delimiter; one of no length is never found. */
typedef struct QrtUnstringDelimiter {
  const uint8_t* data; /* 0 */
  int32_t length;      /* 4 */
  uint32_t flags;      /* 8: QRT_DELIMITER_ALL */
} QrtUnstringDelimiter;

/* Bits of QrtUnstringBlock.flags. */
#define QRT_UNSTRING_POINTER 0x80
#define QRT_UNSTRING_DOUBLE_BYTE 0x40
#define QRT_UNSTRING_COLLATING 0x10 /* the program's collating table is in force */
#define QRT_UNSTRING_TALLYING 0x08
#define QRT_UNSTRING_NATIONAL 0x02

typedef struct QrtUnstringBlock {
  uint8_t reserved0[3];
  uint8_t flags;          /*  3: QRT_UNSTRING_* */
  const uint8_t* source;  /*  4 */
  int32_t sourceLength;   /*  8 */
  int32_t pointer;        /* 12: with QRT_UNSTRING_POINTER: first character to look at, from 1; out: the
                                  first one that wasn't */
  int32_t tally;          /* 16: with QRT_UNSTRING_TALLYING, the receivers acted upon are added */
  int32_t delimiterCount; /* 20 */
  int32_t receiverCount;  /* 24 */
  QrtUnstringDelimiter delimiters[1]; /* 28: as many as there are, in the order in which they are tried */
} QrtUnstringBlock;

/* Bits of QrtUnstringReceiver.flags; of delimiterFlags, QRT_RECEIVER_RIGHT. */
#define QRT_RECEIVER_NUMERIC 0x80
#define QRT_RECEIVER_SIGN_SEPARATE 0x40
#define QRT_RECEIVER_SIGN_LEADING 0x20
#define QRT_RECEIVER_RIGHT 0x10            /* JUSTIFIED RIGHT */
#define QRT_RECEIVER_NUMERIC_TWO_BYTE 0x08 /* numeric, two bytes a digit */

typedef struct QrtUnstringReceiver {
  uint8_t* data;  /*  0 */
  int32_t length; /*  4: bytes */
  int32_t digits; /*  8: of a numeric receiver, its digit positions */
  uint8_t reserved12[3];
  uint8_t flags;           /* 15: QRT_RECEIVER_* */
  uint8_t* delimiter;      /* 16: DELIMITER IN; null for none */
  int32_t delimiterLength; /* 20: bytes */
  uint8_t reserved24[3];
  uint8_t delimiterFlags; /* 27 */
  int32_t count;          /* 28: COUNT IN, out: characters of the field before it was cut */
} QrtUnstringReceiver;

/* Guarded. UNSTRING: cuts the source, from the pointer on, at its delimiters, or without any into pieces of
   the receivers' sizes, one for each receiver. Receivers that the source doesn't reach stay as they are, with
   their DELIMITER IN and COUNT IN. Text is justified, cut and padded with blanks. A numeric receiver gets the
   last bytes of the field, whatever they are, behind zeros in its digit positions, zeros behind these and a
   separate sign "+". DELIMITER IN gets the delimiter once, as the block has it, or blanks. Source left over
   increments a word at `overflow` that isn't 0; a pointer outside of the source moves nothing.
   `programContext` is looked at with QRT_UNSTRING_COLLATING only. */
QRT_API void _qrtcUnString(QrtUnstringBlock* block, QrtUnstringReceiver* receivers,
                           const QrtProgramBlock* programContext, uint32_t* overflow);

/* ======================================================================================================
 * Files
 * ====================================================================================================== */

/* Values of QrtFileDescription.organization; 0x80 also stands for sequential. */
#define QRT_ORGANIZATION_SEQUENTIAL 0x00
#define QRT_ORGANIZATION_RELATIVE 0x10
#define QRT_ORGANIZATION_INDEXED 0x20
#define QRT_ORGANIZATION_LINE_SEQUENTIAL 0x40

/* Values of QrtFileDescription.accessMode. */
#define QRT_ACCESS_SEQUENTIAL 0x80
#define QRT_ACCESS_RANDOM 0x40
#define QRT_ACCESS_DYNAMIC 0x20

/* Values of QrtFileDescription.recordFormat. */
#define QRT_RECORD_FIXED 0x80
#define QRT_RECORD_VARIABLE 0x40

/* A row of the key table of an indexed file; the first is the prime key. */
typedef struct QrtFileKey {
  uint32_t offset; /*  0: of the key in the record, bytes from 0 */
  uint32_t length; /*  4: bytes */
  uint8_t flags;   /*  8: QRT_KEY_* */
  uint8_t reserved9[3];
} QrtFileKey;
#define QRT_KEY_DUPLICATES 0x80 /* WITH DUPLICATES; alternate keys only */

/* The relative key of a relative file. */
typedef struct QrtRelativeKey {
  uint32_t value; /*  0: record number, from 1 */
  char name[30];  /*  4 */
  uint8_t reserved34[2];
} QrtRelativeKey;

/* Bits of QrtFileDescription.attributes. With neither ASSIGN bit the assignment names an environment
   variable. */
#define QRT_FILE_OPTIONAL 0x80
#define QRT_FILE_ASSIGN_AS_IS 0x08
#define QRT_FILE_ASSIGN_TEXT 0x04
#define QRT_FILE_EXTERNAL 0x02

/* Description of one file, laid out by the compiler. Offsets without a field are the compiler's own. */
struct QrtFileDescription {
  uint32_t reserved0;
  int32_t fileIndex;      /*   4: 1-based position in the program's descriptions */
  char fileSystemCode[4]; /*   8: code character and three letters given in the source */
  uint8_t organization;   /*  12: QRT_ORGANIZATION_* */
  uint8_t accessMode;     /*  13: QRT_ACCESS_* */
  uint8_t recordFormat;   /*  14: QRT_RECORD_* */
  uint8_t attributes;     /*  15: QRT_FILE_* */
  uint32_t maxRecord;     /*  16: longest record, bytes */
  uint32_t minRecord;     /*  20: shortest record, bytes */
  uint32_t flushLength;   /*  24: with lineFlags 0x20, record length that is flushed at once */
  uint32_t keyCount;      /*  28: keys of an indexed file */
  char externalName[44];  /*  32: terminated name, key of the run unit's file table */
  uint16_t assignLength;  /*  76: bytes of assignName */
  uint16_t status2Length; /*  78: bytes of the extended status area */
  uint8_t lineFlags;      /*  80: bit 0x20 flush at the end of each record of flushLength */
  uint8_t linageFlags;    /*  81: bit 0x80 LINAGE, 0x40 FOOTING, 0x20 TOP, 0x10 BOTTOM */
  uint8_t statusFlags;    /*  82: bit 0x80 FILE STATUS in EBCDIC, 0x40 extended status in EBCDIC,
                                  0x10 FILE STATUS in two-byte characters */
  uint8_t reserved83[5];
  uint32_t statusOffset;      /*  88: FILE STATUS from its base */
  uint32_t status2Offset;     /*  92: extended status from its base */
  uint32_t keyBlockOffset;    /*  96: from this block, a QrtFileKey for each key */
  uint32_t relativeKeyOffset; /* 100: from this block, a QrtRelativeKey; 0 for none */
  uint32_t otherBlockOffset;  /* 104: block of 8 bytes */
  uint32_t linageOffset; /* 108: block of 144 bytes: for LINAGE, FOOTING, TOP and BOTTOM a 30-byte name at
                                 2, 38, 74, 110 and a 32-bit value at 32, 68, 104, 140 */
  uint32_t reserved112[2];
  uint8_t** recordAreaSlot; /* 120: address of the word that receives the record area */
  const char* assignName;   /* 124: assignment text */
  uint8_t** statusBase;     /* 128: word with the base of FILE STATUS; 0 in it means no such clause */
  uint8_t** status2Base;    /* 132: the same for the extended status */
};

/* Low byte of openRequest and openState: what the open mode allows. */
#define QRT_OPEN_CAN_READ 0x0080
#define QRT_OPEN_CAN_WRITE 0x0040
#define QRT_OPEN_CAN_REWRITE 0x0020 /* REWRITE and DELETE */
/* High byte: the open mode. */
#define QRT_OPEN_INPUT 0x8000
#define QRT_OPEN_OUTPUT 0x4000
#define QRT_OPEN_IO 0x2000
#define QRT_OPEN_EXTEND 0x1000
#define QRT_OPEN_NO_REWIND 0x0400

/* Bits of closeFlags. */
#define QRT_CLOSE_SILENT 0x0001 /* from the end of the run unit: no USE procedure */
#define QRT_CLOSE_MEMBER 0x0400 /* a step inside a concatenation */
#define QRT_CLOSE_LOCK 0x1000
#define QRT_CLOSE_REEL 0x2000
#define QRT_CLOSE_UNIT 0x4000

/* Bits of QrtFcb.flags. */
#define QRT_FCB_ABSENT 0x80000000u /* OPTIONAL file that isn't there */
#define QRT_FCB_TERMINAL 0x40000000u
#define QRT_FCB_AT_END 0x10000000u
#define QRT_FCB_READ_POSITION 0x08000000u /* read position valid */
#define QRT_FCB_POSITIONED 0x02000000u    /* position established by OPEN or START */
#define QRT_FCB_SHARED 0x01000000u        /* EXTERNAL, bound more than once */
#define QRT_FCB_CONCATENATED 0x00800000u
#define QRT_FCB_NAME_ALLOCATED 0x00400000u /* fileName is an allocated block */

/* Codes of currentOperation and lastOperation. */
#define QRT_VERB_READ 0x80
#define QRT_VERB_WRITE 0x40
#define QRT_VERB_REWRITE 0x20
#define QRT_VERB_START 0x10
#define QRT_VERB_DELETE 0x08
#define QRT_VERB_OPEN 0x04
#define QRT_VERB_CLOSE 0x02

/* Bits of statementFlags. */
#define QRT_STATEMENT_INVALID_KEY 0x80
#define QRT_STATEMENT_AT_END 0x20
#define QRT_STATEMENT_READ_NEXT 0x02

/* Values of QrtFcb.startRelation: how the key of the record that START looks for stands to the one given. */
#define QRT_START_EQUAL 0
#define QRT_START_GREATER 1
#define QRT_START_NOT_LESS 2
#define QRT_START_LESS 3
#define QRT_START_NOT_GREATER 4

/* A verb's routine, called through the slots of the control block. */
typedef void (*QrtFileRoutine)(QrtFcb* file, QrtProgramEntry* program);

/* A USE procedure and its argument. */
typedef struct QrtUsePair {
  void (*routine)(void* argument);
  void* argument;
} QrtUsePair;

/* The file control block: state of one file and the routine of each verb. It lies in the program, or for an
   EXTERNAL file in the run unit; adapters use the same fields. */
struct QrtFcb {
  char eyecatcher[3]; /*   0: "FCB" */
  uint8_t reserved3;
  int32_t fileIndex;      /*   4: from the description */
  char fileSystemChar;    /*   8: code of the file system in use, "0" to "9" */
  char fileSystemName[3]; /*   9: its three letters */
  uint8_t defaultCode;    /*  12: code of the default file system, as a number */
  char defaultName[3];    /*  13 */
  uint8_t reserved16[8];
  uint16_t openRequest;            /*  24: QRT_OPEN_*: the OPEN that is asked for */
  uint16_t openState;              /*  26: QRT_OPEN_*: as opened; 0 while closed */
  uint16_t closeFlags;             /*  28: QRT_CLOSE_* */
  uint16_t lastCloseFlags;         /*  30: those of the last close */
  uint32_t flags;                  /*  32: QRT_FCB_* */
  QrtFileDescription* description; /* 36 */
  int16_t status;                  /*  40: FILE STATUS as a number, 0 to 99 */
  uint8_t lastOperation;           /*  42: QRT_VERB_* */
  uint8_t currentOperation;        /*  43: QRT_VERB_* */
  uint8_t startRelation;           /*  44: QRT_START_*, for START of a record file */
  uint8_t keyOfReference;          /*  45: for START and random READ of an indexed file: key, from 0 */
  uint8_t reserved46;
  uint8_t statementFlags; /*  47: QRT_STATEMENT_* */
  FILE* stream;           /*  48: of a line sequential file */
  uint32_t
      startKeyLength; /*  52: for START of an indexed file: leading bytes of the key that count, 0 for all */
  const char* fileName; /*  56: name in use, terminated */
  uint32_t reserved60;
  uint8_t* recordBase;      /*  64: record buffer: 32 bytes of prefix, then the record */
  uint8_t* record;          /*  68: record area */
  void* adapterBlock1;      /*  72: freed at close */
  void* adapterBlock2;      /*  76: freed at close */
  uint32_t recordLength;    /*  80: of the current record, bytes */
  uint32_t readLength;      /*  84: of the last line or record read, bytes */
  uint32_t adapterPosition; /*  88: 0 before open */
  uint32_t reserved92;
  uint16_t adapterCount; /*  96: 1 before open */
  uint16_t reserved98;
  uint32_t linageCurrent[4]; /* 100: LINAGE, FOOTING, TOP, BOTTOM at open */
  uint32_t linageSaved[4];   /* 116: copy of them */
  uint32_t linageValid;      /* 132: 1 when the copy has been made */
  uint32_t advanceLines;     /* 136: lines to advance; 1 by default */
  uint8_t advanceFlags;      /* 140: bit 0x20 ADVANCING given, 0x04 PAGE */
  uint8_t recordState;       /* 141: 0x40 after a WRITE, 0x04 after OPEN */
  char fileMode;             /* 142: "L" or "S" */
  uint8_t reserved143;
  QrtFileRoutine readRoutine;    /* 144 */
  QrtFileRoutine writeRoutine;   /* 148 */
  QrtFileRoutine rewriteRoutine; /* 152 */
  QrtFileRoutine startRoutine;   /* 156 */
  QrtFileRoutine deleteRoutine;  /* 160 */
  QrtFileRoutine closeRoutine;   /* 164 */
  QrtFileRoutine openRoutine;    /* 168: an adapter's own also gets the control block as third argument */
  void (*useRoutine)(QrtFcb* file, int32_t detail, QrtProgramEntry* program); /* 172 */
  QrtUsePair* useTable; /* 176: INPUT, OUTPUT, I-O, EXTEND, file-specific; null for none */
  uint32_t reserved180;
  struct QrtConcatenation* concatenation; /* 184: names still to be read; null for none */
  uint32_t reserved188[2];
  void* keyArea; /* 196: with more than one key, the extension behind this block */
};

/* A row of the adapter table of a run unit, one for each file system code. */
struct QrtAdapterRow {
  void (*init)(QrtFcb* file, QrtProgramEntry* program, int32_t code); /* _IO_Init; null until first use */
  uint32_t reserved[2];
};

/* Guarded. Binds a program's files at its first entry: `files` and `descriptions` have `fileCount` elements.
   An EXTERNAL file's control block is the run unit's: its element of `files` is set, and the word behind
   recordAreaSlot to the record buffer. Descriptions of one EXTERNAL file that differ end the run with
   message 75, a lack of memory with message 907. */
QRT_API void _qrtInitFCB(int32_t fileCount, QrtFcb** files, QrtFileDescription** descriptions,
                         QrtProgramBlock* program);

/* Guarded. OPEN of a closed file: finds name and file system, loads the adapter (which a line on standard
   error tells), has it open the file; writes FILE STATUS and runs the USE procedure. With status 10 or below
   the file is open. `program` is the first entry of the program that opens, here and below. */
QRT_API void _qrtGenericOpen(QrtFcb* file, QrtProgramEntry* program);

/* The end of a CLOSE, called by an adapter with the status set: frees the name in use and the adapter blocks,
   puts the control block back to closed, writes FILE STATUS, runs the USE procedure unless the close is
   silent. With QRT_CLOSE_MEMBER only the routines, flags and blocks go, and the statement goes on. `detail`
   as for _qrtCallUseProc. */
QRT_API void _qrtGenericClose(QrtFcb* file, QrtProgramEntry* program, int32_t detail);

/* Guarded. Runs the USE procedure for a status of 10 or above, unless the statement has INVALID KEY or AT END
   for it. A permanent error that has neither a procedure nor a status area ends the run with message 200;
   `detail` is the variant of message 201 that explains it, 0 for none. */
QRT_API void _qrtCallUseProc(QrtFcb* file, int32_t detail, QrtProgramEntry* program);

/* Guarded. Fills an extended status area of `length` bytes: blanks; from 6 bytes on the code in six digits;
   at status 33 or 35 a comma and the name in use, as far as it fits. _qrt_filestat2x also adds a comma, the
   file system's letters, a comma and the name at status 96. `unused` is not looked at. */
QRT_API void _qrt_filestat2(uint8_t* area, int32_t length, int32_t code, QrtFcb* file, int32_t unused);
QRT_API void _qrt_filestat2x(uint8_t* area, int32_t length, int32_t code, QrtFcb* file, int32_t unused);

/* Guarded. The verbs of a file that is in the wrong state for them: each sets the status that says why, fills
   the status areas and runs the USE procedure. */
QRT_API void _qrtOpenError(QrtFcb* file, QrtProgramEntry* program);    /* 38, 41, 30 */
QRT_API void _qrtCloseError(QrtFcb* file, QrtProgramEntry* program);   /* 42, 30; 0 for an absent file */
QRT_API void _qrtReadError(QrtFcb* file, QrtProgramEntry* program);    /* 47, 10, 46, 23, 30 */
QRT_API void _qrtWriteError(QrtFcb* file, QrtProgramEntry* program);   /* 92, 48, 30 */
QRT_API void _qrtRewriteError(QrtFcb* file, QrtProgramEntry* program); /* 49, 30 */
QRT_API void _qrtStartError(QrtFcb* file, QrtProgramEntry* program);   /* 47, 23, 30 */
QRT_API void _qrtDeleteError(QrtFcb* file, QrtProgramEntry* program);  /* 49, 30 */

/* Guarded. The routines of a line sequential file: text, one line a record, trailing blanks not stored. READ
   puts up to maxRecord + 1 characters and a terminator at `record` and pads it with blanks to maxRecord; of a
   longer line one character is lost, and the next READ goes on behind it. WRITE puts a line feed ahead of
   each record but the first, or what ADVANCING asks for; CLOSE ends the last record. Status 30 for a failed
   read or write, 44 for a record length out of range. */
QRT_API void _qrtLineSeqOpen(QrtFcb* file, QrtProgramEntry* program);
QRT_API void _qrtLineSeqRead(QrtFcb* file, QrtProgramEntry* program);
QRT_API void _qrtLineSeqWrite(QrtFcb* file, QrtProgramEntry* program);
QRT_API void _qrtLineSeqClose(QrtFcb* file, QrtProgramEntry* program);

/* Guarded. Moves an open concatenated file on to its next member that is there, whatever its file system: at
   the end of a member an adapter calls it and reads on. 1 when that member is open, with status 0; 0 when
   there are no more, with status 10 and QRT_FCB_AT_END; -1 when it can't be opened, with status 33, the
   member's own status as extended status, and the file closed. FILE STATUS is written, and the USE procedure
   runs for status 10 and above. */
QRT_API int32_t _qrtLineSeqNext(QrtFcb* file, QrtProgramEntry* program);

/* ------------------------------------------------------------------------------------------------------
 * Concatenations: names parted by ";", or a whole generation group, that are read as one file. OPEN makes the
 * list and keeps it in the control block, CLOSE frees it.
 * ------------------------------------------------------------------------------------------------------ */

/* A list of names, in one block. Behind it lie further names, the room for resolved ones and the text. */
typedef struct QrtConcatenation {
  int32_t entries; /* number of names, at most 256 */
  int32_t next;    /* index of the next name to hand out */
  int32_t
      generation; /* walking a group: the last generation handed out, 0 the newest, -1 the one before it */
  int32_t flags;  /* bit 0x01: the name at `next` is the base of a group that is being walked */
  char fileSystem[4]; /* three letters, terminated */
  char* text;         /* the names, each terminated */
  char* names[1];     /* `entries` of them */
} QrtConcatenation;

/* Unguarded, as are the calls below. Takes an assigned name for the list that it is: names parted by ";",
   empty ones skipped; or a whole group; or one generation, whose file is then the only name. Null for a
   single plain file, and when there are more than 256 names or no memory. *isConcatenation becomes 1 for the
   first two kinds, else 0. With `create` not 0 a generation with a new number is added to its catalogue.
   `letters`: the file system, at least three letters or terminated. */
QRT_API QrtConcatenation* _qrt_Concat_Check(const char* name, int32_t* isConcatenation, int32_t create,
                                            const char* letters);

/* The next name; null behind the last. A group hands out the files of its generations, the newest first. The
   text belongs to the list, and holds until the next call. */
QRT_API const char* _qrt_Concat_Next(QrtConcatenation* list);
QRT_API void _qrt_Concat_Free(QrtConcatenation* list);

/* Prints the list on standard output; 0. */
QRT_API int32_t _qrt_Concat_Print(const QrtConcatenation* list);

/* ------------------------------------------------------------------------------------------------------
 * Generation data groups: files of one base name in numbered generations, base.gNNNNv00, listed in the
 * catalogue file base.catalogue. These calls need no run unit. Names, with a directory in front if need be:
 *
 *   base, base(*)                   the whole group
 *   base(0), base(-n), base(+n)     the newest generation, the n-th behind it, a new one n above its number
 *   base(n), n above 0              the n-th behind the newest
 *   base.gNNNNv00                   generation NNNN
 *
 * `letters` names the file system, in any case, at least three letters or terminated: "sys", "nat", "nsd",
 * "plt" files, "hdu", "krd" files with companions, "kfs" a file server, "qdb" database tables, "ora"; null or
 * anything else leaves it to be worked out. The results are 0, or -1 with a line on standard error; a bad
 * name or number also sets errno to EINVAL.
 * ------------------------------------------------------------------------------------------------------ */

/* Bits of `flags`. */
#define QRT_GDG_EMPTY 0x01   /* a full group drops all its generations instead of the oldest */
#define QRT_GDG_SCRATCH 0x02 /* the file of a dropped generation is deleted */

/* Makes the catalogue of a new group. limit: most generations, up to 1,000; 255 for 0 and below. days: age
   below which a generation isn't dropped. flags: QRT_GDG_*; QRT_GDG_SCRATCH for a negative value. */
QRT_API int32_t GDG_Create(const char* name, int32_t limit, int32_t days, int32_t flags, const char* letters);

/* Changes the settings, each left as it is by a negative value, and drops what is above the limit. */
QRT_API int32_t GDG_Alter(const char* name, int32_t limit, int32_t days, int32_t flags, const char* letters);

/* Drops generations whose files have gone, and what is above the limit. */
QRT_API int32_t GDG_Cleanup(const char* name, const char* letters);

/* Always -1. */
QRT_API int32_t GDG_Rebuild(const char* name, const char* letters);

/* Deletes the catalogue, and with QRT_GDG_SCRATCH the files of all generations. */
QRT_API int32_t GDG_Unlink(const char* name, const char* letters);

/* Prints settings and generations on standard output. */
QRT_API int32_t GDG_Print(const char* name, const char* letters);

/* What a name stands for: -1 a whole group, 1 a generation, 0 neither, or nothing in a known group. *resolved
   receives the base name or the file name, to be freed by free(); null for 0. A generation whose file exists
   is added to the catalogue when it isn't listed; with `create` not 0, any. */
QRT_API int32_t GDS_Name(const char* name, char** resolved, int32_t create, const char* letters);

/* Takes a generation out of its catalogue, with QRT_GDG_SCRATCH also its file; GDG_Unlink for a whole group.
   0 also for a generation that isn't listed. */
QRT_API int32_t GDS_unlink(const char* name, const char* letters);

/* Always 0. */
QRT_API int32_t GDG(void);

/* ======================================================================================================
 * Code pages and national text
 *
 * National text is UTF-16 in native byte order. Its lengths are in bytes; an odd last byte doesn't count.
 * Names of code pages are those of ICU, or "QMC-" and the number of a page of that family.
 *
 * A process runs with one pair of code pages: the ASCII side is the code set of the locale (LC_ALL, LC_CTYPE,
 * LANG), the EBCDIC side comes from the locale's row in LCCP_Tbl or from EBCDIC_CODEPAGE. The names with a
 * leading underscore are guarded, the others are the same services without a guard. Results other than 0 are
 * ICU status codes: 4 no such converter, 11 the result was cut, and so on.
 * ====================================================================================================== */

/* A locale and its code pages; a name is terminated, and empty for none. */
typedef struct QrtLocaleRow {
  char key[6];                /*  0: as in EN_US */
  uint8_t doubleByteSpace[2]; /*  6: in the locale's multi-byte code page; two blanks without one */
  char ebcdic[15];            /*  8 */
  char ebcdicEuro[15];        /* 23: with the euro sign; what a run gets by default */
  char others[6][15];         /* 38: of PC systems and open systems; for information */
} QrtLocaleRow;

#define QRT_LOCALE_ROWS 53

QRT_DATA const QrtLocaleRow LCCP_Tbl[QRT_LOCALE_ROWS]; /* a locale that isn't in it gets the row of EN_US */

/* State of the services, for inspection. */
QRT_DATA int32_t Uerror;         /* code of the last ICU call */
QRT_DATA int32_t rc;             /* result of the last conversion */
QRT_DATA void* ucnv_1;           /* converter of the running conversion */
QRT_DATA int32_t save_converter; /* 1 when that one is kept for the next call */
QRT_DATA int32_t sourceLen;      /* of the last conversion: bytes, or units of national text */
QRT_DATA int32_t targetLen;
QRT_DATA int32_t resultChars; /* units */
QRT_DATA int32_t resultBytes;
QRT_DATA uint32_t msgflag; /* flags of the messages that the services write */
QRT_DATA char str_null[1];
QRT_DATA const uint16_t Uspace; /* the national space, which pads */
QRT_DATA char RT_locale[121];   /* the locale in the form ll_CC.code-set */
QRT_DATA const char* lp;        /* what the locale query returned */
QRT_DATA char ll_CC[6];         /* language and country */
QRT_DATA char ll[3];            /* language */
QRT_DATA char ascii_CP[50];     /* the pair, by name */
QRT_DATA char ebcdic_CP[52];
QRT_DATA char CP_str[32]; /* the last code page name that a caller gave */
QRT_DATA const char* CP_1;
QRT_DATA uint32_t icu_data_var;

/* Prepares the services, which each of them does by itself; releases what they keep. A run unit does both. */
QRT_API void qrtUInit(void);
QRT_API void _qrtUInit(void);
QRT_API void qrtUTerm(void);
QRT_API void _qrtUTerm(void);

/* Converts between a code page and national text. `selector` chooses the code page: 0 the ASCII side, -1 the
   EBCDIC side, else the length of the name at `codePage`, at most 31 bytes, which is opened for this call.
   *targetBytes is the room, and becomes the bytes written. Characters without a counterpart become the
   substitution character of the target. A result that doesn't fit is cut by ToUnicode, which returns 11 and
   the bytes that fit; FromUnicode returns 11 and leaves *targetBytes alone, as both do with any other error.
   Messages 221, 222. */
QRT_API int32_t qrtConvToUnicode(const void* source, int32_t sourceBytes, void* target, int32_t* targetBytes,
                                 const char* codePage, int32_t selector);
QRT_API int32_t _qrtConvToUnicode(const void* source, int32_t sourceBytes, void* target, int32_t* targetBytes,
                                  const char* codePage, int32_t selector);
QRT_API int32_t qrtConvFromUnicode(const void* source, int32_t sourceBytes, void* target,
                                   int32_t* targetBytes, const char* codePage, int32_t selector);
QRT_API int32_t _qrtConvFromUnicode(const void* source, int32_t sourceBytes, void* target,
                                    int32_t* targetBytes, const char* codePage, int32_t selector);

/* -1, 0 or 1 by the collation of the locale, trailing spaces apart; a positive code, and message 224, when
   that can't be opened (a code of 1 doesn't come). */
QRT_API int32_t qrtCompareUnicode(const void* first, int32_t firstBytes, const void* second,
                                  int32_t secondBytes);
QRT_API int32_t _qrtCompareUnicode(const void* first, int32_t firstBytes, const void* second,
                                   int32_t secondBytes);

/* Moves whole characters and pads with spaces. A negative targetBytes justifies to the right: a text that is
   too long then loses its first characters. */
QRT_API void qrtMoveUnicode(void* target, int32_t targetBytes, const void* source, int32_t sourceBytes);
QRT_API void _qrtMoveUnicode(void* target, int32_t targetBytes, const void* source, int32_t sourceBytes);

/* Case mapping by the locale. *targetBytes is the room and becomes the length of the result, which may differ
   from the source's; message 225 leaves it alone. The target may lie on the source. */
QRT_API void qrtLowerCaseUnicode(void* target, int32_t* targetBytes, const void* source, int32_t sourceBytes);
QRT_API void _qrtLowerCaseUnicode(void* target, int32_t* targetBytes, const void* source,
                                  int32_t sourceBytes);
QRT_API void qrtUpperCaseUnicode(void* target, int32_t* targetBytes, const void* source, int32_t sourceBytes);
QRT_API void _qrtUpperCaseUnicode(void* target, int32_t* targetBytes, const void* source,
                                  int32_t sourceBytes);

/* From one side of the pair to the other. *room is the room at `target` and becomes what is not used; a text
   that is too long is cut without a word. An error leaves *room as it was. The target may be the source. */
QRT_API int32_t qrtUniAtoE(const void* source, int32_t sourceBytes, void* target, int32_t* room);
QRT_API int32_t _qrtUniAtoE(const void* source, int32_t sourceBytes, void* target, int32_t* room);
QRT_API int32_t qrtUniEtoA(const void* source, int32_t sourceBytes, void* target, int32_t* room);
QRT_API int32_t _qrtUniEtoA(const void* source, int32_t sourceBytes, void* target, int32_t* room);

/* Settles the pair once in a process and puts it into the run unit's record. Message 230 when EBCDIC_CODEPAGE
   is unknown or belongs to another locale. */
QRT_API void qrtSetLocaleCP(void);
QRT_API void _qrtSetLocaleCP(void);

/* The same, and copies the two names, of up to 22 and 18 bytes with their terminators. */
QRT_API void qrtGetLocaleCP(char* locale, char* ebcdicCodePage);
QRT_API void _qrtGetLocaleCP(char* locale, char* ebcdicCodePage);

/* Settles the pair where that hasn't been done. */
QRT_API void qrtcSetCodePages(void);
QRT_API void _qrtcSetCodePages(void);

/* Bytes of the longest character: in the locale; in a code page (0, and message 221, when there is none). */
QRT_API int32_t qrtGetMBCurMax(void);
QRT_API int32_t _qrtGetMBCurMax(void);
QRT_API int32_t qrtGetMaxCharSize(const char* codePage);

/* The CCSID of a code page. 0; or 1 when the page has none, 2 when there is no such page, *ccsid then being
 * -1. */
QRT_API int32_t qrtGetCCSID(const char* codePage, int32_t* ccsid);
QRT_API int32_t _qrtGetCCSID(const char* codePage, int32_t* ccsid);

/* 0 when the name of that many bytes is a code page, else 1. */
QRT_API int32_t qrtValidateCPID(const char* name, int32_t length);
QRT_API int32_t _qrtValidateCPID(const char* name, int32_t length);

/* From the native side to EBCDIC. *targetLength is the room, which cuts the result, and becomes the bytes
   written; 0 with an error. A negative sourceLength marks double-byte text whose result has no shift bytes
   around it; a negative *targetLength asks for a shift-in behind a text that leaves a shift open. One shift
   byte alone is copied. */
QRT_API int32_t qrtConvToEBCDIC(const void* source, int32_t sourceLength, void* target,
                                int32_t* targetLength);
QRT_API int32_t _qrtConvToEBCDIC(const void* source, int32_t sourceLength, void* target,
                                 int32_t* targetLength);

/* From EBCDIC to the native side, the rest of the field filled with blanks. *targetLength is the length of
   the field, and becomes the bytes of the text in it; 0 with an error. A negative sourceLength marks
   double-byte text, whose shift bytes are put in order first; a negative *targetLength justifies to the
   right. One shift byte alone that isn't marked so is copied, and the rest of the field left alone. */
QRT_API int32_t qrtConvToASCII(const void* source, int32_t sourceLength, void* target, int32_t* targetLength);
QRT_API int32_t _qrtConvToASCII(const void* source, int32_t sourceLength, void* target,
                                int32_t* targetLength);

/* Guarded. Fill the collating tables of a program, which are made once in a process. EBCDIC: in both tables
   the native byte of each byte of the EBCDIC side. CollSeq: each byte's place in the order of the locale, and
   the bytes in that order. */
QRT_API void _qrtcEBCDIC(QrtProgramBlock* program);
QRT_API void _qrtcCollSeq(QrtProgramBlock* program);

/* ======================================================================================================
 * Intrinsic functions on dates
 *
 * Guarded. Dates are decimal numbers, YYYYMMDD or YYYYDDD (year and day of the year); an integer date counts
 * days from 1 for 1 January 1601 by the Gregorian calendar.
 * ====================================================================================================== */

/* CURRENT-DATE: the local date and time YYYYMMDDHHMMSShh, hh hundredths of a second, then the offset of the
   local time from Greenwich, a sign, hours and minutes. */
#define QRT_CURRENT_DATE_LENGTH 21
QRT_API void _qrtCurrentDate(uint8_t* result);

/* The date of an integer date from 1 on. The range isn't checked. */
QRT_API int32_t _qrtDateOfInteger(int32_t integerDate); /* YYYYMMDD */
QRT_API int32_t _qrtDayOfInteger(int32_t integerDate);  /* YYYYDDD */

/* The integer date of a date from 1601 to 9999; for any other message 160 or 161, and 0. */
QRT_API int32_t _qrtIntegerOfDate(int32_t date);
QRT_API int32_t _qrtIntegerOfDay(int32_t day);

/* Put a year of two digits into the hundred years that end `offset` years from now, as 4 ASCII digits; behind
   them the 3 or 4 other digits of YYDDD or YYMMDD as they are. Message 160 for a window that ends outside of
   1699 to 10000, with `function` as the name of what was called. */
QRT_API void _qrtYearToYYYY(int32_t year, int32_t offset, uint8_t* result, const char* function);
QRT_API void _qrtDayToYYYYDDD(int32_t day, int32_t offset, uint8_t* result);
QRT_API void _qrtDateToYYYYMMDD(int32_t date, int32_t offset, uint8_t* result);

/* ======================================================================================================
 * The sort engine
 * ====================================================================================================== */

/* A block of memory: a row of a list of sources or targets, which ends with a row whose address is null; or
   what an exit gets and gives. */
typedef struct QrtSortBuffer {
  uint8_t* address;
  int32_t length; /* bytes */
  int32_t used;   /* out: bytes filled, or taken */
} QrtSortBuffer;

/* Results of an exit. An output exit that returns something else ends the run with that as its return code.
 */
#define QRT_EXIT_GO_ON 0
#define QRT_EXIT_ERROR 1
#define QRT_EXIT_END 2           /* end of the input; no more output is wanted */
#define QRT_EXIT_NO_MORE_CALLS 3 /* input: what remains of the sources is taken as it is */

/* A user exit. `from` is what the engine has for it: the exit sets `used` to what it took. `to` is room for
   what it gives: it sets `used`, and may set the address to a buffer of its own, which must stay until the
   next call. An input exit stands between the sources and the engine, an output exit between the engine and
   the output. */
typedef int32_t (*QrtSortExit)(QrtSortBuffer* to, QrtSortBuffer* from);

/* What the error callback gets, once in a run. */
typedef struct QrtSortErrorRecord {
  int32_t systemCode; /* of the failed call; 255 for a message */
  const char* name;   /* of the file; the text of a message */
  int32_t fileNumber; /* from 0; -1 for a message */
  int32_t kind;       /* 0 open, 3 close, 4 read, 5 write, 6 message */
  void* context;      /* the caller's */
} QrtSortErrorRecord;
typedef void (*QrtSortErrorCallback)(QrtSortErrorRecord* record);

/* Runs the sort engine: `options` is an option text in its language (see the manual of the sort engine).
   Lists, exits, callback and the collating table of 256 bytes may be null. Returns 0, or the number of the
   first error: of a message of the engine, of an internal error above 1000, or 1 for equal keys under "ustop"
   and a failed check. */
QRT_API int32_t Lumasift_Lite(const char* options, QrtSortBuffer* sources, QrtSortBuffer* targets,
                              QrtSortExit inputExit, QrtSortExit outputExit, const uint8_t* collatingTable,
                              QrtSortErrorCallback errorCallback, void* callbackContext);

/* ======================================================================================================
 * SORT and MERGE
 *
 * With INPUT PROCEDURE: function 1, _qrtRelease for each record, function 3. With OUTPUT PROCEDURE: then
 * _qrtReturn until the end. Files of USING and GIVING are closed before and behind.
 * ====================================================================================================== */

/* Functions of _qrtSortMerge. */
#define QRT_SORT_START 1
#define QRT_MERGE_START 2
#define QRT_SORT_RELEASED 3 /* end of the INPUT PROCEDURE */
#define QRT_SORT_REFUSED 4
#define QRT_SORT_CLEAN_UP 11

typedef struct QrtSortRegisters {
  int16_t* sortReturn;      /* SORT-RETURN: 0, or 16 after a failure */
  int32_t messageOff;       /* not 0: the program looks at SORT-RETURN; no message 26 */
  int32_t coreSize;         /* not used */
  int32_t statement;        /* shown by message 26 */
  QrtProgramEntry* program; /* first entry of the program */
} QrtSortRegisters;

#define QRT_SORT_FIXED 1
#define QRT_SORT_VARIABLE 2
typedef struct QrtSortRecordSpec {
  int32_t form;      /* QRT_SORT_FIXED, with equal lengths, or QRT_SORT_VARIABLE */
  int32_t minLength; /* bytes */
  int32_t maxLength; /* bytes */
} QrtSortRecordSpec;

/* Types of keys; lengths in bytes. A national key becomes an unsigned short for each character. */
#define QRT_SORT_KEY_INT 1
#define QRT_SORT_KEY_UINT 2
#define QRT_SORT_KEY_SHORT 3
#define QRT_SORT_KEY_USHORT 4
#define QRT_SORT_KEY_LONG 5
#define QRT_SORT_KEY_ULONG 6
#define QRT_SORT_KEY_FLOAT 7
#define QRT_SORT_KEY_DOUBLE 8
#define QRT_SORT_KEY_EXTENDED 9 /* 16 bytes */
#define QRT_SORT_KEY_CHAR 10    /* in the order of the collating table, if any */
#define QRT_SORT_KEY_BIN 11
#define QRT_SORT_KEY_PACKED 12
#define QRT_SORT_KEY_ZONED 13
#define QRT_SORT_KEY_FIXED 14 /* big-endian binary */
#define QRT_SORT_KEY_LEADING_SEPARATE 15
#define QRT_SORT_KEY_TRAILING_SEPARATE 16
#define QRT_SORT_KEY_LEADING_OVERPUNCH 17
#define QRT_SORT_KEY_TRAILING_OVERPUNCH 18
#define QRT_SORT_KEY_INT8 19
#define QRT_SORT_KEY_UINT8 20
#define QRT_SORT_KEY_NATIONAL 21
#define QRT_SORT_KEY_HEX4 (-7)
#define QRT_SORT_KEY_HEX8 (-8)

#define QRT_SORT_ASCENDING 1
#define QRT_SORT_DESCENDING 2
typedef struct QrtSortKeySpec {
  struct QrtSortKeySpec* next; /* null behind the last */
  int32_t offset;              /* in the record, from 0 */
  int32_t length;              /* bytes */
  int32_t type;                /* QRT_SORT_KEY_* */
  int32_t order;               /* QRT_SORT_ASCENDING or QRT_SORT_DESCENDING */
} QrtSortKeySpec;

typedef struct QrtSortKeyList {
  int32_t count;
  QrtSortKeySpec* first;
  uint32_t reserved;
} QrtSortKeyList;

typedef struct QrtSortFileList {
  int32_t count; /* 0: INPUT or OUTPUT PROCEDURE */
  QrtFcb** files;
} QrtSortFileList;

/* SORT and MERGE. All that is passed to the start must stay until the statement has ended; function 3 and the
   clean-up look at `registers` and at nothing, else only at what was passed to the start. The key list is
   rewritten where it has national keys. Fails with SORT-RETURN 16 and, unless messageOff, message 26, whose
   third value is the number of the failure: of the sort engine, or from 501 on of this statement (see the
   manual for compilers). _qrtSortMerge is guarded. */
QRT_API void qrtSortMerge(int32_t function, const QrtSortRegisters* registers,
                          const QrtSortRecordSpec* record, const uint8_t* collatingTable,
                          const char* controlFile, const QrtSortFileList* usingFiles,
                          const QrtSortFileList* givingFiles, QrtSortKeyList* keys);
QRT_API void _qrtSortMerge(int32_t function, const QrtSortRegisters* registers,
                           const QrtSortRecordSpec* record, const uint8_t* collatingTable,
                           const char* controlFile, const QrtSortFileList* usingFiles,
                           const QrtSortFileList* givingFiles, QrtSortKeyList* keys);

/* Guarded. RELEASE of a record of `length` bytes, cut or, in a fixed SD, filled with blanks to its length.
 *result becomes 16 when the work file can't be written, and stays as it is otherwise. */
QRT_API void _qrtRelease(int32_t length, const uint8_t* record, int16_t* result);

/* Guarded. RETURN: the next record and its length, or 1 in *atEnd when there is none, with all else as it
   was. */
QRT_API void _qrtReturn(int32_t* length, uint8_t* record, int16_t* atEnd);

/* The number of the last failure of a SORT or MERGE in this run unit, 0 for none. The second pair is
   guarded. */
QRT_API void GetSortErrno(int32_t* number);
QRT_API void GETSORTERRNO(int32_t* number);
QRT_API void qrtGetSortErrno(int32_t* number);
QRT_API void QRTGETSORTERRNO(int32_t* number);

/* ======================================================================================================
 * XML: parsing
 *
 * The document lies in memory as it is, in a single-byte code page, UTF-8 or UTF-16, and all text of events
 * and records points into it. There is no DTD processing. Results are 0 or a code: 1 to 18 warnings, 70 to 92
 * and 315 to 325 encodings, 100 to 162 fatal errors, from 500 on the operation itself.
 * ====================================================================================================== */

/* Handlers get the caller's `user` first and return 0 to go on; any other value ends the parse. Text comes
   with its length in units: bytes, or UTF-16 units. Null entries do nothing. The events, by their place in a
   table of kind 1, which has 24 entries:
   - 0 start of document: text, length; all of it
   - 1 version, 2 encoding, 3 standalone: text, length
   - 4 document type declaration: text, length
   - 5 end of document: nothing
   - 6 start of element: name, length
   - 7 attribute name: name, length
   - 8 attribute text: text, length
   - 9 entity in an attribute: character
   - 10 numeric reference in an attribute: code point
   - 11 end of element: name, length
   - 12 start, 13 end of a CDATA section: text, length
   - 14 content: text, length
   - 15 entity in content: character
   - 16 numeric reference in content: code point
   - 17 instruction: target, length, data, length
   - 18 comment: text, length
   - 19 unknown reference in an attribute, 20 in content: name, length
   - 21 and 22: none
   - 23 exception: the document as passed, the units of it up to and with the failing one, code
   A table of kind 2 has 25: 17 is the target and 18 the data of an instruction, each text and length, and the
   others move up by one. The answer 0 to an exception goes on after a warning, with nothing but further
   exceptions and the end of the document to come, and takes the default of an encoding code. Where the code
   is the declared CCSID, that answer takes the declared page. */
#define QRT_XML_SIMPLE_TABLE 1
#define QRT_XML_SPLIT_TABLE 2

/* Make a parser over a document, which stays the caller's and must live as long as the parser; or over a
   file, by a URI "file://PATH". `handlers` may be null for DOMPARSE; `handlerCount` is 1. *info becomes 3.
   Failures leave no parser: 500, 502, 503; 520, 522 to 527. */
QRT_API int32_t PASSXML(void* user, void** handle, int32_t handlerCount, int32_t* info, void* const* handlers,
                        const void* document, int32_t length, int32_t ccsid, int32_t tableKind);
QRT_API int32_t LOADXML(void* user, void** handle, int32_t handlerCount, int32_t* info, void* const* handlers,
                        const char* uri, int32_t ccsid, int32_t tableKind);

/* Scans the document once, telling the handlers. Returns 0 or the last exception's code, -1 when another
   handler ended the parse, 500 without storage for the names of open elements, 561 without handlers. */
QRT_API int32_t SAXPARSE(void* handle);

/* The header of a parsed document in a single-byte page. Texts are not terminated; null for none. */
typedef struct QrtXmlDocument {
  const void* version;        /*  0 */
  const void* encoding;       /*  4 */
  const void* standalone;     /*  8 */
  const void* doctype;        /* 12 */
  uint16_t versionLength;     /* 16 */
  uint16_t encodingLength;    /* 18 */
  uint16_t standaloneLength;  /* 20 */
  uint16_t doctypeLength;     /* 22 */
  uint16_t reserved24;        /* 24 */
  uint16_t root;              /* 26: index of the root element */
  uint16_t elementCount;      /* 28 */
  uint16_t documentNodes;     /* 30: index of the first node outside of the root element */
  uint16_t documentNodeCount; /* 32 */
} QrtXmlDocument;

/* The same of a document in UTF-16. */
typedef struct QrtXmlDocument16 {
  const void* version;
  const void* encoding;
  const void* standalone;
  const void* doctype;
  uint16_t versionLength;
  uint16_t encodingLength;
  uint16_t standaloneLength;
  uint16_t doctypeLength;
  uint16_t root; /* 24 */
  uint16_t elementCount;
  uint16_t documentNodes;
  uint16_t documentNodeCount;
} QrtXmlDocument16;

/* Records of a parsed document; indexes count from 1, 0 means none. */
typedef struct QrtXmlElement {
  const void* name;        /*  0 */
  uint16_t nameLength;     /*  4: units */
  uint16_t depth;          /*  6: 0 for the root */
  uint16_t parent;         /*  8 */
  uint16_t self;           /* 10: its own index */
  uint16_t firstChild;     /* 12 */
  uint16_t childCount;     /* 14 */
  uint16_t firstAttribute; /* 16 */
  uint16_t attributeCount; /* 18 */
  uint16_t firstContent;   /* 20: node */
  uint16_t contentCount;   /* 22 */
  uint16_t nextSibling;    /* 24 */
  uint16_t reserved26;     /* 26 */
} QrtXmlElement;

typedef struct QrtXmlAttribute {
  const void* name;       /*  0 */
  uint16_t nameLength;    /*  4 */
  uint16_t firstValue;    /*  6: node */
  uint16_t valueCount;    /*  8 */
  uint16_t nextAttribute; /* 10 */
} QrtXmlAttribute;

/* Values of `kind` in a node. */
#define QRT_XML_TEXT 'T'
#define QRT_XML_CDATA 'D'             /* the first text of a CDATA section */
#define QRT_XML_ENTITY 'Q'            /* a predefined entity: `character` */
#define QRT_XML_REFERENCE 'R'         /* a numeric reference: `character`, cut to its width */
#define QRT_XML_UNKNOWN_REFERENCE 'U' /* `text` is the name */
#define QRT_XML_INSTRUCTION_TARGET 'P'
#define QRT_XML_INSTRUCTION_DATA 'S'
#define QRT_XML_COMMENT 'C'

typedef struct QrtXmlNode {
  const void* text;    /*  0: null for a character */
  uint16_t textLength; /*  4 */
  char kind;           /*  6: QRT_XML_* */
  uint8_t character;   /*  7 */
  uint16_t nextNode;   /*  8 */
  uint16_t reserved10; /* 10 */
} QrtXmlNode;

typedef struct QrtXmlNode16 {
  const void* text;
  uint16_t textLength;
  char kind;
  uint8_t reserved7;
  uint16_t character; /*  8 */
  uint16_t nextNode;  /* 10 */
} QrtXmlNode16;

/* Builds the document's records. `document` gets the header, the others the records of index 1. `strip`
   points to "y" to leave out text that is all white space, or "n". The records live until RLSEDOC. A document
   in UTF-8 isn't parsed: 0, and nothing is set. 541 for another letter, 542 to 550 when a table can't be made
   or grow; warnings end the parse. */
QRT_API int32_t DOMPARSE(void* handle, void** document, QrtXmlElement** elements,
                         QrtXmlAttribute** attributes, void** nodes, const char* strip);

/* Frees a parser and what belongs to it. 0. */
QRT_API int32_t RLSEDOC(void* handle);

/* The block of an XML PARSE statement. */
typedef struct QrtXmlParseBlock {
  uint32_t reserved0;
  int32_t ccsid; /*  4: 0 native, 1140 the run's EBCDIC page, 1202 UTF-16, or another; becomes the
                        one that is meant */
  void (*procedure)(void* argument); /*  8: the processing procedure */
  void* procedureArgument;           /* 12 */
  const void* document;              /* 16 */
  int32_t documentLength;            /* 20: bytes */
  uint8_t* eventRegister;            /* 24: XML-EVENT, 30 bytes */
  const void** textRegister; /* 28: cell with the address of XML-TEXT and XML-NTEXT; it holds its own address
                                outside of a parse, and the procedure's exit clears it */
  int32_t* textLengthRegister;  /* 32: bytes of XML-TEXT */
  int32_t* ntextLengthRegister; /* 36: bytes of XML-NTEXT */
  int32_t* codeRegister;        /* 40: XML-CODE */
  int32_t* returnRegister;      /* 44: 0 after a clean parse, else 2 */
  uint32_t flags;               /* 48: QRT_XML_EBCDIC_EVENTS */
  int32_t textLength;           /* 52: these are the library's own */
  int32_t ntextLength;          /* 56 */
  int32_t code;                 /* 60 */
  const char* eventNames;       /* 64 */
} QrtXmlParseBlock;
#define QRT_XML_EBCDIC_EVENTS 0x80000000u

/* XML PARSE: calls the processing procedure for each event with the registers set, and takes its XML-CODE as
   the answer. Returns the final XML-CODE. Message 242 when the block's parse is already going on, 243 when
   the procedure wasn't left by its exit. _qrtcXML is guarded. */
QRT_API int32_t qrtcXML(QrtXmlParseBlock* block);
QRT_API int32_t _qrtcXML(QrtXmlParseBlock* block);

/* ======================================================================================================
 * XML GENERATE
 *
 * The compiler flattens the data description into tables, in its order: descriptors (one for each item and
 * each OCCURS clause, closed by one of level 0), names, and the text of each occurrence of each numeric item.
 * Tables, items and the document need no alignment; national text is UTF-16 in native byte order.
 * ====================================================================================================== */

/* An item, or an OCCURS clause just ahead of its item. */
typedef struct QrtXmlDescriptor {
  uint8_t level;    /* 0: nesting level; that of the first entry is the root's */
  uint8_t flags;    /* 1: 0 for a group, else QRT_XGF_* */
  uint8_t value[4]; /* 2: bytes in storage, 0 for a group; of a numeric item two 16-bit numbers, bytes of its
                       text and bytes in storage; of an OCCURS clause the count, or an index into the
                       counts of occurrences */
} QrtXmlDescriptor;

/* Flags of a descriptor: one of the first group, and any of the second with an item. */
#define QRT_XGF_OCCURS 0xC0           /* `value` is the count */
#define QRT_XGF_OCCURS_DEPENDING 0xE0 /* `value` is an index */
#define QRT_XGF_NUMERIC 0x80
#define QRT_XGF_SKIPPED 0x10 /* no tags and no name; children have theirs */
#define QRT_XGF_NATIVE_TEXT 0x20
#define QRT_XGF_EBCDIC_TEXT 0x30
#define QRT_XGF_NATIONAL_TEXT 0x40
#define QRT_XGF_DOUBLE_BYTE_TEXT 0x50 /* without shift bytes */
#define QRT_XGF_OTHER_NATIVE_TEXT 0x60

#define QRT_XGF_JUSTIFIED 0x08 /* leading, not trailing blanks are cut */
#define QRT_XGF_AS_NUMBER 0x04 /* the text is written as that of a numeric item */
#define QRT_XGF_ATTRIBUTE 0x02 /* of the group one level above */

typedef struct QrtXmlOptions {
  int32_t warnings;          /*  0: 1 or more asks for the result 417 */
  uint8_t flags;             /*  4: QRT_XGF_DECLARATION... */
  uint8_t encodingFlags;     /*  5: QRT_XGF_NATIONAL or 0 */
  uint8_t namespaceFlags;    /*  6: QRT_XGF_NATIONAL, QRT_XGF_EBCDIC_NAME, or 0 for native text */
  uint8_t prefixFlags;       /*  7: the same */
  int32_t encodingLength;    /*  8: bytes, as all lengths; 0 for a terminated text that isn't national */
  const void* encoding;      /* 12: an ICU name, or the number of a "QMC-" page; null for that of the kind */
  int32_t namespaceLength;   /* 16 */
  const void* namespaceName; /* 20 */
  int32_t prefixLength;      /* 24 */
  const void* prefix;        /* 28: counts only with a namespace that isn't blank */
} QrtXmlOptions;

#define QRT_XGF_DECLARATION 0x40   /* write an XML declaration */
#define QRT_XGF_UNICODE_ONLY 0x20  /* the document must be UTF-8 or UTF-16 */
#define QRT_XGF_DECIMAL_COMMA 0x80 /* in the text of numeric items */
#define QRT_XGF_NATIONAL 0x80
#define QRT_XGF_EBCDIC_NAME 0x40

/* The context of the calling program. */
typedef struct QrtXmlProgram {
  const char* localeName; /* in the form ll_CC.code-set, of the code set that the program's text is in */
} QrtXmlProgram;

/* `kind` of a document. Native and EBCDIC ones are in the code page of the run's pair unless the options name
   another of that family, or UTF-8 for a native one. */
#define QRT_XGF_ASCII 2
#define QRT_XGF_EBCDIC 3
#define QRT_XGF_UTF16 4

/* Results. Behind 400, 401 and 402 the document is cut; the codes from 410 on, but for 417, write nothing. */
#define QRT_XGF_FULL 400               /* it doesn't fit, or text can't be converted */
#define QRT_XGF_NAME_CHARACTER 401     /* a name holds a character that no XML name has (UTF-16) */
#define QRT_XGF_NAME_START 402         /* a name begins with one that can't begin it (UTF-16) */
#define QRT_XGF_NO_ENCODING 410        /* no such encoding */
#define QRT_XGF_NOT_EBCDIC 411         /* not a single-byte page that is supported */
#define QRT_XGF_NOT_ASCII 412          /* neither that nor UTF-8 */
#define QRT_XGF_PROGRAM_CODE_SET 413   /* the program's code set isn't the run's (not for UTF-16) */
#define QRT_XGF_WRONG_FAMILY 414       /* the encoding doesn't fit the kind, or has no CCSID */
#define QRT_XGF_NOT_UTF16 415          /* another encoding was given for UTF-16 */
#define QRT_XGF_NAMESPACE 416          /* a character that a namespace can't hold (UTF-16) */
#define QRT_XGF_HEXADECIMAL 417        /* complete, but for items in hexadecimal form */
#define QRT_XGF_PREFIX 419             /* the prefix isn't a name without colon */
#define QRT_XGF_NOT_UNICODE 420        /* QRT_XGF_UNICODE_ONLY, and it is neither */
#define QRT_XGF_NO_CCSID 602           /* the converter can't tell its CCSID */
#define QRT_XGF_MEMORY 604             /* no storage for the work buffers */
#define QRT_XGF_KIND 606               /* no such kind */
#define QRT_XGF_LONG_ENCODING 608      /* the name has more than 320 characters without blanks around it */
#define QRT_XGF_NATIONAL_CONVERTER 610 /* a national encoding name: no converter for it */
#define QRT_XGF_NATIONAL_ENCODING 611  /* ... and characters outside of Latin-1 */

/* Guarded. Writes the document into `output` and its length, in bytes or UTF-16 units, into *countIn, which
   may be null; with a result of 400 to 402 that of what was written. `version` of 200 or more brings
   `options`; below it they aren't read. `numericImage` holds native text. `counts` may be null without a
   QRT_XGF_OCCURS_DEPENDING, a count of 0 leaving out the item, which has no storage then. `workSize` is the
   length of the longest item. `names` is a run of texts, each behind a byte with its length: one that isn't
   used, then one for each item but the skipped, in the program's code set, or between shift bytes in the
   EBCDIC page of the pair. Text with characters that XML can't hold is written as hexadecimal digits in an
   element whose name has "hex." in front: two for each byte of the item, or of the text of a number; four for
   each unit of national items and of numbers in a UTF-16 document. Returns 0 or a code above. */
QRT_API int32_t _qrtcXGF(int32_t version, void* output, uint32_t outputSize, uint8_t kind, const void* data,
                         const QrtXmlProgram* program, const uint8_t* numericImage, const int32_t* counts,
                         uint32_t reserved9, int32_t workSize, const QrtXmlDescriptor* descriptors,
                         const uint8_t* names, const QrtXmlOptions* options, uint32_t reserved14,
                         int32_t* countIn);

#ifdef __cplusplus
}
#endif

#endif
