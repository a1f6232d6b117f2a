// Whether a part is shown in the message or listed as an attachment.
#pragma once

#include <string>

#include <kelmime/export.h>

namespace kel {

class body_part_t;

// "inline" or "attachment", for display (RFC 2183). The stated disposition counts where the part can be shown inside a
// message at all; without one, text, images and containers without a file name are inline. The preference
// PwNeverInlinePDF makes attachments of PDF files.
KELMIME_EXPORT std::string get_disposition(body_part_t& part);

}  // namespace kel
