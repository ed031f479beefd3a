/* What the main job and its subprogram OPERATOR pass: the linkage section of both. */
#pragma once

#include <qrtrlib.h>

enum { OPERATOR_NAME = 44, OPERATOR_STRIKES = 7, OPERATOR_COST = 13 }; /* bytes, digits, digits */

/* Functions of OPERATOR. */
enum {
  OPERATOR_ADD = 'A',   /* a strike and its cost to the operator of that name */
  OPERATOR_LIST = 'L',  /* the first operator with as many strikes as given, or more */
  OPERATOR_NEXT = 'N',  /* the next one, in order of strikes */
  OPERATOR_CLOSE = 'C', /* the end of the work */
};

typedef struct OperatorLinkage {
  char function;
  char found; /* out, list and next: "Y", or "N" when there is none */
  uint8_t name[OPERATOR_NAME];
  uint8_t strikes[OPERATOR_STRIKES / 2 + 1]; /* packed decimal */
  uint8_t cost[OPERATOR_COST / 2 + 1];       /* packed decimal, dollars */
} OperatorLinkage;

typedef int32_t Operator(OperatorLinkage* linkage);
