// The vocabulary that the library brings along, and the page that explains it.
#include <gtest/gtest.h>

#include <algorithm>

#include <helpers/repeated.h>
#include <helpers/threads.h>
#include <kel/path.h>
#include <kel/regexp.h>
#include <kel/text.h>
#include <kelmime/header_parser.h>
#include <kelmime/header_parsers.h>

namespace kel {

namespace {

std::string joined(std::vector<std::string> const& values) {
  std::string text;
  for (std::string const& value : values)
    text += "[" + value + "]";
  return text;
}

// The texts between backquotes.
std::vector<std::string> quoted_texts(std::string_view text) {
  std::vector<std::string> found;
  std::vector<std::string> const pieces = text::split(text, "`");
  for (std::size_t i = 1; i < pieces.size(); i += 2)
    found.push_back(pieces[i]);
  return found;
}

// What the page says: the headers of each section, and its rows, of which those with a dot belong to every header.
std::set<std::string> documented_paths(std::string_view page) {
  std::set<std::string> paths;
  std::vector<std::string> headers;
  for (std::string const& paragraph : text::split(page, "\n\n")) {
    if (paragraph.starts_with("Headers: ")) {
      headers = quoted_texts(paragraph);
      paths.insert(headers.begin(), headers.end());
    }
    for (std::string const& line : text::split(paragraph, "\n")) {
      if (line.starts_with("| `.")) {
        for (std::string const& header : headers)
          paths.insert(header + quoted_texts(line)[0]);
      } else if (line.starts_with("| `")) {
        paths.insert(quoted_texts(line)[0]);
      }
    }
  }
  return paths;
}

}  // namespace

TEST(Specifiers, PageAndRegistryListTheSamePaths) {
  std::set<std::string> known;
  for (field_path_t const& path : field_parsers_init::get_field_paths())
    known.insert(to_s(path));
  std::set<std::string> const documented = documented_paths(path::content(KELMIME_RESOURCES_DIR "/../docs/field-paths.md"));
  EXPECT_GT(known.size(), 1000U);
  std::vector<std::string> differing;
  std::ranges::set_symmetric_difference(known, documented, std::back_inserter(differing));
  EXPECT_EQ(joined(differing), "");
}

TEST(Specifiers, ShorthandsNameKnownPaths) {
  std::string const page = path::content(KELMIME_RESOURCES_DIR "/../docs/field-paths.md");
  for (std::string const& name : quoted_texts(page.substr(page.find("\n- `any-address`")))) {
    EXPECT_TRUE(field_parsers_init::is_shorthand(name)) << name;
    for (field_path_t const& path : field_parsers_init::get_field_paths_for_shorthand(name)) {
      bool const is_plain = field_parsers_init::get_field_paths().contains(path);
      EXPECT_TRUE(is_plain || field_parsers_init::field_parser_for_field_path(path)) << to_s(path);
    }
  }
}

TEST(Specifiers, ValuesOfRealHeaders) {
  constexpr char const* received =
      "from mx.a (helo [1.2.3.4] by evil) by mx.b with ESMTP id <x1> for <u@h> (x); Mon, 1 Jan 2024 10:00:00 +0100";
  constexpr char const* authentication =
      "mx.b; dkim=pass header.i=@x.com (ok spf=fail); spf=softfail smtp.mailfrom=x; dkim=fail; dmarc=none";
  constexpr char const* list = "<mailto:list@x.org?subject=a>, < https://h.org/p/q > (Help <x>)";
  struct { char const* path; char const* body; char const* expected; } const rows[] = {
    { "subject", "  as it is ", "[  as it is ]" },          { "from.address", "Ann <a@x>", "[a@x]" },
    { "to.split.address", "Ann <a@x>, b@y", "[a@x][b@y]" }, { "resent-bcc.split", "Ann <a@x>, b@y", "[Ann <a@x>][b@y]" },
    { "x-original-to.address", "<a@x>", "[a@x]" },          { "from.split.address.domain", "a@x, \"b@c\"@d.e", "[x][d.e]" },
    { "from.name.first", "\"Doe, John\" <j@x>", "[John]" }, { "from.name.last", "John van Doe <j@x>", "[Doe]" },
    { "from.name.last", "John <j@x>", "" },                 { "from.name.first", ", x", "" },
    { "content-disposition.type", "\"attachment\"; filename=a", "[attachment]" },
    { "content-disposition.parameter.split.filename", "attachment; filename=\"a\\\\b\\\"\"", "[a\\b\"]" },
    { "content-type.parameter.split.charset", "a/b; name=\"x; charset=\"; y=\"charset=\\\"z\\\"\"", "" },
    { "content-disposition.parameter.split.filename", "a; filename*=utf-8''%EF%BF%BF", "" },
    { "content-type.parameter.split.protected-headers", "a/b; protected-headers=v1; hp=clear", "[v1]" },
    { "content-type.parameter.split.unknown", "a/b; x=1; unknown=2", "[x=\"1\"; unknown=\"2\"]" },
    { "content-type.parameter.each.attribute", "a/b; X=1; y=2", "[x][y]" }, { "content-transfer-encoding", "base64 (x)", "[base64 (x)]" },
    { "content-transfer-encoding.mechanism", "base64 (x)", "[base64]" }, { "message-id.split", "<a@b>", "[a@b]" },
    { "message-id.split", "bare", "[bare]" },                  { "content-id.split", "< a b >", "[a b]" },
    { "references.split", "<a@b><c@d>\t<e", "[a@b][c@d][e]" }, { "message-id.split", "<a@b> (junk)", "[a@b]" },
    { "message-id.split", "<a@b> by x", "[a@b]" }, { "in-reply-to.split", "<a@b> \"Ann\" of Monday; <c@d>", "[a@b][c@d]" },
    { "in-reply-to.split", "Your message of Monday <<a@b>> or c@d", "[a@b][c@d]" },
    { "subject.prefix", "Re: [list] AW[2]: Hi: there", "[Re: [list] AW[2]: ]" },
    { "subject.unprefixed", "Re: [list] AW[2]: Hi: there", "[Hi: there]" }, { "subject.unprefixed", "Report: all", "[Report: all]" },
    { "subject.bare", "[a] Fwd: [b] 回复：Hi [c] ", "[Hi [c]]" }, { "subject#lc.bare", "Re: X", "[X]" },
    { "subject#lc", "Re: X", "[Re: X]" }, { "subject.bare", "R: I: VÁ: ΑΤ: Σχετ: תשובה: Atb: BLS: Trs: İLT: x", "[x]" },
    { "subject.tag", "[a] Fwd: [ b ] Hi", "[a][b]" }, { "list-post.split", list, "[mailto:list@x.org?subject=a][https://h.org/p/q]" },
    { "list-post.split.mailto", list, "[list@x.org?subject=a]" }, { "list-post.split.mailto.address", list, "[list@x.org]" },
    { "list-post.split.server", list, "[h.org]" },                { "list-post.split", "<>, < a b >", "[a b]" },
    { "list-id.id", "\"A <list>\" <a.b.c>", "[a.b.c]" }, { "list-id.name", "The \"best\" list <a.b>", "[The \"best\" list]" },
    { "list-id.name", "\"A\" and \"B\" <a.b>", "[\"A\" and \"B\"]" }, { "list-id.name", "\"A <list>\" <a.b.c>", "[A <list>]" },
    { "list-id.id", "a.b.c", "[a.b.c]" },                             { "received.from", received, "[mx.a]" },
    { "received.by", received, "[mx.b]" },                            { "received.with", received, "[ESMTP]" },
    { "received.id", received, "[x1]" },                              { "received.for", received, "[u@h]" },
    { "received.date.canonical", received, "[2024-01-01 09:00:00]" },
    { "received.by", "from a ((x) \\) by evil (y) by evil) \"q by evil\" by b", "[b]" },
    { "received.from", "from \"x by evil\" by b", "[\"x by evil\"]" }, { "received.for", "by b for a@b, c@d; Mon", "[a@b]" },
    { "received.for", "by b for <\"a b\"@c>", "[\"a b\"@c]" },
    { "received.date", "by b; Mon, 1 Jan 2024 10:00:00 +0100 (a;b) ", "[Mon, 1 Jan 2024 10:00:00 +0100 (a;b)]" },
    { "received.date.#local", "by b; 1 Jan 1990 never", "" },
    { "date.canonical", "Mon, 1 Jan 2024 10:00:00 +0100", "[2024-01-01 09:00:00]" }, { "date.canonical", "never", "" },
    { "date.#relative", "Mon, 1 Jan 2222 10:00:00 +0100", "[future time]" },
    { "date.canonical.#relative", "Mon, 1 Jan 2222 10:00:00 +0100", "[future time]" }, { "date.formatted", "never", "" },
    { "content-language.split", "en, de-DE;q=0.8 (German)", "[en][de-DE]" }, { "x-priority.value", " 1 (Highest)", "[1]" },
    { "x-spam-status.result", "Yes, score=5.2 required=5.0", "[Yes]" }, { "x-spam-status.score", "Yes, score=5.2 required=5.0", "[5.2]" },
    { "x-spam-status.tests", "No, score=-1 tests=A,B,\tC autolearn=no", "[A,B,\tC]" },
    { "x-spam-status.tests", "No, tests=[A=1, B=2] autolearn=no", "[A=1, B=2]" },
    { "authentication-results.server", " (a (b)) mx.b (c); none", "[mx.b]" },
    { "arc-authentication-results.server", "i=1; (a) mx.b; none", "[mx.b]" },
    { "authentication-results.spf", "a; dkim=fail (x \\) spf=pass ((y) spf=pass)) reason=\"\\\"; spf=pass\"", "" },
    { "authentication-results.spf", "a; dkim=fail header.spf=pass xspf=pass; spf=none", "[none]" },
    { "authentication-results.server", authentication, "[mx.b]" },     { "authentication-results.spf", authentication, "[softfail]" },
    { "authentication-results.dkim", authentication, "[pass][fail]" }, { "dkim-signature.b", "v=1; d=x; bh=AB=; b=CD EF=", "[CD EF=]" },
    { "dkim-signature.bh", "v=1; d=x; bh=AB=; b=CD EF=", "[AB=]" },    { "dkim-signature.b", "zz=x b=evil; b=AB; d2=x; xb=c", "[AB]" },
    { "mime-version.version", "(x) 1.0 (1.5)", "[1.0]" },              { "keywords.split", "a b , c", "[a b][c]" },
    { "content-length.formatted", "1536", "[1.5 KB]" },                { "#date-sent.#local", "2024-01-01 10:00", "[unknown]" },
    { "#any-header.split", "a \"b c\"d e", "[a][\"b c\"d][e]" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(joined(header_parser::parse_all_from_header(row.path, row.body)), row.expected) << row.path << ": " << row.body;
}

// The short form of a date is answered as it stands, like the long one.
TEST(Specifiers, DatesInShort) {
  constexpr char const* date = "Mon, 1 Jan 2024 10:00:00 +0100";
  for (std::string const display : { "#relative", "#local", "formatted" }) {
    std::string const value = header_parser::parse_from_header("date.canonical." + display, date);
    EXPECT_NE(value, "unknown") << display;
    EXPECT_EQ(header_parser::parse_from_header("date." + display, date), value);
    EXPECT_EQ(header_parser::parse_from_header("received.date." + display, std::string("by b; ") + date), value);
    field_path_t path = { "date", display };
    field_parsers_init::expand_implicit_field_path(path);
    EXPECT_EQ(to_s(path), "date.canonical." + display);
    EXPECT_EQ(to_s(field_parsers_init::compact_field_path(path)), "date." + display);
  }
}

// Each pattern compiles, and none is slow on a long value of one kind of bytes.
TEST(Specifiers, PatternsAreSoundAndLinear) {
  testing::internal::CaptureStderr();
  for (char const* flood : { "a", " ", "<", "\"", "(", "[", "a@", ";a=", "re:", ",", "a ", "\\" }) {
    std::string const body = repeated(flood, 3000 / std::string_view(flood).size());
    for (field_path_t path : field_parsers_init::get_field_paths()) {
      field_parsers_init::expand_implicit_field_path(path);
      field_parsers_init::parse_bodies_with_field_path(path, { body });
    }
  }
  std::string const output = testing::internal::GetCapturedStderr();
  EXPECT_EQ(output.find("Warning"), std::string::npos) << output.substr(0, 500);
}

TEST(Specifiers, TwoThreadsMayAsk) {
  in_threads(4, [](int) {
    EXPECT_EQ(header_parser::parse_from_header("arc-seal.cv", "i=1; cv=pass"), "pass");
    field_parsers_init::get_field_paths();
    EXPECT_FALSE(field_parsers_init::get_field_paths_for_shorthand("any-date#lc").empty());
  });
}

}  // namespace kel
