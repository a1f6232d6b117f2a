// Strong laws over many inputs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kel::test {

// Every string of up to four bytes over a small alphabet.
template <typename Check>
void for_all_short_strings(std::string_view alphabet, Check check) {
  std::vector<std::string> strings = { "" };
  for (std::size_t next = 0; next < strings.size(); ++next) {
    check(strings[next]);
    if (strings[next].size() == 4)
      continue;
    for (char const c : alphabet)
      strings.push_back(strings[next] + c);
  }
}

}  // namespace kel::test
