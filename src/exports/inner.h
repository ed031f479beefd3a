// The inner functions that the tables of exported names refer to.
#pragma once

#include "decimal/convert.h"
#include "decimal/packed.h"
#include "decimal/power.h"
#include "decimal/zoned.h"
#include "fileio/control.h"
#include "fileio/line_sequential.h"
#include "fileio/open.h"
#include "fileio/status.h"
#include "frame/guard.h"
#include "frame/message.h"
#include "statement/accept.h"
#include "statement/deedit.h"
#include "statement/display.h"
#include "statement/edit.h"
#include "statement/move.h"
#include "statement/string_statement.h"
