/*
 * Makes a large input for the main job out of the real one: the records of each year over and over, the year's
 * share of them kept, with costs drawn anew for every second one.
 *
 *   generate_strikes RECORDS < strikes.csv > large.csv
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { LINE = 256, MOST_RECORDS = 20000 };

static char lines[MOST_RECORDS][LINE];

static uint32_t nextRandom(void) {
  static uint64_t state = 20261124;
  state = state * 6364136223846793005u + 1442695040888963407u;
  return (uint32_t)(state >> 33);
}

/* The place behind `count` commas. */
static char* behindCommas(char* at, int count) {
  while (*at != 0 && count > 0) count -= *at++ == ',';
  return at;
}

static void putRecord(const char* line) {
  char copy[LINE];
  strcpy(copy, line);
  char* costs = behindCommas(copy, 10);
  const char* speed = behindCommas(costs, 3);
  uint32_t other = 0, repair = 0;
  if (nextRandom() % 2 == 0) {
    other = nextRandom() % 2000;
    repair = nextRandom() % 10000;
  }
  printf("%.*s%u,%u,%u,%s", (int)(costs - copy), copy, other, repair, other + repair, speed);
}

int main(int count, char** arguments) {
  const long wanted = count == 2 ? atol(arguments[1]) : 0;
  if (wanted < 1) {
    fprintf(stderr, "usage: generate_strikes RECORDS < strikes.csv > large.csv\n");
    return 2;
  }
  int records = 0;
  if (fgets(lines[0], LINE, stdin) == NULL) return 1;
  fputs(lines[0], stdout);
  while (records < MOST_RECORDS && fgets(lines[records], LINE - 40, stdin) != NULL) {
    if (strchr(lines[records], '\n') == NULL) strcat(lines[records], "\n");
    ++records;
  }
  /* Line i of the real file stands for an equal share of the output, so that the years stay in order. */
  for (long i = 0; i < wanted; ++i) putRecord(lines[(long long)i * records / wanted]);
  return ferror(stdout) || fflush(stdout) != 0;
}
