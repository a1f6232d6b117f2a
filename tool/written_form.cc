#include "written_form.h"

#include <iterator>
#include <string>
#include <vector>

namespace kel::tool {

namespace {

// Why a part, the first in the tree, could not be sealed when it was written; empty for success.
std::string sealing_problem(body_part_t& part) {
  std::string problem = part.get_header("security-generation-detail", "");
  for (auto child = part.subparts().begin(); child != part.subparts().end() && problem.empty(); ++child)
    problem = sealing_problem(*child);
  return problem;
}

}  // namespace

exit_status_t write_tree(message_t const& message, body_part_t& root, std::string_view sealing_failure, output_t& out) {
  if (!root.can_be_written()) {
    complain(message.name,
             "holds a part that cannot be put together again: one signed or encrypted in an odd shape, or of too many "
             "parts");
    return negative;
  }
  std::vector<char> bytes;
  root.generate_rfc822(std::back_inserter(bytes));
  if (std::string const problem = sealing_problem(root); !problem.empty()) {
    complain(message.name, sealing_failure, problem);
    return failed;
  }
  out << std::string_view(bytes.data(), bytes.size());
  return done;
}

}  // namespace kel::tool
