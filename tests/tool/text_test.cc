// How text reaches a terminal: HTML without its tags, bytes that are no text, separators of an mbox.
#include <gtest/gtest.h>

#include <string>

#include <helpers/repeated.h>

#include "program.h"

namespace {

using kel::repeated;
using kel::test::leaf;
using kel::test::multipart;

std::string shown(std::string const& type, std::string const& body) {
  std::string const out = kelmime({ "show" }, leaf(type + "; charset=utf-8", body)).out;
  return out.starts_with('\n') ? out.substr(1, out.find("\nProblems:") - 1) : out;
}

TEST(Text, IsShown) {
  struct { char const* name; char const* body; char const* expected; char const* type = "text/html"; } const rows[] = {
    { "white space", "a \n\t b", "a b\n" }, { "blocks", "<div>a</div><div>b</div>", "a\nb\n" },
    { "paragraphs", "<p>a</p><p></p><p>b</p>", "a\n\nb\n" }, { "line breaks", "a<br>b<BR/>c", "a\nb\nc\n" },
    { "list", "<ul><li>a</li><li>b</li></ul>", "- a\n- b\n" }, { "cells", "<tr><td>a</td><td>b</td></tr>", "a b\n" },
    { "inline tags leave no blank", "a<b>b</b>c", "abc\n" }, { "references", "&lt;&#65;&#x42;&euro;&gt;", "<AB\xe2\x82\xac>\n" },
    { "references that are none", "&&x;&#xffffffff;&#;", "&&x;&#xffffffff;&#;\n" },
    { "control by reference", "&#27;[2J&#155;", "\\x1b[2J\\u009b\n" },
    { "greater sign inside quotes", "<a title=\"x > y\">a</a>", "a\n" }, { "open quote", "<a title=\"x>a</a>", "a\n" },
    { "lonely less sign", "1 < 2 <3", "1 < 2 <3\n" }, { "comment", "a<!-- <b>x</b> -->b", "ab\n" }, { "open comment", "a<!-- x", "a\n" },
    { "script and style", "a<script>x</x></SCRIPT><style>x</style>b", "ab\n" }, { "open script", "a<script>x", "a\n" },
    { "open tag", "a<b", "a\n" },
    { "text and tabs", "a\tb\n", "a\tb\n", "text/plain" },
    { "other alphabets", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\n", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\n", "text/plain" },
    { "escape sequence", "\x1b[2J\n", "\\x1b[2J\n", "text/plain" }, { "C1 control", "\xc2\x9b\n", "\\u009b\n", "text/plain" },
    { "delete", "\x7f\n", "\\x7f\n", "text/plain" }, { "line feed at the end", "a", "a\n", "text/plain" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(shown(row.type, row.body), row.expected) << row.name;
}

TEST(Mbox, KnowsItsSeparators) {
  struct { char const* name; std::string lines; bool is_separator; } const rows[] = {
    { "as the C library prints dates", "\nFrom a@b Mon Jan  1 10:20:30 2024", true },
    { "with a zone", "\nFrom a@b Mon Jan  1 10:20 +0200 2024", true }, { "sender unknown", "\nFrom - Mon Jan 01 10:20:30 2024", true },
    { "prose", "\nFrom here on", false }, { "prose with a time", "\nFrom 10:20 on", false },
    { "prose with a year", "\nFrom 2024 on", false }, { "quoted", "\n>From a@b Mon Jan  1 10:20:30 2024", false },
    { "another header", "\nFrom: a@b Mon Jan  1 10:20:30 2024", false },
    { "no empty line before it", "From a@b Mon Jan  1 10:20:30 2024", false },
  };
  for (auto const& row : rows) {
    std::string const mbox = "From a@b Mon Jan  1 10:20:30 2024\nSubject: 1\n\nbody\n" + row.lines + "\nSubject: 2\n\nbody\n";
    EXPECT_EQ(kelmime({ "get", "subject" }, mbox).out, row.is_separator ? "1\n2\n" : "1\n") << row.name;
  }
}

TEST(Text, ReadsFloodsToTheirEnd) {
  scratch_t const scratch;
  std::string const html = "Content-Type: text/html\n\n", file = leaf("a/b; name=a.txt", "x", "Content-Disposition: attachment\n");
  struct { char const* name; std::vector<std::string> verb; std::string message; } const rows[] = {
    { "open quotes", { "show" }, html + repeated("<a '\"", 300000) },
    { "open comments", { "show" }, html + repeated("<!-", 300000) + repeated("<!--", 300000) },
    { "closing tags in a script", { "show" }, html + "<script>" + repeated("</", 600000) },
    { "almost separators", { "tree" }, "From a@b Mon Jan  1 10:20:30 2024\n\n" + repeated("\n\nFrom 10:20", 300000) },
    { "equal names", { "extract", "-d", scratch.path() }, multipart("mixed", std::vector(5000, file)) },
    { "many parts", { "json" }, multipart("mixed", std::vector<std::string>(9000, "\nx")) },
  };
  for (auto const& row : rows)
    EXPECT_EQ(kelmime(row.verb, row.message).status, 0) << row.name;
}

}  // namespace
