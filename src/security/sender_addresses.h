// Who a message says that it is from.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kel {

// The addresses in the From field of a raw header block. Encoded words are left as they stand, so that none can hold an
// address; everything else is read as `parse_headers` reads it. Nothing when there is more than one such field, in whatever
// form, and where an address would be another one without the comments: who shows the field may pass over them.
std::vector<std::string> undecoded_sender_addresses(std::string_view header_block);

}  // namespace kel
