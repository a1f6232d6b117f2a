#include <header/parameters.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include <kelmime/header_parser.h>
#include <kelmime/unset.h>

#include <header/parameter_editing.h>
#include <helpers/exact_copy.h>
#include <helpers/repeated.h>
#include <helpers/short_strings.h>

namespace kel::header {

namespace {

// "type/subtype name=value name=value"; a part that is missing is "-".
std::string read(std::string_view value) {
  test::exact_copy_t const bytes(value);
  structured_value_t const read = parse_structured_value({ bytes.begin(), bytes.end() });
  std::string text = (read.type.empty() ? "-" : read.type) + "/" + (read.subtype.empty() ? "-" : read.subtype);
  for (auto const& [name, parameter] : read.parameters)
    text += " " + name + "=" + parameter;
  return text;
}

using row_t = std::pair<char const*, char const*>;

constexpr row_t rows[] = {
  // The type.
  { "text/plain", "text/plain" }, { " (a (b) \\) c) text (x) / (y) plain (z) ; charset=a", "text/plain charset=a" },
  { "text", "text/-" }, { "text/", "text/-" }, { "text/ ; charset=a", "text/- charset=a" },
  { "/plain", "-/plain" },                                       { "\"text/html\"; charset=a", "text/html charset=a" },
  { "text/html, text/plain; charset=a", "text/html charset=a" }, { "text/html junk; charset=a", "text/html charset=a" },
  { "Attachment; filename=a", "Attachment/- filename=a" },       { "charset=a", "-/- charset=a" },
  { "", "-/-" }, { "; ;; charset=a", "-/- charset=a" }, { "te(xt", "te/-" },
  // Where values begin and end.
  { "a/b; CharSet = \"x\" ; y = z ;", "a/b charset=x y=z" }, { "a/b; x=us-ascii (comment; y=2)", "a/b x=us-ascii" },
  { "a/b; x=(comment) 1", "a/b x=1" },                       { "a/b; name=My file (1).txt", "a/b name=My file (1).txt" },
  { "a/b; name=(1).txt", "a/b name=(1).txt" },               { "a/b; name=a;b.txt", "a/b name=a" },
  { "a/b; name=gr\xC3\xBC\xC3\x9F/e.txt", "a/b name=gr\xC3\xBC\xC3\x9F/e.txt" }, { "a/b; name='q'; x=utf-8\"", "a/b name='q' x=utf-8" },
  { "a/b; x=; y=\"\"; z=1", "a/b x= y= z=1" },               { "a/b; junk; =x; y=1", "a/b y=1" },
  { "a/b; boundary==_Part=1 2", "a/b boundary==_Part=1 2" }, { "a/b; name=open (1.txt; x=1", "a/b name=open (1.txt x=1" },
  // Single quotes are part of a value, except of a charset.
  { "a/b; charset='utf-8'", "a/b charset=utf-8" }, { "a/b; charset=\"'utf-8'\"; boundary='x'", "a/b charset=utf-8 boundary='x'" },
  { "a/b; charset='", "a/b charset='" },
  // Missing semicolons.
  { "a/b; charset=utf-8,", "a/b charset=utf-8" },                   { "a/b; filename=a.txt, size=12", "a/b filename=a.txt size=12" },
  { "a/b; filename=a, b,; size=12", "a/b filename=a, b, size=12" }, { "a/b charset=x format=y", "a/b charset=x format=y" },
  { "a/b; name=\"x\" charset=y", "a/b name=x charset=y" },          { "a/b; name=\"x\"charset=y", "a/b name=x charset=y" },
  { "a/b; name=one two size=3", "a/b name=one two size=3" },
  // Quotes.
  { "a/b; name=\"My \"best\" file\"; x=1", "a/b name=My \"best\" file x=1" }, { "a/b; name=\"x\" junk; y=\"z\"", "a/b name=x y=z" },
  { "a/b; name=\"x\",y=\"z\",q=\"r\"", "a/b name=x\",y=\"z\",q=\"r" }, { "a/b; name=\"open; x=1", "a/b name=open x=1" },
  { "a/b; name=\"open; x ", "a/b name=open; x" },                  { "a/b; name=\"", "a/b name=" },
  { "a/b; name=\"C:\\temp\\x.txt\"", "a/b name=C:\\temp\\x.txt" }, { "a/b; name=\"a\\\"b\\\\c\\\"\"", "a/b name=a\"b\\c\"" },
  { "a/b; name=\"a\\", "a/b name=a\\" }, { "a/b; name=\"a; b=c\"; d=\"; e=\"; f=g", "a/b name=a; b=c d=; e= f=g" },
  // Repetition and RFC 2231.
  { "a/b; x=1; X=2", "a/b x=1 x=2" }, { "a/b; name*=utf-8''%e2%82%ac%20a; name=plain", "a/b name=\xE2\x82\xAC a" },
  { "a/b; name=plain; x=1; name*=\"utf-8'en'%C3%A4\"", "a/b name=\xC3\xA4 x=1" }, { "a/b; name*1=b; name*2=c; name*0=a", "a/b name=abc" },
  { "a/b; name*5=b; name*0=a; name*5=z; name*99999999999999999999=c", "a/b name=abc" },
  { "a/b; name*0*=iso-8859-1''%e4; name*1=%41; name*2*=%f6", "a/b name=\xC3\xA4%41\xC3\xB6" },
  { "a/b; name*0*=utf-8''%e2%82; name*1*=%ac", "a/b name=\xE2\x82\xAC" }, { "a/b; name*=a%20b%zz%4", "a/b name=a b%zz%4" },
  { "a/b; name*=x'y", "a/b name=x'y" }, { "a/b; name*=iso-8859-1''%e4\xC3\xA4", "a/b name=\xC3\xA4\xC3\xA4" },
  { "a/b; name*x=1; *=2; name**=3", "a/b name*x=1 *=2 name**=3" },
};

}  // namespace

TEST(Parameters, ReadsRealMail) {
  for (auto const& [value, expected] : rows)
    EXPECT_EQ(read(value), expected) << value;
  EXPECT_EQ(read(std::string_view("a\0b/c; x=d\0e", 13)), std::string_view("a\0b/c x=d\0e", 12));
}

// The direct road and the field paths must not differ in a single answer.
TEST(Parameters, FieldPathsAgree) {
  auto const or_unset = [](std::string const& text) { return text.empty() ? unset_string : text; };
  for (auto const& [text, expected] : rows) {
    std::string const value = text;
    structured_value_t const direct = parse_structured_value(value);
    EXPECT_EQ(header_parser::parse_from_header("content-type.type", value), or_unset(direct.type)) << value;
    EXPECT_EQ(header_parser::parse_from_header("content-type.subtype", value), or_unset(direct.subtype)) << value;
    std::map<std::string, std::vector<std::string>> of;
    for (parameter_t const& parameter : direct.parameters) {
      of[parameter.name].push_back(parameter.value);
      of["each"].push_back(parameter.value);
    }
    for (std::string const name : { "boundary", "charset", "name", "format", "filename", "size" }) {
      std::string const path = "content-type.parameter.split." + name;
      EXPECT_EQ(header_parser::parse_all_from_header(path, value), of[name]) << path << " of " << value;
      EXPECT_EQ(header_parser::parse_from_header(path, value), direct.parameter(name) ? of[name].at(0) : unset_string);
    }
    EXPECT_EQ(header_parser::parse_all_from_header("content-type.parameter.each.value", value), of["each"]) << value;
  }
}

TEST(Parameters, OneIsSet) {
  row_t const set_x[] = {  // to "a b"
    { "c/d", "c/d; x=\"a b\"" }, { "c/d ;", "c/d ; x=\"a b\"" }, { "", "x=\"a b\"" },
    { "c/d; X = 1 ;y=2", "c/d; x=\"a b\" ;y=2" },          { "c/d;x=1;y=2; (e) x=3 ; z", "c/d; x=\"a b\";y=2; (e)  ; z" },
    { "c/d; x=1; y=2; x=3; x=4", "c/d; x=\"a b\"; y=2" },  { "c/d; x*0=1; y=2; x*1*=3; x*=4", "c/d; x=\"a b\"; y=2" },
    { "c/d; x=1 2 (e); y=2", "c/d; x=\"a b\"; (e); y=2" }, { "c/d; x=\"1\"y=2", "c/d; x=\"a b\";y=2" },
    { "c/d; x=1, y=2", "c/d; x=\"a b\"; y=2" },            { "c/d; x=\"1;2", "c/d; x=\"a b\"" },
    { "c/d; y=\"1;", "c/d; y=\"1;\"; x=\"a b\"" },  // read and written anew
  };
  for (auto const& [value, expected] : set_x)
    EXPECT_EQ(with_parameter(value, "x", "a b"), expected) << value;
  for (auto const& [text, expected] : {
         row_t{ "utf-8", "x=utf-8" }, { "", "x=\"\"" }, { "a\"\\b", "x=\"a\\\"\\\\b\"" }, { "\u00FC", "x=\"\u00FC\"" }, { "a=b", "x=\"a=b\"" } })
    EXPECT_EQ(parameter_text("x", text), expected);
}

TEST(Parameters, TheOthersStay) {
  test::for_all_short_strings("x\"\\;= (*y", [](std::string const& text) {
    for (std::string const& value : { "a/b;" + text, "a/b; x=" + text + ";y=1", "a/b; x=1;" + text + " x=\"" }) {
      std::string const set = with_parameter(value, "x", "\"\\;(a\u00FC");
      structured_value_t before = parse_structured_value(value), after = parse_structured_value(set);
      ASSERT_TRUE(after.parameter("x") && *after.parameter("x") == "\"\\;(a\u00FC") << value;
      for (structured_value_t* read : { &before, &after })
        std::erase_if(read->parameters, [](parameter_t const& parameter) { return parameter.name == "x"; });
      ASSERT_TRUE(reads_the_same(before, after)) << value << " is now " << set;
    }
  });
}

TEST(Parameters, Mechanism) {
  EXPECT_EQ(transfer_encoding_mechanism(" (a) Base64 (b); junk"), "Base64");
  EXPECT_EQ(transfer_encoding_mechanism("\"quoted-printable\""), "quoted-printable");
  EXPECT_EQ(transfer_encoding_mechanism("7bit, 8bit"), "7bit");
  EXPECT_EQ(transfer_encoding_mechanism(" ; "), "");
}

// Floods are read to their end.
TEST(Parameters, FloodsAreRead) {
  for (char const* flood : { "x=1;", "x=\"", "x=\"y\",", "x=(", "(", "((\\", "x=\"a\" b ", "x*0=1;", "a b ", "=", "\"",
                             "x=a (", ";", "x=\\\"", "a=b c", " ", "x=\"\\\\", "x*=a'b'%;" }) {
    std::string const value = "a/b; " + repeated(flood, 100'000);
    EXPECT_EQ(parse_structured_value(value).subtype, "b") << flood;
    normal_parameters(value);
  }
  std::string sections = "a/b";
  for (int number = 100'000; number-- != 0;)
    sections += ";x*" + std::to_string(number) + "=" + static_cast<char>('a' + number % 26);
  structured_value_t const joined = parse_structured_value(sections);
  ASSERT_EQ(joined.parameters.size(), 1U);
  EXPECT_EQ(joined.parameters[0].value, repeated("abcdefghijklmnopqrstuvwxyz", 100'000 / 26 + 1).substr(0, 100'000));

  std::string const many = "a/b; " + repeated("x=1; ", 100'000) + "boundary=b";
  EXPECT_EQ(header_parser::parse_from_header("content-type.parameter.split.boundary", many), "b");
}

// What is read stands in the value, one behind the other.
TEST(Parameters, ShortStrings) {
  test::for_some_texts({ "a", "=", ";", "\"", "\\", "(", " ", ")", "*", "'", "/", "%" }, 2'000'000, 11, [](std::string const& text) {
    for (char const* before : { "", "a;b=", "a;b=\"" }) {
      std::string const value = before + text;
      char const* cursor = value.data();
      std::vector<written_parameter_t> const written = written_parameters(value);
      for (written_parameter_t const& parameter : written) {
        ASSERT_TRUE(cursor <= parameter.text.data()) << value;
        cursor = parameter.text.data() + parameter.text.size();
      }
      ASSERT_TRUE(cursor <= value.data() + value.size()) << value;
      test::exact_copy_t const bytes(value);
      for (parameter_t const& parameter : parse_structured_value({ bytes.begin(), bytes.end() }).parameters)
        ASSERT_NE(std::ranges::find(written, parameter.name, &written_parameter_t::name), written.end()) << value;
    }
  });
}

}  // namespace kel::header
