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

// Texts of pieces: every step-th of the first ones, numbered up to the end.
template <typename Check>
void for_some_texts(std::vector<std::string> const& pieces, std::size_t end, std::size_t step, Check check) {
  for (std::size_t number = 0; number < end; number += step) {
    std::string text;
    for (std::size_t rest = number; rest != 0; rest /= pieces.size())
      text += pieces[rest % pieces.size()];
    check(text);
  }
}

}  // namespace kel::test
