#include <kelmime/encoding.h>

#include <codec/base_64_alphabet.h>
#include <codec/output.h>
#include <kelmime/hex.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace kel {

namespace {

constexpr int encoded_line_length = 76;  // RFC 2045, sections 6.7 and 6.8

// --- Quoted-printable --------------------------------------------------------------------------------------------

constexpr auto is_literal = [] {
  std::array<bool, 256> table{};
  for (char c = ' '; c <= '~'; ++c)
    table[byte_value(c)] = c != '=';
  table['\t'] = true;
  return table;
}();

class quoted_printable_encoder_t {
public:
  quoted_printable_encoder_t(output_t& out, int line_length) : _out(out), _widest(line_length - 4) {}

  void encode(char const* cursor, char const* last) {
    while (cursor != last) {
      if (*cursor == '\n') {
        end_line();
        ++cursor;
      } else if (_column == 0 && std::string_view(cursor, last).starts_with("From ")) {
        write("=46rom ", ' ');
        cursor += 5;
      } else if (!is_literal[byte_value(*cursor)] || (_column == 0 && *cursor == '.')) {
        write_encoded(*cursor++);
      } else {
        cursor = write_literally(cursor, last);
      }
    }
  }

private:
  void write_encoded(char c) {
    char const encoded[] = { '=', text::int_to_hex(byte_value(c) >> 4), text::int_to_hex(byte_value(c)) };
    write({ encoded, sizeof encoded }, c);
  }

  // As many literal bytes as the line takes.
  char const* write_literally(char const* first, char const* last) {
    std::ptrdiff_t const room = std::max(_widest - _column + 1, 1);
    char const* const limit = first + std::min(last - first, room);
    char const* const end = std::find_if(first, limit, [](char c) { return !is_literal[byte_value(c)]; });
    write({ first, end }, end[-1]);
    return end;
  }

  // Blanks at the end of a line would not survive every transport.
  void end_line() {
    if (_previous == ' ' || _previous == '\t')
      _out.append("=\n");
    _out.append('\n');
    start_line();
  }

  void write(std::string_view encoded, char previous) {
    _out.append(encoded);
    _column += static_cast<int>(encoded.size());
    _previous = previous;
    if (_column > _widest) {
      _out.append("=\n");
      start_line();
    }
  }

  void start_line() {
    _column = 0;
    _previous = '\n';
  }

  output_t& _out;
  int const _widest;  // leaves room for one encoded byte and the "=" of a soft line break
  int _column = 0;
  char _previous = '\n';
};

// --- Base64 ------------------------------------------------------------------------------------------------------

// The two digits of every 12 bits, so that three bytes take two looks.
constexpr auto base_64_digits = [] {
  std::array<std::array<char, 2>, 1 << 12> table{};
  for (std::size_t bits = 0; bits < table.size(); ++bits)
    table[bits] = { base_64_alphabet[bits >> 6], base_64_alphabet[bits & 63] };
  return table;
}();

// The digits of a group of three bytes, the first one in the highest bits.
void write_base_64_group(std::uint32_t group, char* at) {
  std::memcpy(at, base_64_digits[group >> 12].data(), 2);
  std::memcpy(at + 2, base_64_digits[group & 0xFFF].data(), 2);
}

void encode_base64_range(char const* cursor, char const* last, output_t& out) {
  while (last - cursor >= 3) {
    char* at = out.room(4);
    auto const groups = std::min((last - cursor) / 3, (out.room_end() - at) / 4);
    for (char const* const end = cursor + 3 * groups; cursor != end; cursor += 3, at += 4) {
      write_base_64_group(std::uint32_t{ byte_value(cursor[0]) } << 16 | std::uint32_t{ byte_value(cursor[1]) } << 8 |
                              byte_value(cursor[2]),
                          at);
    }
    out.advance_to(at);
  }
  if (cursor == last)
    return;
  bool const has_second = last - cursor == 2;
  char* const at = out.room(4);
  write_base_64_group(
      std::uint32_t{ byte_value(cursor[0]) } << 16 | (has_second ? std::uint32_t{ byte_value(cursor[1]) } << 8 : 0),
      at);
  if (!has_second)
    at[2] = '=';
  at[3] = '=';
  out.advance_to(at + 4);
}

void encode_base64_lines(char const* cursor, char const* last, output_t& out) {
  constexpr std::ptrdiff_t line_bytes = encoded_line_length / 4 * 3;
  for (; last - cursor > line_bytes; cursor += line_bytes) {
    encode_base64_range(cursor, cursor + line_bytes, out);
    out.append('\n');
  }
  encode_base64_range(cursor, last, out);
}

std::size_t base64_size(char const* first, char const* last) {
  return static_cast<std::size_t>(last - first + 2) / 3 * 4;
}

}  // namespace

template <byte_inserter Out>
Out encode_quoted_printable(char const* first, char const* last, Out out, int line_length) {
  output_t output(container_of(out));
  output.expect(static_cast<std::size_t>(last - first));
  quoted_printable_encoder_t(output, line_length).encode(first, last);
  return out;
}

template <byte_inserter Out>
Out encode_base64(char const* first, char const* last, Out out) {
  output_t output(container_of(out));
  output.expect(base64_size(first, last));
  encode_base64_range(first, last, output);
  return out;
}

template <byte_inserter Out>
Out encode(char const* first, char const* last, Out out, std::string_view encoding) {
  if (encoding == "quoted-printable")
    return encode_quoted_printable(first, last, out, encoded_line_length);
  output_t output(container_of(out));
  if (encoding == "base64") {
    std::size_t const size = base64_size(first, last);
    output.expect(size + size / encoded_line_length);
    encode_base64_lines(first, last, output);
  } else if (encoding == "7bit" || encoding == "8bit") {
    output.append(first, last);
  }
  return out;
}

using to_string_t = std::back_insert_iterator<std::string>;
using to_vector_t = std::back_insert_iterator<std::vector<char>>;

template to_string_t encode_quoted_printable(char const*, char const*, to_string_t, int);
template to_vector_t encode_quoted_printable(char const*, char const*, to_vector_t, int);
template to_string_t encode_base64(char const*, char const*, to_string_t);
template to_vector_t encode_base64(char const*, char const*, to_vector_t);
template to_string_t encode(char const*, char const*, to_string_t, std::string_view);
template to_vector_t encode(char const*, char const*, to_vector_t, std::string_view);

}  // namespace kel
