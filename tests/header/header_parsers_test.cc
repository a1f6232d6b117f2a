#include <kelmime/header_parsers.h>

#include <gtest/gtest.h>

#include <algorithm>

#include <header/field_registry.h>
#include <kel/plist.h>
#include <kelmime/unset.h>

#include <helpers/exact_copy.h>
#include <helpers/surroundings.h>

namespace kel {

namespace {

using type_t = field_parser_t::type_t;
using texts_t = std::vector<std::string>;

texts_t values(field_parser_t const& parser, std::string_view text) {
  texts_t out;
  test::exact_copy_t const bytes(text);
  parser.parse_field({ bytes.begin(), bytes.end() }, std::back_inserter(out));
  return out;
}

plist::dictionary_t specifiers(std::string_view text) {
  plist::parsed_t const parsed = plist::parse(text);
  EXPECT_FALSE(parsed.error) << parsed.error->message;
  return *parsed.value.dictionary();
}

texts_t texts(std::set<field_path_t> const& paths) {
  texts_t result;
  for (field_path_t const& path : paths)
    result.push_back(to_s(path));
  return result;
}

template <typename Run>
std::string output_of(Run run) {
  testing::internal::CaptureStderr();
  run();
  return testing::internal::GetCapturedStderr();
}

std::string warnings_of(std::string const& parsers) {
  return output_of([&] { field_registry_t(specifiers("{ parsers = {" + parsers + "}; }")); });
}

}  // namespace

TEST(FieldParser, Captures) {
  struct { char const* pattern; char const* text; texts_t expected; type_t type = type_t::text; bool is_quoted = false; } const rows[] = {
    { "(\\w+)=", "a=b=c", { "a", "b" } }, { "\"((?:[^\"\\\\]|\\\\.)*)\"", "\"a\\\"b\" \"c\"", { "a\"b", "c" }, type_t::text, true },
    { "\"(.*)\"", "\"a\\b\"", { "a\\b" } },     { "(.*)", "a\tb  ", { "a b" }, type_t::no_tabs },
    { "(.*)", "   ", { "" }, type_t::no_tabs }, { "(.*)", "a\t ", { "a " }, type_t::no_tabs },
    { "(\\d+)", "1536", { "1.5 KB" }, type_t::formatted_size },
    { "(x*)", "axb", { "", "x", "" } },  // empty matches do not stay
    { "(.*)", "", {} }, { "(a)|b", "bab", { "a" } },
  };
  for (auto const& row : rows)
    EXPECT_EQ(values(field_parser_t(row.pattern, 1, row.type, row.is_quoted), row.text), row.expected) << row.pattern << row.text;
}

TEST(FieldParser, FirstAddedGroupThatParticipates) {
  field_parser_t parser("(a)(b)?", 2, type_t::text, false);
  parser.add_capture_index(1, type_t::text, false);
  parser.add_capture_index(7, type_t::text, false);
  EXPECT_EQ(values(parser, "aab"), (texts_t{ "a", "b" }));
  EXPECT_EQ(parser.parse_field("ab"), "b");
  EXPECT_EQ(parser.parse_field("x"), unset_string);
  EXPECT_EQ(parser.parse_field(to_hstring("a")), "a");
}

TEST(FieldParser, CallablesTakePrecedence) {
  field_parser_t parser("unknown", 0, type_t::function, false);
  EXPECT_FALSE(parser.has_function());
  EXPECT_EQ(values(parser, "x"), texts_t{});

  // Never advances; the walk over the value ends all the same.
  parser.set_char_function([](char const*& cursor, char const*) { return header::match_t{ cursor, cursor + 1 }; });
  EXPECT_EQ(values(parser, "xy"), (texts_t{ "x" }));
  parser.set_char_function([](char const*& cursor, char const*) {
    ++cursor;
    return header::match_t{ cursor - 1, cursor };
  });
  EXPECT_EQ(values(parser, "xy"), (texts_t{ "x", "y" }));
  parser.set_transform_char_function([](char const* first, char const* last) { return std::string(first, last) + "!"; });
  EXPECT_EQ(values(parser, "xy"), (texts_t{ "xy!" }));
  parser.set_transform_function([](std::string const& value) { return value == "no" ? unset_string : value + "?"; });
  EXPECT_EQ(values(parser, "xy"), (texts_t{ "xy?" }));
  EXPECT_EQ(values(parser, "no"), texts_t{});
  EXPECT_TRUE(parser.has_function());

  texts_t const in = { "a", "b" };
  texts_t out;
  field_parser_t("", 0, type_t::function, false).parse_fields(in.begin(), in.end(), std::back_inserter(out));
  EXPECT_EQ(out, in) << "without a specifier strings pass";
}

TEST(FieldParserDeathTest, Misuse) {
  EXPECT_DEATH(field_parser_t("", 1, type_t::text, false), "^Empty regex not allowed\n");
  EXPECT_DEATH(field_parser_t("(a)", 1, type_t::no_tabs, false).add_capture_index(2, type_t::text, false),
               "^Fatal: Mismatching capture types \\(4 != 0\\)\n");
  EXPECT_DEATH(values(field_parser_t("(a)", 1, type_t::relative_date, false), "a"), "^Fatal: Captures cannot have the type 2\n");
  EXPECT_DEATH(field_parsers_init::get_field_parsers_for_function("nosuch"), "^Fatal: Function named “nosuch” does not exist.\n");
}

// One entry in each of its forms.
TEST(FieldRegistry, BuildsPaths) {
  field_registry_t const registry(specifiers(R"plist({
    parsers = {
      top = { headers = (h, "", i); header = j;
              functions = ({ specifier = split; canBeImplicit = YES; parsers = (leaf); });
              specifierRegexFormatString = "(?:${left})=(\\d+)"; variables = { left = "[a-z]+"; };
              specifierCaptures = { 1 = { specifier = number; }; }; };
      leaf = { specifierCaptures = { 0 = { specifier = whole; }; }; };
      order = { header = o; specifierRegex = "(a)(b)?(c)?(d)?(e)?(f)?(g)?(h)?(i)?(j)?";
                specifierCaptures = { 2 = { specifier = x; }; 10 = { specifier = x; }; 1 = { specifier = x; }; }; };
      short = { header = s; specifierRegex = ".+";
                specifierCaptures = { 0 = { specifier = all; alwaysImplicit = YES; parsers = (leaf); }; }; };
    };
    headers = ("plain", "#p.'a.b'", "");
    shorthands = { any = { specifiers = ("h.split", "i.number"); }; };
  })plist"));

  for (char const* time : { "first", "second" }) {
    EXPECT_EQ(texts(registry.paths()), (texts_t{ "#p.'a.b'", "h.number", "h.split", "h.whole", "i.number", "i.split", "i.whole", "j.number",
                        "j.split", "j.whole", "o.x", "plain", "s", "s.whole" })) << time;
  }
  EXPECT_EQ(registry.first_value({ "h", "number" }, "ab=17"), "17");
  EXPECT_EQ(registry.all_values({ "h", "split", "whole" }, { "a@x, b@y", "c@z" }), (texts_t{ "a@x", "b@y", "c@z" }));
  EXPECT_EQ(registry.first_value({ "o", "x" }, "abcdefghij"), "a") << "keys are texts: 1, 10, 2";
  EXPECT_EQ(registry.parsers_of_function("split").size(), 3U);

  EXPECT_EQ(registry.compact({ "h", "split", "whole" }), (field_path_t{ "h", "whole" }));
  EXPECT_EQ(registry.compact({ "h", "number" }), (field_path_t{ "h", "number" }));
  std::pair<char const*, char const*> const forms[] = {
    { "h.whole", "h.split.whole" }, { "h#lc.whole", "h#lc.split.whole" }, { "s", "s.all" }, { "x.y", "x.y" },
  };
  for (auto const& [form, full] : forms) {
    field_path_t path = string_to_field_path(form);
    registry.expand(path);
    EXPECT_EQ(path, string_to_field_path(full));
  }

  EXPECT_TRUE(registry.parser(field_path_t{ "h#lc", "number" }));
  for (field_path_t const& path : { field_path_t{ "#lc", "number" }, { "plain#lc" }, { "plain" } })
    EXPECT_FALSE(registry.parser(path)) << to_s(path);

  EXPECT_TRUE(registry.is_shorthand("any") && registry.is_shorthand("any#lc") && !registry.is_shorthand("any2#lc"));
  EXPECT_EQ(registry.paths_of_shorthand("any#lc"), (std::vector<field_path_t>{ { "h#lc", "split" }, { "i#lc", "number" } }));
  EXPECT_EQ(registry.paths_of_shorthand("none"), std::vector<field_path_t>{});
}

TEST(FieldRegistry, ResolvesStepByStep) {
  field_registry_t const registry(specifiers("{ parsers = { a = { header = h; functions = ({ specifier = split; }); }; }; }"));
  EXPECT_EQ(registry.first_value({ "h", "split", "other" }, "a@x, b@y"), "a@x") << "unknown steps change nothing";
  EXPECT_EQ(registry.first_value({ "h", "split" }, "none"), unset_string);
  EXPECT_EQ(registry.all_values({ "h", "split" }, { "none" }), texts_t{});
  EXPECT_EQ(registry.all_values({ "unknown", "x" }, { "a", "b" }), (texts_t{ "a", "b" }));
}

TEST(FieldRegistry, Warnings) {
  EXPECT_EQ(warnings_of("a = { header = h; functions = (text, { specifier = f; parsers = (nosuch); }); };"),
            "Warning: Specifier function is not defined with a dictionary:\ntext\n"
            "Warning: Could not find the header parser named 'nosuch'\n");
  EXPECT_EQ(warnings_of("a = { header = h; specifierRegex = \"(a)(b)\"; specifierCaptures = {"
                  " 1 = { specifier = x; alwaysImplicit = YES; canBeImplicit = YES; }; 2 = { specifier = y; }; }; };"),
      "Warning: 'alwaysImplicit' can only be used when a single capture is defined.\n"
      "Warning: Both 'alwaysImplicit' and 'canBeImplicit' defined.\n");
  EXPECT_EQ(warnings_of("a = { header = h; functions = ({ specifier = f; alwaysImplicit = YES; },"
                        " { specifier = g; alwaysImplicit = YES; }); };"), "Warning: Expansion for 'h' already exists.\n");
  EXPECT_NE(warnings_of("a = { header = h; functions = ({ specifier = f; parsers = (a); }); };").find("components"), std::string::npos);
}

// Entries that the library cannot use cost one line each and leave the others alone.
TEST(FieldRegistry, UsesWhatItCan) {
  testing::internal::CaptureStderr();
  field_registry_t const registry(specifiers(R"plist({
    parsers = {
      a = { header = h; functions = (text, { specifier = split; });
            specifierRegex = "("; specifierCaptures = { 0 = { specifier = x; }; }; };
      b = { header = i; specifierRegexFormatString = ""; specifierRegex = "a";
            specifierCaptures = { 0 = { specifier = x; }; }; };
    };
  })plist"));
  EXPECT_EQ(registry.all_values({ "h", "split" }, { "a@x, b@y" }), (texts_t{ "a@x", "b@y" }));
  EXPECT_EQ(registry.first_value({ "i", "x" }, "abc"), "abc") << "an empty format counts, and means the pattern .*";
  testing::internal::GetCapturedStderr();

  std::string const output = output_of([&] {
    for (int time = 0; time < 2; ++time)
      EXPECT_EQ(registry.first_value({ "h", "x" }, "a"), unset_string);
  });
  EXPECT_EQ(output.find("Warning: Specifier '(': "), 0U) << output;
  EXPECT_EQ(std::ranges::count(output, '\n'), 1) << output;
}

TEST(FieldRegistryDeathTest, CapturesOfOneNameShareAType) {
  EXPECT_DEATH(field_registry_t(specifiers("{ parsers = { a = { header = h; specifierRegex = \"(a)(b)\"; specifierCaptures = {"
                                  " 1 = { specifier = x; }; 2 = { specifier = x; type = noTabs; }; }; }; }; }")),
      "Fatal: Mismatching capture types \\(0 != 4\\)\n");
}

TEST(Specifiers, Files) {
  temporary_folder_t const folder;
  EXPECT_TRUE(custom_plist_load(path::join(folder.path(), "missing")).empty());
  EXPECT_TRUE(custom_plist_load(folder.write("empty", "")).empty());
  struct { char const* content; std::size_t lines; } const rows[] = { { "{}", 1 }, { "( a )", 1 }, { "{ a = ", 2 } };
  for (auto const& [content, lines] : rows) {
    std::string const file = folder.write("bad", content);
    std::string const output = output_of([&] { EXPECT_TRUE(custom_plist_load(file).empty()); });
    std::string const expected = "Fatal: Unable to parse '" + file + "'\n" +
                                 (lines == 2 ? "Warning: " + file + ": line 1, column " : std::string());
    EXPECT_EQ(output.substr(0, expected.size()), expected);
    EXPECT_EQ(std::ranges::count(output, '\n'), lines) << output;
  }
}

TEST(Specifiers, UserCopyReplacesEntries) {
  temporary_folder_t const folder;
  variable_guard_t const resources("KELMIME_RESOURCES", folder.path());
  variable_guard_t const data("XDG_DATA_HOME", folder.path());
  folder.write("specifiers.plist", "{ parsers = { a = { header = h; }; b = { header = i; }; }; shorthands = {}; }");
  folder.write("postwick/Resources/specifiers.plist",
               "{ parsers = { a = { header = j; }; c = x; }; shorthands = { s = y; }; headers = (z); }");
  EXPECT_EQ(load_specifiers(), specifiers("{ parsers = { a = { header = j; }; b = { header = i; }; c = x; };"
                                          " shorthands = { s = y; }; }"));
}

TEST(SpecifiersDeathTest, DefaultListIsNeeded) {
  temporary_folder_t const folder;
  variable_guard_t const resources("KELMIME_RESOURCES", folder.path());
  EXPECT_DEATH(load_specifiers(),
      "^Unable to load or parse default specifiers plist \\(Frameworks/KelMIME/resources/specifiers.plist\\)\n");
}

}  // namespace kel
