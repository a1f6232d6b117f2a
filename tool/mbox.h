// Many messages in one file, and the form in which a message is read.
//
// An mbox holds messages one after another, each below a separator line "From sender date". A separator counts at the
// beginning and after an empty line, and only with a time and a year in it, so that a paragraph that begins with "From
// here on" stays in its message. Writers put a ">" before lines of a message that look like separators, and before those
// that already had one; one ">" is taken away again (the dialect called mboxrd).
#pragma once

#include <string>
#include <string_view>

namespace kel::tool {

// Whether the bytes begin with a separator line. A message that somebody saved below one is an mbox of one message.
bool is_mbox(std::string_view bytes);

// Takes the first message from `rest`, which begins with a separator line: the bytes below that line, up to the empty line
// that belongs to the next separator. `rest` is left at the next separator, or empty.
std::string_view take_message(std::string_view& rest);

// The message with bare line feeds and without the ">" of an mbox. The input itself where nothing has to change, else a view
// of `storage`. A message whose header block has a line that ends in CR LF is a CR LF message; in any other, CR is a byte
// like any other.
std::string_view reading_form(std::string_view raw, bool is_in_mbox, std::string& storage);

}  // namespace kel::tool
