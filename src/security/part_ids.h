// The application's identifiers, kept while parts are built anew from what they are written as.
#pragma once

#include <vector>

#include <kelmime/body.h>

namespace kel {

// The identifiers below a part in document order, -1 where there is none. Leaves have nothing below them here: what was
// decrypted into one is not written.
std::vector<int> ids_below(body_part_t& part);

// Gives them to the same parts built anew.
void give_ids_below(body_part_t& part, std::vector<int> const& ids);

}  // namespace kel
