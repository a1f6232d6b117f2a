#include <kelmime/field_path.h>

#include <gtest/gtest.h>

#include <set>

namespace kel {

TEST(FieldPath, TextsAndTheirComponents) {
  struct { char const* name; char const* text; field_path_t expected; } const rows[] = {
    { "empty text", "", {} },
    { "four components", "content-type.parameter.split.boundary", { "content-type", "parameter", "split", "boundary" } },
    { "dot at the end adds nothing", "a.", { "a" } },   { "dot at the beginning", ".split", { "", "split" } },
    { "two dots", "a..b", { "a", "", "b" } },           { "dots in quotes", "x.'a.b'.y", { "x", "a.b", "y" } },
    { "quotes at the end", "x.'a.b'", { "x", "a.b" } }, { "byte after the quote is always taken", "''.b'", { "'.b" } },
    { "no closing quote", "x.'a.b", { "x", "a.b" } },   { "a quote alone", "'", { "" } },
    { "quote inside plain text", "a'b.c", { "a'b", "c" } },
  };
  for (auto const& row : rows)
    EXPECT_EQ(string_to_field_path(row.text), row.expected) << row.name;
}

TEST(FieldPath, TextOfComponents) {
  using row_t = std::pair<field_path_t, std::string>;
  for (auto const& [path, text] : { row_t{ {}, "" }, { { "", "split" }, ".split" }, { { "#any-header", "A_9" }, "#any-header.A_9" },
                                    { { "x", "a.b" }, "x.'a.b'" }, { { "ü" }, "'ü'" }, { { std::string(1, '\0') }, std::string(1, '\0') } })
    EXPECT_EQ(to_s(path), text);
}

// Every path of up to three components over nasty ones, as long as text can say it.
TEST(FieldPath, TextAndComponentsAgree) {
  std::string const components[] = { "a", "a.b", "#x", "b c", ".", "d\"" };
  for (auto const& first : components) {
    for (auto const& second : components) {
      for (field_path_t const& path : { field_path_t{ first }, { first, second }, { first, "", second } })
        EXPECT_EQ(string_to_field_path(to_s(path)), path) << to_s(path);
    }
  }
}

TEST(FieldPath, ShortPathsSortFirst) {
  std::set<field_path_t, less_than_length_cmp> const paths = { { "b", "a" }, { "z" }, { "a", "c" }, { "a", "b", "c" } };
  EXPECT_EQ(std::vector<field_path_t>(paths.begin(), paths.end()),
            (std::vector<field_path_t>{ { "z" }, { "a", "c" }, { "b", "a" }, { "a", "b", "c" } }));
}

}  // namespace kel
