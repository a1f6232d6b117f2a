// A tree as the message that it is.
#pragma once

#include <optional>
#include <string>

#include <kelmime/body.h>

#include "input.h"

namespace kel::tool {

// Nothing, after a complaint about the message, when something in the tree cannot be written.
std::optional<std::string> written_form(message_t const& message, body_part_t& root);

}  // namespace kel::tool
