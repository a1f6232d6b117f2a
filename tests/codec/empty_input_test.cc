#include <gtest/gtest.h>

#include <codec/codec_verbs.h>
#include <kelmime/charset.h>
#include <kelmime/decoding.h>
#include <kelmime/encoding.h>
#include <kelmime/format_flowed.h>
#include <kelmime/hex.h>

namespace kel {

// An empty vector may begin and end at a null pointer, which a sanitizer sees in memcpy and its like.
TEST(Codecs, TakeEmptyVectors) {
  std::vector<char> const nothing;
  char const* const first = nothing.data();
  char const* const last = first + nothing.size();
  mime_errors_handler_t errors;
  std::string text;
  auto const out = std::back_inserter(text);
  for (auto const* encoding : { "quoted-printable", "base64", "x-uuencode", "7bit", "8bit", "binary" }) {
    mime_decode(first, last, out, encoding, nullptr, /*binary*/ true);
    encode(first, last, out, encoding);
  }
  for (auto const* charset : { "", "us-ascii", "utf-8", "iso-8859-1", "iso-2022-jp", "shift_jis", "utf-16", "euc-kr" }) {
    std::string used = charset;
    convert_to_utf8(first, last, out, used, {}, &errors);
    EXPECT_EQ(convert(first, last, out, charset, "UTF-8", /*use_fallback*/ true, &errors), last) << charset;
    japanese_convert(first, last, out, charset, &errors);
  }
  format_deflow(first, last, out, /*flowed*/ true, /*delsp*/ true, /*keep_unquoted*/ false);
  format_deflow(first, last, out, /*flowed*/ false, /*delsp*/ false, /*keep_unquoted*/ false);
  hex_print(first, last, out);
  escape_whitespace(first, last, out);
  EXPECT_EQ(guess_charset(first, last), "");
  EXPECT_EQ(text, "");
  EXPECT_EQ(test::described(errors), test::lines_t{});
}

}  // namespace kel
