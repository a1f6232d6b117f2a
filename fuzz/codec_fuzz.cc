// Bytes to bytes: transfer encodings, charsets, flowed text. The first byte chooses the charset.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>

#include <base/utf8.h>
#include <kelmime/bytes.h>
#include <kelmime/charset.h>
#include <kelmime/decoding.h>
#include <kelmime/encoding.h>
#include <kelmime/format_flowed.h>
#include <kelmime/hex.h>

namespace {

constexpr std::string_view charsets[] = { "",
                                          "us-ascii",
                                          "utf-8",
                                          "iso-8859-1",
                                          "windows-1252",
                                          "koi8-r",
                                          "iso-2022-jp",
                                          "iso-2022-jp-1",
                                          "iso-2022-jp-2",
                                          "iso-2022-jp-3",
                                          "iso-2022-jp-4",
                                          "shift_jis",
                                          "euc-jp",
                                          "gb18030",
                                          "big5",
                                          "utf-16",
                                          "utf-7",
                                          "iso-2022-kr",
                                          "unknown" };

void decode_everything(std::string_view body, kel::mime_errors_handler_t& errors) {
  for (auto const* encoding : { "quoted-printable", "base64", "x-uuencode" }) {
    std::string decoded;
    kel::mime_decode(body.begin(), body.end(), std::back_inserter(decoded), encoding, &errors, /*binary*/ true);
  }
  for (int options = 0; options < 8; ++options) {
    std::string text;
    kel::format_deflow(body.begin(), body.end(), std::back_inserter(text), options & 1, options & 2, options & 4);
  }
  std::string readable;
  kel::hex_print(body.begin(), body.end(), std::back_inserter(readable));
}

void encode_and_decode(std::string_view body) {
  for (auto const* encoding : { "quoted-printable", "base64" }) {
    std::string encoded, decoded;
    kel::encode(body.begin(), body.end(), std::back_inserter(encoded), encoding);
    kel::mime_decode(encoded.begin(), encoded.end(), std::back_inserter(decoded), encoding, nullptr, /*binary*/ false);
    if (decoded != body)
      std::abort();
  }
}

// As the standard has it (POSIX): lines of up to 45 bytes, each with its length in front.
std::string uuencoded(std::string_view bytes) {
  auto const digit = [](unsigned six_bits) { return static_cast<char>(' ' + (six_bits & 63)); };
  std::string text = "begin 644 data\n";
  for (; !bytes.empty(); bytes.remove_prefix(std::min<std::size_t>(bytes.size(), 45))) {
    std::size_t const count = std::min<std::size_t>(bytes.size(), 45);
    text += digit(static_cast<unsigned>(count));
    for (std::size_t at = 0; at < count; at += 3) {
      unsigned group = 0;
      for (std::size_t i = at; i < at + 3; ++i)
        group = group << 8 | (i < count ? kel::byte_value(bytes[i]) : 0);
      text += { digit(group >> 18), digit(group >> 12), digit(group >> 6), digit(group) };
    }
    text += '\n';
  }
  return text + " \nend\n";
}

// The length of the last line is not trusted: what fills it up comes along.
void uuencode_and_decode(std::string_view body) {
  std::string const encoded = uuencoded(body);
  std::string decoded;
  kel::decode_uuencoded_text(encoded.begin(), encoded.end(), std::back_inserter(decoded));
  if (!std::string_view(decoded).starts_with(body) || decoded.size() > body.size() + 2)
    std::abort();
}

// Whatever the bytes and the charset are, the text is valid UTF-8.
void convert_to_valid_utf8(std::string_view body, std::string charset, kel::mime_errors_handler_t& errors) {
  std::string text;
  kel::convert(body.begin(), body.end(), std::back_inserter(text), charset, "UTF-8", /*use_fallback*/ true, &errors);
  kel::japanese_convert(body.begin(), body.end(), std::back_inserter(text), charset, &errors);
  kel::convert_to_utf8(body.begin(), body.end(), std::back_inserter(text), charset, {}, &errors);
  if (!kel::utf8::is_valid(text.begin(), text.end()))
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0)
    return 0;
  std::string_view const body(reinterpret_cast<char const*>(data) + 1, size - 1);
  std::string const charset(charsets[data[0] % std::size(charsets)]);

  kel::mime_errors_handler_t errors;
  convert_to_valid_utf8(body, charset, errors);
  kel::guess_charset(body.begin(), body.end());
  decode_everything(body, errors);
  encode_and_decode(body);
  uuencode_and_decode(body);
  return 0;
}
