// A message with other headers, or without some of its parts. What nobody changed is written as it came.
#include "verbs.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "header_line.h"
#include "outline.h"
#include "text.h"
#include "written_form.h"

namespace kel::tool {

namespace {

// Which parts go, by their place in the outline.
class dropping_t {
public:
  explicit dropping_t(outline_t const& parts) : _parts(parts), _is_dropped(parts.size(), false) {}

  void mark(part_t const& part) { _is_dropped[static_cast<std::size_t>(&part - _parts.data())] = true; }

  // A part whose children all go goes itself. Children stand behind their parents.
  void mark_emptied() {
    for (std::size_t index = _parts.size(); index-- > 0;) {
      list_t const& children = _parts[index].children;
      if (!children.empty() && std::ranges::all_of(children, [&](std::size_t child) { return _is_dropped[child]; }))
        _is_dropped[index] = true;
    }
  }

  bool is_everything() const { return _is_dropped.front(); }

  // The deepest first: a multipart that is left with one child becomes that child, and nothing below it is the same part any
  // more.
  void drop() const {
    list_t wanted;
    for (std::size_t index = 0; index < _parts.size(); ++index)
      for (std::size_t const child : _parts[index].children)
        if (_is_dropped[child] && !_is_dropped[index])
          wanted.push_back(child);
    std::ranges::stable_sort(wanted, std::ranges::greater(), [&](std::size_t index) { return _parts[index].depth; });
    for (std::size_t const index : wanted)
      delete_part(*_parts[index].body);
  }

private:
  using list_t = std::vector<std::size_t>;

  static void delete_part(body_part_t& part) {
    auto const& siblings = part.parent()->subparts();
    auto const place = std::ranges::find(siblings, &part, [](body_part_t const& sibling) { return &sibling; });
    part.parent()->delete_subpart_with_index(static_cast<std::size_t>(std::distance(siblings.begin(), place)));
  }

  outline_t const& _parts;
  std::vector<bool> _is_dropped;
};

// Answers what is in the way, empty for nothing.
std::string drop_parts(opened_message_t const& opened, std::vector<std::string> const& numbers) {
  dropping_t dropping(opened.parts());
  for (std::string const& number : numbers) {
    part_t const* const part = opened.part_by_number(number);
    if (!part)
      return "there is no part " + number;
    dropping.mark(*part);
  }
  dropping.mark_emptied();
  if (dropping.is_everything())
    return "nothing of the message would be left";
  dropping.drop();
  return {};
}

void edit_headers(body_part_t& root, options_t const& options) {
  for (std::string const& name : options.removed_headers)
    if (root.exists_header(lowercased(name)))
      root.set_header(lowercased(name), unset_string);
  for (auto const& [name, value] : header_lines(options.set_headers))
    if (!value.empty() || root.exists_header(name))
      root.set_header(name, value);
}

}  // namespace

exit_status_t edit(message_t const& message, options_t const& options, output_t& out) {
  opened_message_t const opened(message);
  if (std::string const problem = drop_parts(opened, options.dropped_parts); !problem.empty()) {
    complain(message.name, problem);
    return negative;
  }
  edit_headers(opened.root(), options);
  return write_tree(message, opened.root(), "cannot be signed or encrypted anew", out);
}

}  // namespace kel::tool
