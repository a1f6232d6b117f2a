#include <security/part_ids.h>

namespace kel {

namespace {

// Visits what is below a part in document order.
template <typename Visit>
void visit_below(body_part_t& part, Visit const& visit) {
  if (!part.is_multi_part() && !part.is_message())
    return;
  for (body_part_t& child : part.subparts()) {
    visit(child);
    visit_below(child, visit);
  }
}

}  // namespace

std::vector<int> ids_below(body_part_t& part) {
  std::vector<int> ids;
  visit_below(part, [&](body_part_t& below) { ids.push_back(below.has_id() ? below.get_id() : -1); });
  return ids;
}

void give_ids_below(body_part_t& part, std::vector<int> const& ids) {
  auto next = ids.begin();
  auto const give = [&next, end = ids.end()](body_part_t& below) {
    if (next != end)
      below.set_id(*next++);
  };
  visit_below(part, give);
}

}  // namespace kel
