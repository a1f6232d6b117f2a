// How text reaches a terminal: HTML without its tags, bytes that are no text, separators of an mbox.
#include <gtest/gtest.h>

#include <string>

#include "program.h"

namespace {

std::string shown(std::string const& type, std::string const& body) {
  std::string const out =
      kelmime({ "show" }, "MIME-Version: 1.0\nContent-Type: " + type + "; charset=utf-8\n\n" + body).out;
  return out.starts_with('\n') ? out.substr(1, out.find("\nProblems:") - 1) : out;
}

TEST(HtmlText, KeepsWordsAndLines) {
  struct {
    char const* name;
    char const* html;
    char const* expected;
  } const rows[] = {
    { "white space", "a \n\t b", "a b\n" },
    { "blocks", "<div>a</div><div>b</div>", "a\nb\n" },
    { "paragraphs", "<p>a</p><p></p><p>b</p>", "a\n\nb\n" },
    { "line breaks", "a<br>b<BR/>c", "a\nb\nc\n" },
    { "list", "<ul><li>a</li><li>b</li></ul>", "- a\n- b\n" },
    { "cells", "<tr><td>a</td><td>b</td></tr>", "a b\n" },
    { "inline tags leave no blank", "a<b>b</b>c", "abc\n" },
    { "references", "&lt;&#65;&#x42;&euro;&gt;", "<AB\xe2\x82\xac>\n" },
    { "references that are none", "&&x;&#xffffffff;&#;", "&&x;&#xffffffff;&#;\n" },
    { "control by reference", "&#27;[2J&#155;", "\\x1b[2J\\u009b\n" },
    { "greater sign inside quotes", "<a title=\"x > y\">a</a>", "a\n" },
    { "open quote", "<a title=\"x>a</a>", "a\n" },
    { "lonely less sign", "1 < 2 <3", "1 < 2 <3\n" },
    { "comment", "a<!-- <b>x</b> -->b", "ab\n" },
    { "open comment", "a<!-- x", "a\n" },
    { "script and style", "a<script>x</x></SCRIPT><style>x</style>b", "ab\n" },
    { "open script", "a<script>x", "a\n" },
    { "open tag", "a<b", "a\n" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(shown("text/html", row.html), row.expected) << row.name;
}

TEST(PlainText, IsEscaped) {
  struct {
    char const* name;
    char const* body;
    char const* expected;
  } const rows[] = {
    { "text and tabs", "a\tb\n", "a\tb\n" },
    { "other alphabets", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\n", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\n" },
    { "escape sequence", "\x1b[2J\n", "\\x1b[2J\n" },
    { "C1 control", "\xc2\x9b\n", "\\u009b\n" },
    { "delete", "\x7f\n", "\\x7f\n" },
    { "line feed at the end", "a", "a\n" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(shown("text/plain", row.body), row.expected) << row.name;
}

TEST(Mbox, KnowsItsSeparators) {
  struct {
    char const* name;
    char const* line;
    int messages;
  } const rows[] = {
    { "as the C library prints dates", "From a@b Mon Jan  1 10:20:30 2024", 2 },
    { "with a zone", "From a@b Mon Jan  1 10:20 +0200 2024", 2 },
    { "sender unknown", "From - Mon Jan 01 10:20:30 2024", 2 },
    { "prose", "From here on", 1 },
    { "prose with a time", "From 10:20 on", 1 },
    { "prose with a year", "From 2024 on", 1 },
    { "quoted", ">From a@b Mon Jan  1 10:20:30 2024", 1 },
    { "another header", "From: a@b Mon Jan  1 10:20:30 2024", 1 },
  };
  for (auto const& row : rows) {
    std::string const mbox =
        std::string("From a@b Mon Jan  1 10:20:30 2024\nSubject: 1\n\nbody\n\n") + row.line + "\nSubject: 2\n\nbody\n";
    EXPECT_EQ(kelmime({ "get", "subject" }, mbox).out, row.messages == 2 ? "1\n2\n" : "1\n") << row.name;
  }
  // Without an empty line before it, a separator is text.
  EXPECT_EQ(kelmime({ "get", "subject" },
                    "From a@b Mon Jan  1 10:20:30 2024\nSubject: 1\n\nbody\n"
                    "From a@b Mon Jan  1 10:20:30 2024\nSubject: 2\n\nbody\n")
                .out,
            "1\n");
}

// Floods are read to their end.
TEST(Text, ReadsFloodsToTheirEnd) {
  auto const repeated = [](std::string const& text, int times) {
    std::string out;
    for (int i = 0; i < times; ++i)
      out += text;
    return out;
  };
  struct {
    char const* name;
    char const* verb;
    std::string message;
  } const rows[] = {
    { "open quotes", "show", "Content-Type: text/html\n\n" + repeated("<a '\"", 300000) },
    { "open comments", "show", "Content-Type: text/html\n\n" + repeated("<!-", 300000) + repeated("<!--", 300000) },
    { "closing tags in a script", "show", "Content-Type: text/html\n\n<script>" + repeated("</", 600000) },
    { "almost separators", "tree", "From a@b Mon Jan  1 10:20:30 2024\n\n" + repeated("\n\nFrom 10:20", 300000) },
    { "equal names", "extract", "Content-Type: multipart/mixed; boundary=b\n\n" +
      repeated("\n--b\nContent-Type: a/b; name=a.txt\nContent-Disposition: attachment\n\nx", 5000) + "\n--b--\n" },
    { "many parts", "json",
      "Content-Type: multipart/mixed; boundary=b\n\n" + repeated("\n--b\n\nx", 9000) + "\n--b--\n" },
  };
  for (auto const& row : rows) {
    scratch_t const scratch;
    std::vector<std::string> arguments = { row.verb };
    if (row.verb == std::string("extract"))
      arguments.insert(arguments.end(), { "-d", scratch.path() });
    EXPECT_EQ(kelmime(arguments, row.message).status, 0) << row.name;
  }
}

}  // namespace
