// Files, standard input, folders and mbox files; paths of `get`; exit statuses.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "program.h"

namespace {

using kel::test::with_cr_lf;
using arguments_t = std::vector<std::string>;

std::string message(std::string const& subject) {
  return "From: a@example.org\nSubject: " + subject + "\n\nbody\n";
}

// The subjects of everything that the arguments name, and the exit status.
std::string subjects(arguments_t const& inputs, std::string_view standard_input = {}) {
  auto const outcome = kelmime(joined({ "get", "subject", "--" }, inputs), standard_input);
  return outcome.out + std::to_string(outcome.status);
}

TEST(Input, IsAnyKindOfMailStore) {
  scratch_t const scratch;
  scratch.file("maildir/cur/2.second:2,S", message("second"));
  scratch.file("maildir/cur/.hidden", message("hidden"));
  scratch.file("maildir/new/1.first", message("first"));
  scratch.file("maildir/tmp/0.unfinished", message("unfinished"));
  scratch.file("folder/file", message("no maildir"));
  scratch.file("empty", "");
  std::string const one = scratch.file("one.eml", message("one")), two = scratch.file("two.eml", message("two"));

  struct { char const* name; arguments_t inputs; std::string standard_input, expected; } const rows[] = {
    { "file", { one }, "", "one\n0" }, { "standard input by default", {}, message("in"), "in\n0" },
    { "standard input by name", { "-", one }, message("in"), "in\none\n0" }, { "CR LF", {}, with_cr_lf(message("in")), "in\n0" },
    { "several files, in their order", { two, one }, "", "two\none\n0" },
    { "maildir, by name", { scratch.path("maildir") }, "", "first\nsecond\n0" },
    { "mbox", { data_path("archive.mbox") }, "", "one\ntwo\n0" },
    { "mbox with CR LF", {}, with_cr_lf(content_of(data_path("archive.mbox"))), "one\ntwo\n0" },
    { "one message below a separator", {}, "From a@b Mon Jan  1 10:20:30 2024\n" + message("in"), "in\n0" },
    { "no separator", {}, "From nobody we know\n" + message("in"), "in\n0" }, { "no file", { scratch.path("none"), one }, "", "one\n3" },
    { "no maildir", { scratch.path("folder"), one }, "", "one\n3" }, { "no value", { scratch.path("empty") }, "", "1" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(subjects(row.inputs, row.standard_input), row.expected) << row.name;
}

TEST(Input, SaysWhatCannotBeRead) {
  auto const outcome = kelmime({ "show", "/nonexistent/message", data_path("plain.eml") });
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.err, "/nonexistent/message: No such file or directory\n");
  EXPECT_TRUE(outcome.out.starts_with("==> " + data_path("plain.eml") + " <==\nFrom: "));
}

TEST(Input, IsWholeUnquotedAndKeepsItsCarriageReturns) {
  std::string const binary = "Content-Type: application/octet-stream\nContent-Transfer-Encoding: binary\n\na\r\nb\r\n";
  EXPECT_EQ(kelmime({ "extract", "--part", "1", "--stdout" }, binary).out, "a\r\nb\r\n");
  EXPECT_EQ(kelmime({ "extract", "--part", "1", "--stdout", data_path("archive.mbox") }).out,
            "From here on it is one paragraph, not a message.\nFrom the writer's quoting.\n>From twice.\nsecond\n");
}

TEST(Get, PartsPathsFromInputs) {
  std::string const plain = data_path("plain.eml");
  struct { char const* name; arguments_t arguments; char const* expected; int status; } const rows[] = {
    { "one value", { "from.address", plain }, "ann@example.org\n", 0 },
    { "many values", { "to.split.address", plain }, "bob@example.net\ncarol@example.net\n", 0 },
    { "several paths", { "subject", "from.address", plain }, "Caf\xc3\xa9 at noon\nann@example.org\n", 0 },
    { "several inputs", { "from.address", plain, data_path("html.eml") }, "ann@example.org\nshop@example.org\n", 0 },
    { "short form", { "content-type.parameter.charset", "--", plain }, "iso-8859-1\n", 0 },
    { "one of two is missing", { "subject", "bcc", "--", plain }, "Caf\xc3\xa9 at noon\n", 1 },
    { "default", { "bcc", "--default", "nobody", plain }, "nobody\n", 0 },
    { "missing file with a mail extension", { "subject", "missing.eml" }, "", 3 }, { "no path", {}, "", 2 },
  };
  for (auto const& row : rows) {
    auto const outcome = kelmime(joined({ "get" }, row.arguments));
    EXPECT_EQ(outcome.out, row.expected) << row.name;
    EXPECT_EQ(outcome.status, row.status) << row.name;
  }
  EXPECT_NE(kelmime({ "get", "--paths" }).out.find("\nfrom.address\n"), std::string::npos);
}

TEST(CommandLine, ExplainsItself) {
  for (arguments_t const& arguments : { arguments_t{}, { "frobnicate" }, { "tree", "--frobnicate" }, { "json", "--bodies=some" } })
    EXPECT_EQ(kelmime(arguments).status, 2);
  for (char const* const verb : { "show", "tree", "headers", "get", "json", "lint", "extract", "index" }) {
    auto const outcome = kelmime({ verb, "--help" });
    EXPECT_EQ(outcome.status, 0) << verb;
    EXPECT_NE(outcome.out.find(std::string("Example:\n  kelmime ") + verb), std::string::npos) << verb;
  }
}

TEST(Lint, CountsHarmlessDeviationsAsNone) {
  std::string const harmless = "From: a@example.org\nDate: 1 Jan 24 10:20 +0000\n\nbody\n";
  auto const outcome = kelmime({ "errors" }, harmless);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.out.starts_with("message: Date: [low] Two-digit years"));
  EXPECT_EQ(kelmime({ "lint" }, "no header\n" + harmless).status, 1);
}

TEST(Output, EndsQuietlyWhenNobodyReads) {
  scratch_t const scratch;
  for (auto const& [reader, expected] : { std::pair(" | true", "0\n"), std::pair(" >/dev/full", "standard output: No space left on device\n3\n") }) {
    std::string const command = "sh -c '\"$1\" show \"$2\" \"$2\"; echo $? >&2' sh \"" KELMIME_PROGRAM "\" \"" + data_path("plain.eml") + "\"";
    ASSERT_EQ(std::system((command + " 2>\"" + scratch.path("err") + "\"" + reader).c_str()), 0);
    EXPECT_EQ(content_of(scratch.path("err")), expected);
  }
}

}  // namespace
