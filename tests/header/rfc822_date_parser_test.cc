#include <kelmime/rfc822_date_parser.h>

#include <gtest/gtest.h>

#include <header/reading.h>
#include <kel/text.h>

namespace kel {

namespace {

using namespace test;

std::string const dash = "Non-standard use of '-' ignored";
std::string const year20 = "Two-digit years obsoleted in RFC2822 (parsed according to RFC822, but assumed to be 20xx instead of 19xx)";
std::string const year19 = "Two-digit years obsoleted in RFC2822 (parsed according to RFC822 as 19xx)";
std::string const no_sign = "Non-standard missing +/- in time zone";
std::string const beyond = "Zone number is out of bounds (accepted anyways)";
std::string const quotes = "Non-standard double-quoted zone name";
std::string const obsolete = "Zone names obsoleted in RFC2822 (parsed according to RFC822)";
std::string const military = "Military zone names obsoleted in RFC2822 (parsed according to RFC822)";
std::string const ignored = "Non-parsable zone name ignored (assumed UTC)";

std::string assumed(std::string const& zone) {
  return "Zone name does not exist in RFC822 (assumed to be " + zone + ")";
}

struct read_t {
  std::string canonical, local;
  mime_errors_handler_t errors = {};
};

read_t read(std::string_view text) {
  exact_copy_t const bytes(text);
  mime_errors_handler_t errors;
  rfc822_date_t const date(bytes.begin(), bytes.end(), errors);
  return { date.canonical_format(), date.local_canonical_format(), errors };
}

TEST(Rfc822Date, ReadsWhatMailContains) {
  struct { char const* text; std::string local; std::string canonical = ""; texts_t records = {}; } const rows[] = {  // in UTC as it is
    { "Mon, 1 Jan 2024 10:20:30 +0200", "2024-01-01 10:20:30 +0200", "2024-01-01 08:20:30" },
    { " (a)Monday,1 JAN 2024", "2024-01-01 00:00:00 +0000" },  { "1 Jan 2024 ", "2024-01-01 00:00:00 +0000" },
    { "Jan 1 2024 10:00 +0000", "2024-01-01 10:00:00 +0000" }, { "1-Jan-2024", "2024-01-01 00:00:00 +0000", "", { dash, dash } },
    { "31 Dec 2023 23:30 -0330", "2023-12-31 23:30:00 -0330", "2024-01-01 03:00:00" },
    { "31 Feb 2023", "2023-02-31 00:00:00 +0000", "2023-03-03 00:00:00" }, { "1 Jan 24", "2024-01-01 00:00:00 +0000", "", { year20 } },
    { "1 Jan 0049", "2049-01-01 00:00:00 +0000", "", { year20 } }, { "1 Jan 85", "1985-01-01 00:00:00 +0000", "", { year19 } },
    { "1 Jan 100 00:00 +9999", " 100-01-01 00:00:00 +9999", "  99-12-27 19:21:00", { beyond } },
    { "31 Dec 9999 23:59:60 -9999", "9999-12-31 23:59:60 -9999", "10000-01-05 04:39:00", { beyond } },
    { "1 Jan 100", " 100-01-01 00:00:00 +0000" }, { "1 Jan 24 10:20 GMT", "2024-01-01 10:20:00 +0000", "", { year20, obsolete } },
    { "1 Jan 2024 10", "2024-01-01 10:00:00 +0000" }, { "1 Jan 2024 10:5:7", "2024-01-01 10:05:07 +0000" },
    { "1 Jan 2024 23:59:60", "2024-01-01 23:59:60 +0000", "2024-01-02 00:00:00" },
    { "1 Jan 2024 10: +0100", "2024-01-01 10:00:00 +0100", "2024-01-01 09:00:00" }, { "1 Jan 2024 10:", "2024-01-01 10:00:00 +0000" },
    { "1 (a)Jan (b)2024 (c) (d) 10(e):00(f):01 (g) +0000", "2024-01-01 10:00:01 +0000" },
    { "1 Jan 2024 10:00 (zone) -0800 (Pacific (Standard) Time)", "2024-01-01 10:00:00 -0800", "2024-01-01 18:00:00" },
    { "1 Jan 2024 10:00 +0000 (never (closed)", "2024-01-01 10:00:00 +0000" },
    { "1 Jan 2024 10:00\r\n +0100 x", "2024-01-01 10:00:00 +0100", "2024-01-01 09:00:00" },
    { "1 Jan 2024 10:00 0200", "2024-01-01 10:00:00 +0200", "2024-01-01 08:00:00", { no_sign } },
    { "1 Jan 2024 10:00 +0075", "2024-01-01 10:00:00 +0075", "2024-01-01 08:45:00" },
    { "1 Jan 2024 10:00 +9959", "2024-01-01 10:00:00 +9959", "2023-12-28 06:01:00" },
    { "1 Jan 2024 10:00 -9960", "2024-01-01 10:00:00 -9960", "2024-01-05 14:00:00", { beyond } },
    { "1 Jan 2024 10:00 nst", "2024-01-01 10:00:00 -0330", "2024-01-01 13:30:00", { assumed("-0330") } },
    { "1 Jan 2024 10:00 FT+1", "2024-01-01 10:00:00 +1130", "2023-12-31 22:30:00", { assumed("+1130") } },
    { "1 Jan 2024 10:00 \"PDT\"", "2024-01-01 10:00:00 -0700", "2024-01-01 17:00:00", { quotes, obsolete } },
    { "1 Jan 2024 10:00 \"", "2024-01-01 10:00:00 +0000", "", { ignored } },
    { "1 Jan 2024 10:00 \"\"", "2024-01-01 10:00:00 +0000", "", { quotes, ignored } },
    { "1 Jan 2024 10:00 m", "2024-01-01 10:00:00 -1200", "2024-01-01 22:00:00", { military } },
    { "1 Jan 2024 10:00 J", "2024-01-01 10:00:00 +0000", "", { ignored } }, { "1 Jan 2024 10:00000", "", "", { no_sign } },
    { "1 Jan 2024 10:00 LOCAL", "2024-01-01 10:00:00 +0000", "", { ignored } },
  };
  for (auto const& row : rows) {
    read_t const date = read(row.text);
    EXPECT_EQ(date.local, row.local) << row.text;
    EXPECT_EQ(date.canonical, row.canonical.empty() ? row.local.substr(0, 19) : row.canonical) << row.text;
    EXPECT_EQ(listed(date.errors), row.records) << row.text;
    EXPECT_EQ(listed(date.errors, "context"), texts_t(row.records.size(), row.text));
  }
  for (char const* text : { "Mon 1 Jan 2024 10:20:30 +0200", "Mon , 1 Jan 2024", "Mo, 1 Jan 2024", "1 January 2024", "Jan 1, 2024",
                            "32 Jan 2024", "0 Jan 2024", "1 Jan 20244", "1 Jan 2024 25:00", "1 Jan 2024 10:60", "1 Jan 2024 10:60:00 +0000",
                            "1 Jan 2024 10:00:61 +0000", "1 Jan 2024 10:00: +0000", "1 Jan 2024, 10:00",
                            "1 (a) Jan 2024 (b) 10(c):(d)00", "1 Jan 2024 10:00 +02000", "" }) {
    read_t const date = read(text);
    EXPECT_EQ(date.canonical + date.local, "") << text;
    EXPECT_EQ(listed(date.errors), texts_t{}) << text;
  }
}

TEST(Rfc822Date, ZonesHaveNames) {
  auto const expect_zone = [](std::string const& name, std::string const& offset, std::string const& record) {
    read_t const date = read("1 Jan 2024 10:00 " + name);
    EXPECT_EQ(date.local, "2024-01-01 10:00:00 " + offset) << name;
    EXPECT_EQ(listed(date.errors), texts_t{ record }) << name;
  };
  struct { std::string offset; texts_t obsolete_names, assumed_names; } const rows[] = {
    { "-1000", {}, { "HAST" } },              { "-0900", {}, { "AKST", "HADT" } }, { "-0800", { "PST" }, { "AKDT" } },
    { "-0700", { "MST", "PDT" }, {} },        { "-0600", { "CST", "MDT" }, {} },   { "-0500", { "EST", "CDT" }, {} },
    { "-0400", { "EDT" }, { "AST", "HNA" } }, { "-0330", {}, { "NST", "HNT" } },   { "-0300", {}, { "ADT", "HAA" } },
    { "-0230", {}, { "NDT", "HAT" } },                               { "+0000", { "UT", "GMT" }, { "UTC", "WET" } },
    { "+0100", {}, { "BST", "IST", "WEST", "WEDT", "CET", "MEZ" } }, { "+0200", {}, { "CEST", "CEDT", "MESZ", "EET" } },
    { "+0300", {}, { "EEST", "EEDT", "MSK" } },                      { "+0400", {}, { "MSD" } },
    { "+0700", {}, { "CXT" } },                                      { "+0800", {}, { "WST", "AWST", "SGT" } },
    { "+0900", {}, { "WDT", "AWDT" } },                              { "+1130", {}, { "FT" } },
  };
  for (auto const& row : rows) {
    for (std::string const& name : row.obsolete_names)
      expect_zone(name, row.offset, obsolete);
    for (std::string const& name : row.assumed_names)
      expect_zone(name, row.offset, assumed(row.offset));
  }
  std::string const letters = "MLKIHGFEDCBAZNOPQRSTUVWXY";  // from 12 hours behind to 12 ahead
  for (int hours = -12; hours <= 12; ++hours)
    expect_zone(letters.substr(static_cast<std::size_t>(hours + 12), 1), text::format("%+03d00", hours), military);
}

TEST(Rfc822Date, ObsoleteFormsAreOfLowPriority) {
  mime_errors_handler_t const errors = read("1-Jan-24 10:00 EST").errors;
  EXPECT_EQ(listed(errors), (texts_t{ dash, dash, year20, obsolete }));
  EXPECT_EQ(listed(errors, "priority"), (texts_t{ "-", "-", "low", "low" }));
}

TEST(Rfc822Date, BrokenDownTime) {
  std::string const text = "2 Mar 2024 10:20:30 +0200";
  mime_errors_handler_t errors;
  std::tm const written = rfc822_date_t(text.begin(), text.end(), errors).get_time();
  EXPECT_TRUE(written.tm_year == 2024 && written.tm_mon == 2 && written.tm_hour == 10);
  EXPECT_LT(rfc822_date_t(text.begin(), text.begin() + 3, errors).get_time().tm_year, 1000);  // now, counted from 1900
}

TEST(Rfc822DateParser, StepsThatFailTakeNothing) {
  using step_t = bool (rfc822_date_parser_t::*)();
  struct { char const* text; step_t step; bool succeeds; } const rows[] = {
    { " (a) Mox", &rfc822_date_parser_t::parse_day_of_week, false }, { "(a(b)", &rfc822_date_parser_t::skip_single_comment, false },
    { " (a\\))", &rfc822_date_parser_t::skip_single_comment, true }, { "(\x80)", &rfc822_date_parser_t::skip_single_comment, false },
    { "(a(", &rfc822_date_parser_t::skip_ccontent, false },          { "a \\((b)", &rfc822_date_parser_t::skip_ccontent, true },
    { "\r\n", &rfc822_date_parser_t::skip_fws, false },              { "\\", &rfc822_date_parser_t::skip_quoted_pair, false },
    { "12345", &rfc822_date_parser_t::parse_zone_number, false },    { "Mon, Jan", &rfc822_date_parser_t::parse, false },
    { "1 Jan 2024 25:00", &rfc822_date_parser_t::parse, false },     { "x", &rfc822_date_parser_t::skip_dash, true },
  };
  for (auto const& row : rows) {
    exact_copy_t const bytes(row.text);
    mime_errors_handler_t errors;
    rfc822_date_parser_t parser(bytes.begin(), bytes.end(), errors);
    EXPECT_EQ((parser.*row.step)(), row.succeeds) << row.text;
    bool const is_at_start = parser.parse_char(std::string(1, row.text[0]).c_str());
    EXPECT_EQ(is_at_start, !row.succeeds || row.step == &rfc822_date_parser_t::skip_dash) << row.text;
  }
  mime_errors_handler_t errors;
  EXPECT_TRUE(rfc822_date_parser_t("", "" + 1, errors).parse_char(":")) << "zero bytes belong to every set";
}

TEST(Rfc822Date, DeepCommentsNeedNoStack) {
  constexpr std::size_t depth = 1 << 20;
  EXPECT_EQ(read(repeated("(", depth) + repeated(")", depth) + "1 Jan 2024").canonical, "2024-01-01 00:00:00");
}

}  // namespace

}  // namespace kel
