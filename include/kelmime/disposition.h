// Whether a part is shown in the message or listed as an attachment.
#pragma once

#include <string>

#include <kelmime/export.h>

namespace kel {

class body_part_t;

// "inline" or "attachment", for display (RFC 2183).
//
//   1. What is stated counts where the part can be shown inside a message: containers, messages, text, images and PDF. All
//      else is an attachment.
//   2. A statement that is neither of the two means an attachment (section 2.8).
//   3. Without a statement, text is inline unless it has a file name; the others are.
//   4. A PDF is inline with one page at the most, and never with the preference PwNeverInlinePDF. Its pages are counted as
//      they stand in the file: those in compressed objects are not seen. That decodes the part.
KELMIME_EXPORT std::string get_disposition(body_part_t& part);

}  // namespace kel
