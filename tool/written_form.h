// A tree as the message that it is.
#pragma once

#include <string_view>

#include <kelmime/body.h>

#include "input.h"
#include "options.h"
#include "output.h"

namespace kel::tool {

// Writes the whole tree, or nothing after a complaint about the message: `negative` when something in the tree cannot be
// written, `failed` with the words of `sealing_failure` when something in it could not be signed or encrypted.
exit_status_t write_tree(message_t const& message, body_part_t& root, std::string_view sealing_failure, output_t& out);

}  // namespace kel::tool
