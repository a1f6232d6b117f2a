// The decoders of transfer encodings.
//
// Deviations accepted here:
//   1. quoted-printable: a "=" before anything but two digits or a line end is passed through, with a record;
//   2. quoted-printable: blanks between "=" and the line end belong to the soft line break;
//   3. base64: bytes outside the alphabet are skipped; "=" in the middle starts a new block, since some programs encode
//      a text in pieces and send them one after the other;
//   4. uuencode: the length character of a line is ignored, a missing "begin" or "end" is no fault.
#include <kelmime/decoding.h>

#include <base/fatal.h>
#include <codec/base_64_alphabet.h>
#include <codec/excerpt.h>
#include <codec/find_byte.h>
#include <codec/output.h>

#include <algorithm>
#include <array>

namespace kel {

namespace {

// --- Quoted-printable --------------------------------------------------------------------------------------------

constexpr auto hex_value = [] {
  std::array<std::int8_t, 256> table{};
  for (int value = 0; value < 256; ++value)
    table[static_cast<std::size_t>(value)] = static_cast<std::int8_t>(hex_to_int(static_cast<char>(value)));
  return table;
}();

constexpr std::ptrdiff_t context_radius = 10;

class quoted_printable_decoder_t {
public:
  quoted_printable_decoder_t(char const* first, char const* last, output_t& out, mime_errors_handler_t* errors,
                             bool binary)
      : _first(first), _last(last), _cursor(first), _out(out), _errors(errors), _is_binary(binary) {}

  void decode() {
    while (_cursor != _last) {
      copy_literal_bytes();
      decode_encoded_bytes();
      if (_cursor != _last && *_cursor == '=' && !skip_soft_line_break())
        pass_equals_sign();
    }
  }

private:
  void copy_literal_bytes() {
    char const* const end = find_byte(_cursor, _last, '=');
    if (_is_binary) {
      for (char const* feed; (feed = find_byte(_cursor, end, '\n')) != end; _cursor = feed + 1)
        copy_line_to_feed(feed);
    }
    _out.append(_cursor, end);
    _cursor = end;
  }

  void copy_line_to_feed(char const* feed) {
    report(_errors,
           "A quoted-printable binary body part contains an unencoded linefeed (LF). A CR character has been inserted.",
           excerpt(_first, _last, feed, context_radius));
    _out.append(_cursor, feed);
    _out.append("\r\n");
  }

  // The byte that "=XX" at the cursor stands for; negative when no such thing stands there.
  int encoded_byte() const {
    if (_last - _cursor < 3 || *_cursor != '=')
      return -1;
    return hex_value[byte_value(_cursor[1])] << 4 | hex_value[byte_value(_cursor[2])];
  }

  // Whole words of foreign scripts are runs of "=XX".
  void decode_encoded_bytes() {
    while (encoded_byte() >= 0) {
      char* at = _out.room(_out.block_bytes / 2);
      for (int value; at != _out.room_end() && (value = encoded_byte()) >= 0; _cursor += 3)
        *at++ = static_cast<char>(value);
      _out.advance_to(at);
    }
  }

  // A "=" that only blanks separate from the line end, or from the end of the text, produces nothing.
  bool skip_soft_line_break() {
    char const* const end = std::find_if(_cursor + 1, _last, [](char c) { return c != ' ' && c != '\t'; });
    if (end != _last && *end != '\n')
      return false;
    _cursor = end == _last ? end : end + 1;
    return true;
  }

  void pass_equals_sign() {
    report(_errors, "A quoted-printable text contains an illegal use of '='. It has been passed through.",
           excerpt(_first, _last, _cursor, context_radius));
    _out.append('=');
    ++_cursor;
  }

