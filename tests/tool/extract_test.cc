// Attachments as files: strangers choose the names and the number of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <helpers/repeated.h>

#include "program.h"

namespace {

namespace fs = std::filesystem;
using kel::repeated;
using names_t = std::vector<std::string>;

std::string message_with_attachment(std::string const& disposition) {
  std::string const header = "Content-Disposition: attachment; " + disposition + "\n";
  return kel::test::multipart("mixed", { "\ntext\n", kel::test::leaf("application/octet-stream", "content", header) });
}

TEST(Extract, MakesNamesHarmless) {
  struct { char const* name; std::string disposition, expected; } const rows[] = {
    { "plain name", "filename=report.pdf", "report.pdf" }, { "path upwards", "filename=\"../../etc/passwd.txt\"", "passwd.txt" },
    { "absolute path", "filename=\"/etc/passwd.txt\"", "passwd.txt" }, { "hidden file", "filename=\".bashrc.sh\"", "_bashrc.sh" },
    { "option of another program", "filename=\"-rf.sh\"", "_rf.sh" }, { "escape sequence", "filename=\"a\x1b[2J.txt\"", "a_[2J.txt" },
    { "encoded zero byte and slash", "filename*=utf-8''a%00b%0Ac.txt", "a_b_c.txt" },
    { "text turned round", "filename*=utf-8''a%E2%80%AEtxt.exe", "a_txt.exe" }, { "only dots", "filename=\"..\"", "Attachment" },
    { "too long, extension kept", "filename=\"" + std::string(400, 'n') + ".pdf\"", std::string(251, 'n') + ".pdf" },
    { "too long, cut between characters", "filename*=utf-8''" + repeated("%C3%A9", 200) + ".txt", repeated("\u00E9", 125) + ".txt" },
    { "no name at all", "size=7", "Attachment" },
  };
  for (auto const& row : rows) {
    scratch_t const scratch;
    auto const outcome = kelmime({ "extract", "-d", scratch.path("to") }, message_with_attachment(row.disposition));
    EXPECT_EQ(outcome.status, 0) << row.name;
    EXPECT_EQ(scratch.names(), names_t{ "to" }) << row.name;
    EXPECT_EQ(scratch.names("to"), names_t{ row.expected }) << row.name;
    EXPECT_EQ(content_of(scratch.path("to/" + row.expected)), "content") << row.name;
  }
}

TEST(Extract, NeverWritesOverAFile) {
  scratch_t const scratch;
  scratch.file("report.pdf", "mine");
  scratch.file("outside", "mine too");
  fs::create_symlink(scratch.path("outside"), scratch.path("report-2.pdf"));
  fs::create_symlink(scratch.path("nowhere"), scratch.path("report-3.pdf"));

  auto const outcome = kelmime({ "extract", "-d", scratch.path(), data_path("hostile.eml") });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_FALSE(fs::exists(scratch.path("nowhere")));
  for (auto const& [name, content] : { std::pair("report.pdf", "mine"), std::pair("outside", "mine too"),
                                       std::pair("report-4.pdf", "first"), std::pair("report-5.pdf", "second") })
    EXPECT_EQ(content_of(scratch.path(name)), content) << name;
}

TEST(Extract, SavesFilesAndNoText) {
  scratch_t const scratch;
  auto const outcome = kelmime({ "extract", "-d", scratch.path(), data_path("newsletter.eml") });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(scratch.names(), (names_t{ "Attachment.eml", "logo.png", "report.pdf" }));
  EXPECT_EQ(outcome.out, scratch.path("logo.png\n") + scratch.path("report.pdf\n") + scratch.path("Attachment.eml\n"));
  EXPECT_EQ(content_of(scratch.path("report.pdf")), "%PDF-1.4 no pages");
  EXPECT_TRUE(content_of(scratch.path("Attachment.eml")).starts_with("From: inner@example.org\n"));
}

TEST(Extract, WritesAnyPart) {
  struct { char const* name; char const* message; char const* part; char const* expected; } const rows[] = {
    { "text as UTF-8", "plain.eml", "1", "See you at the caf\xc3\xa9,\n   at noon.\n" },
    { "attachment", "newsletter.eml", "2", "%PDF-1.4 no pages" },
    { "part of an enclosed message", "newsletter.eml", "3.1.2", "Inner notes." },
  };
  for (auto const& row : rows) {
    auto const outcome = kelmime({ "extract", "--stdout", "--part", row.part, data_path(row.message) });
    EXPECT_EQ(outcome.out, row.expected) << row.name;
    EXPECT_EQ(outcome.status, 0) << row.name;
  }
  auto const missing = kelmime({ "extract", "--part", "9.9", "--stdout", data_path("plain.eml") });
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.out, "");
  EXPECT_NE(missing.err.find("there is no part 9.9"), std::string::npos);
}

TEST(Extract, SaysWhereItCannotWrite) {
  scratch_t const scratch;
  std::string const file = scratch.file("file", "not a folder");
  auto const outcome = kelmime({ "extract", "-d", file, data_path("newsletter.eml") });
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.out, "");
  EXPECT_NE(outcome.err.find("Not a directory"), std::string::npos);
}

}  // namespace
