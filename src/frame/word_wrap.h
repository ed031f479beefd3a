// Word wrap of message texts.
#pragma once

#include "frame/message_text.h"

namespace qrt::frame {

// Breaks the lines of `text` that are longer than `width` columns; a width outside 18 to 256 stands for 79.
// New lines are indented by 9 blanks. A line for which the buffer has no room stays as it is. With a negative
// width, whose magnitude counts, the lines are then joined: each is filled with blanks to the width and its
// line end becomes a blank.
void wrap(MessageText& text, int width);

}  // namespace qrt::frame
