#include <kelmime/hex.h>

#include <codec/output.h>

namespace kel {

namespace {

void print(char c, output_t& out) {
  switch (c) {
    case '\t': out.append("\\t"); return;
    case '\r': out.append("\\r"); return;
    case '\n': out.append("\\n"); return;
  }
  std::uint8_t const value = byte_value(c);
  if (value >= 32 && value < 127) {
    out.append(c);
  } else {
    char const hex[] = { '{', text::int_to_hex(value >> 4), text::int_to_hex(value), '}' };
    out.append(hex, hex + sizeof hex);
  }
}

}  // namespace

template <byte_inserter Out>
Out hex_print(char const* first, char const* last, Out out) {
  output_t output(container_of(out));
  for (; first != last; ++first)
    print(*first, output);
  return out;
}

template std::back_insert_iterator<std::string> hex_print(char const*, char const*,
                                                          std::back_insert_iterator<std::string>);
template std::back_insert_iterator<std::vector<char>> hex_print(char const*, char const*,
                                                                std::back_insert_iterator<std::vector<char>>);

}  // namespace kel
