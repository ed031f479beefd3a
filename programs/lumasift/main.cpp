// lumasift: the sort engine as a command.
#include <signal.h>
#include <stdio.h>

#include <algorithm>
#include <string_view>

#include "progress.h"
#include "sort/engine/lumasift.h"

namespace {

constexpr const char* help = R"(
Sorts, merges, checks or copies the records of INFILEs, or of standard input, to standard output.

  -s FUNCTION    sort (the default), merge, check or copy; also -m for merge, -c for check
  -o FILE        output file
  -k RANGE       a key, START[,END], each FIELD[.BYTE[.BIT]][MODIFIERS] counted from 1; without one the whole
                 record is the key. Modifiers, also as options for all keys: b passes over blanks, d takes
                 letters, digits and blanks only, e leaves blanks at the end out, f folds small letters,
                 i takes printable bytes only, n is a number, q a date, r descending, w a window of years
  -t CHARACTER   what separates the fields of a line; by default blanks and tabs do
  -u             of records with equal keys only the first
  -z LENGTH      bytes of the longest line (4096)
  -T DIRECTORY   for temporary files; may be given more than once (".")
  -p FILE        reads more options from a file
  -y SIZE        estimated bytes of input
  -A             the C locale's order
  -h             a short form of this help
  -x 'NAME WORDS'  an extended option:
     format LAYOUT       records that aren't lines: a field list such as "packed 8 char 92"; a first field
                         rlength2 or rlength4 (rlength2x, rlength4x) holds the length of the record (behind it)
     reformat ITEMS      what the output is made of: ranges, "text", 0xHEX, N * constant
     select CONDITION    what is kept, such as: 2 eq "A" and not (1.1,1.3 gt 3)
     sum FIELDS          adds up records with equal keys
     ustop               ends at equal keys, with code 1
     skiprec N, stopaft N  leaves out records at the front, and behind
     nullhighest, null N nulls last; the byte that marks them
     locale NAME, source MVS|AIX|OS2, y2past N   order, form of numbers, window of years
     msg FILE, nomsg, trace FILE                 where messages and trace go
     inorg WORDS, outorg WORD                    line_sequential, byte_stream, sequential, direct, indexed
  --help, --version

Exit code: 0; otherwise the number of the first message, which stands on standard error (1 for records out of
order or with equal keys, 255 for a signal); 254 for all numbers above 255.

Environment: COB_SORT_MAX_TMP_FILES, the most temporary files (1024 at least); NLSPATH, where a catalogue of
messages is.
)";

// Codes above eight bits are those of internal errors, whose message is number 254.
int exitCodeOf(int32_t code) {
  constexpr int internalError = 254;
  return code < 0 || code > 255 ? internalError : code;
}

}  // namespace

int main(int count, char** words) {
  const std::string_view first = count == 2 ? words[1] : "";
  if (first == "--help") {
    printf("%s\n%s", qrt::sort::usageText, help);
    return 0;
  }
  if (first == "--version") {
    printf("lumasift " QRT_VERSION "\n");
    return 0;
  }
  // A reader of the output who goes away is a failed write, behind which temporary files are removed.
  signal(SIGPIPE, SIG_IGN);
  const qrt::sift::Progress progress;
  return exitCodeOf(qrt::sort::runEngine(
      {.calledByProgram = false, .text = {}, .arguments = {words + 1, words + std::max(count, 1)}}));
}
