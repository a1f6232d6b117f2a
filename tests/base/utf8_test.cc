#include <gtest/gtest.h>

#include <base/utf8.h>
#include <helpers/exact_copy.h>
#include <helpers/short_strings.h>

namespace kel {
namespace {

using namespace std::literals;

using scanned_t = std::pair<std::ptrdiff_t, bool>;  // the valid bytes, and whether the text ends within a character

scanned_t scanned(std::string_view text) {
  return test::on_exact_copy(text, [](char const* first, char const* last) {
    utf8::validate_t validator;
    char const* const stop = validator.scan(first, last);
    return scanned_t{ stop - first, validator.is_incomplete() };
  });
}

// The length of the well-formed sequence at the beginning; 0 if there is none, -1 if the text ends too early to tell.
int sequence_length(std::string_view text) {
  auto const byte = [&](std::size_t i) { return static_cast<unsigned>(byte_value(text[i])); };
  int const length = byte(0) < 0x80   ? 1 : byte(0) < 0xC0 ? 0 : byte(0) < 0xE0 ? 2 : byte(0) < 0xF0 ? 3 : byte(0) < 0xF8 ? 4 : 0;
  unsigned least = byte(0) & (0x7Fu >> length);
  unsigned most = least;
  for (std::size_t i = 1; i < 4 && static_cast<int>(i) < length; ++i) {
    bool const is_there = i < text.size();
    if (is_there && (byte(i) & 0xC0) != 0x80)
      return 0;
    least = least << 6 | (is_there ? byte(i) & 0x3F : 0);
    most = most << 6 | (is_there ? byte(i) & 0x3F : 0x3F);
  }
  unsigned const smallest = length == 4 ? 0x10000 : length == 3 ? 0x800 : length == 2 ? 0x80 : 0;
  bool const can_be_valid = length > 0 && most >= smallest && least <= 0x10FFFF && !(least >= 0xD800 && most <= 0xDFFF);
  return !can_be_valid ? 0 : length > static_cast<int>(text.size()) ? -1 : length;
}

scanned_t scanned_by_value(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    int const length = sequence_length(text.substr(at));
    if (length <= 0)
      return { static_cast<std::ptrdiff_t>(at), length < 0 };
    at += static_cast<std::size_t>(length);
  }
  return { static_cast<std::ptrdiff_t>(at), false };
}

// All bytes that are the first or last of a class, in every combination of up to four, alone and where they cross the
// edges of the blocks in which long texts are looked at.
TEST(Utf8, AgreesWithTheDefinition) {
  constexpr std::string_view edges = "a\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEE\xEF\xF0\xF1\xF3"
      "\xF4\xF5\xF8\xFF";
  std::string const before = "0123456789ab\xC3\xA9\xE2\x82\xAC";
  int shift = 0;
  test::for_all_short_strings(edges, [&](std::string const& text) {
    ASSERT_EQ(scanned(text), scanned_by_value(text)) << text;
    shift = (shift + 1) % 12;
    std::string const longer = before.substr(static_cast<std::size_t>(shift)) + text + "\xF0\x9F\x98\x80 and more text";
    ASSERT_EQ(scanned(longer), scanned_by_value(longer)) << longer;
  });
}

TEST(Utf8, FindsABadByteFarOff) {
  std::string text;
  while (text.size() < 50'000)
    text += "caf\xC3\xA9 \xD0\x9F\xD1\x80\xE2\x82\xAC\xF0\x9F\x98\x80 ascii ascii ascii";
  EXPECT_TRUE(utf8::is_valid(text.begin(), text.end()));
  auto const size = static_cast<std::ptrdiff_t>(text.size());
  EXPECT_EQ(scanned(text + "\xED\xA0\x80" + text), (scanned_t{ size, false }));
  EXPECT_EQ(scanned(text + "\xE2\x82"), (scanned_t{ size, true }));
}

TEST(Utf8, PrefixesCutNoCharacter) {
  std::string_view const text = "a\xE2\x82\xAC" "b";
  std::string lengths;
  for (std::size_t bytes = 0; bytes <= 6; ++bytes)
    lengths += std::to_string(utf8::prefix(text, bytes).size());
  EXPECT_EQ(lengths, "0111455");
  EXPECT_EQ(utf8::prefix("\x80\x80\x80\x80\x80", 4).size(), 1u) << "no text of ours, but no reason to lose it all";
}

}  // namespace
}  // namespace kel