  char const* const _first;
  char const* const _last;
  char const* _cursor;
  output_t& _out;
  mime_errors_handler_t* const _errors;
  bool const _is_binary;
};

// --- Base64 ------------------------------------------------------------------------------------------------------

constexpr auto base_64_value = [] {
  std::array<std::uint8_t, 256> table{};
  table.fill(64);  // 64: not in the alphabet
  for (std::uint8_t i = 0; i < 64; ++i)
    table[byte_value(base_64_alphabet[i])] = i;
  return table;
}();
static_assert(base_64_value['/'] == 63 && base_64_value['='] == 64);

// The values shifted to their places in a group of four characters; what is not in the alphabet has a bit above the 24
// bits of a group.
constexpr std::uint32_t not_in_alphabet = 1u << 31;

constexpr auto base_64_shifted = [] {
  std::array<std::array<std::uint32_t, 256>, 4> tables{};
  for (std::size_t place = 0; place < 4; ++place) {
    for (std::size_t c = 0; c < 256; ++c)
      tables[place][c] =
          base_64_value[c] < 64 ? std::uint32_t{ base_64_value[c] } << (18 - 6 * place) : not_in_alphabet;
  }
  return tables;
}();

std::uint32_t base_64_group(char const* at) {
  return base_64_shifted[0][byte_value(at[0])] | base_64_shifted[1][byte_value(at[1])] |
         base_64_shifted[2][byte_value(at[2])] | base_64_shifted[3][byte_value(at[3])];
}

char* write_bytes(std::uint32_t group, int count, char* out) {
  for (int shift = 16; count > 0; --count, shift -= 8)
    *out++ = static_cast<char>(group >> shift);
  return out;
}

// Four characters become three bytes as long as all of them are in the alphabet.
char const* decode_clean_groups(char const* cursor, char const* last, output_t& out) {
  char* at = out.room(out.block_bytes / 2);
  for (auto groups = std::min((last - cursor) / 4, (out.room_end() - at) / 3); groups > 0; --groups, cursor += 4) {
    std::uint32_t const group = base_64_group(cursor);
    if (group & not_in_alphabet)
      break;
    at = write_bytes(group, 3, at);
  }
  out.advance_to(at);
  return cursor;
}

// One group with foreign bytes in between, or the beginning of one that a "=" or the end of the text cuts off. Bits that
// do not fill a byte are dropped.
char const* decode_broken_group(char const* cursor, char const* last, output_t& out) {
  std::uint32_t group = 0;
  int count = 0;
  while (cursor != last && count < 4) {
    char const c = *cursor++;
    if (c == '=')
      break;
    std::uint8_t const value = base_64_value[byte_value(c)];
    if (value < 64)
      group |= std::uint32_t{ value } << (18 - 6 * count++);
  }
  out.advance_to(write_bytes(group, count * 6 / 8, out.room(3)));
  return cursor;
}

void decode_base_64_range(char const* first, char const* last, output_t& out) {
  while (first != last && (last[-1] == '\n' || last[-1] == '='))
    --last;
  out.expect(static_cast<std::size_t>(last - first) / 4 * 3 + 3);
  while (first != last) {
    first = decode_clean_groups(first, last, out);
    if (first != last && *first == '\n')  // lines end between groups nearly always
      ++first;
    else
      first = decode_broken_group(first, last, out);
  }
}

// --- Uuencode ----------------------------------------------------------------------------------------------------

constexpr auto uuencode_value = [] {
  std::array<std::uint8_t, 256> table{};
  table.fill(64);
  for (std::uint8_t c = ' '; c <= '_'; ++c)
    table[c] = static_cast<std::uint8_t>(c - ' ');
  table['`'] = 0;
  return table;
}();

// The text without its "begin" and "end" lines and without the length characters; and where the "end" line stands.
template <typename Visitor>
char const* visit_uuencoded_bytes(char const* first, char const* last, Visitor visit) {
  while (first != last) {
    char const* const line_end = find_byte(first, last, '\n');
    std::string_view const line(first, line_end);
    if (line == "end")
      return first;
    if (!line.empty() && !line.starts_with("begin")) {
      for (char const c : line.substr(1))
        visit(uuencode_value[byte_value(c)]);
    }
    first = line_end == last ? last : line_end + 1;
  }
  return last;
}

void decode_uuencoded_range(char const* first, char const* last, output_t& out) {
  std::size_t values = 0;
  std::size_t faults = 0;
  char const* const end_line =
      visit_uuencoded_bytes(first, last, [&](std::uint8_t value) { ++(value < 64 ? values : faults); });
  if (faults * 4 > values) {
    warning("Giving up on decoding uunencoded text. Too many errors.\n");
    out.append(end_line, last);  // deliberate: what stands from the "end" line on is shown instead
    return;
  }

  std::uint32_t bits = 0;
  int count = 0;
  visit_uuencoded_bytes(first, last, [&](std::uint8_t value) {
    if (value >= 64)
      return;
    bits = bits << 6 | value;
    count += 6;
    if (count >= 8) {
      count -= 8;
      out.append(static_cast<char>(bits >> count));
    }
  });
}

}  // namespace

template <byte_inserter Out>
Out decode_quoted_printable(char const* first, char const* last, Out out, mime_errors_handler_t* errors, bool binary) {
  output_t output(container_of(out));
  output.expect(static_cast<std::size_t>(last - first));
  quoted_printable_decoder_t(first, last, output, errors, binary).decode();
  return out;
}

template <byte_inserter Out>
Out decode_base_64(char const* first, char const* last, Out out) {
  output_t output(container_of(out));
  decode_base_64_range(first, last, output);
  return out;
}

template <byte_inserter Out>
Out decode_uuencoded_text(char const* first, char const* last, Out out) {
  output_t output(container_of(out));
  decode_uuencoded_range(first, last, output);
  return out;
}

template <byte_inserter Out>
bool mime_decode(char const* first, char const* last, Out out, std::string_view encoding, mime_errors_handler_t* errors,
                 bool binary) {
  if (encoding == "quoted-printable") {
    decode_quoted_printable(first, last, out, errors, binary);
  } else if (encoding == "base64") {
    decode_base_64(first, last, out);
  } else if (encoding == "x-uuencode") {
    report(errors, "Deprecated Content-Transfer-Encoding (x-uuencode), but Postwick can handle it.", encoding);
    decode_uuencoded_text(first, last, out);
  } else {
    return false;
  }
  return true;
}

using to_string_t = std::back_insert_iterator<std::string>;
using to_vector_t = std::back_insert_iterator<std::vector<char>>;

template to_string_t decode_quoted_printable(char const*, char const*, to_string_t, mime_errors_handler_t*, bool);
template to_vector_t decode_quoted_printable(char const*, char const*, to_vector_t, mime_errors_handler_t*, bool);
template to_string_t decode_base_64(char const*, char const*, to_string_t);
template to_vector_t decode_base_64(char const*, char const*, to_vector_t);
template to_string_t decode_uuencoded_text(char const*, char const*, to_string_t);
template to_vector_t decode_uuencoded_text(char const*, char const*, to_vector_t);
template bool mime_decode(char const*, char const*, to_string_t, std::string_view, mime_errors_handler_t*, bool);
template bool mime_decode(char const*, char const*, to_vector_t, std::string_view, mime_errors_handler_t*, bool);

}  // namespace kel
