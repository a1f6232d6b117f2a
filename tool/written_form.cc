#include "written_form.h"

#include <iterator>
#include <vector>

#include "output.h"

namespace kel::tool {

std::optional<std::string> written_form(message_t const& message, body_part_t& root) {
  if (!root.can_be_written()) {
    complain(message.name, "holds a signed or encrypted part that cannot be put together again");
    return std::nullopt;
  }
  std::vector<char> bytes;
  root.generate_rfc822(std::back_inserter(bytes));
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace kel::tool
