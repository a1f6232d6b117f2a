// Laws of the outputs: nothing a message holds harms a terminal, JSON is JSON, many threads write what one writes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "program.h"

namespace {

using nlohmann::json;

bool is_control(unsigned char c) {
  return (c < 0x20 && c != '\n' && c != '\t') || c == 0x7f;
}

// The first control byte or C1 control of a text, with what stands around it; empty when there is none.
std::string first_control(std::string const& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto const c = static_cast<unsigned char>(text[i]);
    bool const is_c1 = c == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0;
    if (is_control(c) || is_c1)
      return "..." + text.substr(i < 20 ? 0 : i - 20, 40);
  }
  return {};
}

// Every byte in every place where a message can hold one.
std::string message_of_all_bytes() {
  std::string bytes;
  for (int c = 1; c < 256; ++c)
    if (c != '\n')
      bytes += static_cast<char>(c);
  return "From: " + bytes + " <a@example.org>\nSubject: " + bytes + "\nX-" + bytes + "\nMIME-Version: 1.0\n" +
         "Content-Type: multipart/mixed; boundary=b\n\n" + bytes + "\n--b\nContent-Type: text/" + bytes +
         "; charset=\"" + bytes + "\"; name=\"" + bytes + "\"\nContent-Transfer-Encoding: " + bytes +
         "\nContent-Disposition: " + bytes + "\n\n" + bytes + "\n--b\n\n" + bytes + "\n--b--\n" + bytes;
}

TEST(Output, HoldsNoControlsOfAMessage) {
  std::string const messages[] = { content_of(data_path("hostile.eml")), message_of_all_bytes() };
  std::vector<std::vector<std::string>> const commands = {
    { "show" },
    { "tree" },
    { "headers" },
    { "headers", "--raw" },
    { "get", "from", "subject", "to.split.name", "x-bad" },
    { "lint" },
    { "json" },
    { "json", "--bodies=all" },
    { "index" },
  };
  for (auto const& message : messages) {
    for (auto const& command : commands) {
      auto const outcome = kelmime(command, message);
      EXPECT_NE(outcome.status, -1) << command.front();
      EXPECT_EQ(first_control(outcome.out), "") << command.front();
      EXPECT_EQ(first_control(outcome.err), "") << command.front();
    }
  }
}

TEST(Output, IsColouredWhenAskedOnly) {
  std::string const plain = data_path("plain.eml");
  EXPECT_EQ(first_control(kelmime({ "show", plain }).out), "");
  EXPECT_TRUE(kelmime({ "--color=always", "show", plain }).out.starts_with("\033[1mFrom: \033[0m"));
  EXPECT_EQ(kelmime({ "show", "--color", "never", plain }).out, kelmime({ "show", plain }).out);
}

TEST(Json, IsValidForAllBytes) {
  for (auto const& message : { content_of(data_path("hostile.eml")), message_of_all_bytes(), std::string() }) {
    auto const email =
        json::parse(kelmime({ "json", "--bodies=all" }, message).out, nullptr, /*allow_exceptions*/ false);
    ASSERT_TRUE(email.is_object());
    EXPECT_EQ(email["kelmime"]["schema"], 1);
  }
}

TEST(Json, ChoosesBodies) {
  struct {
    char const* name;
    char const* bodies;
    std::vector<std::string> expected;
  } const rows[] = {
    { "none", "none", {} },
    { "shown text", "text", { "1.1", "1.2.1" } },
    { "every text", "all", { "1.1", "1.2.1", "3.1.1", "3.1.2" } },
  };
  for (auto const& row : rows) {
    auto const email = json::parse(kelmime({ "json", "--bodies", row.bodies, data_path("newsletter.eml") }).out);
    std::vector<std::string> parts;
    for (auto const& [part, value] : email["bodyValues"].items())
      parts.push_back(part);
    EXPECT_EQ(parts, row.expected) << row.name;
  }
}

TEST(Json, ReadsDatesOfRealCalendarsOnly) {
  struct {
    char const* date;
    json expected;
  } const rows[] = {
    { "Mon, 1 Jan 2024 10:20:30 -0330", "2024-01-01T10:20:30-03:30" },
    { "1 Jan 2024 10:20 GMT", "2024-01-01T10:20:00+00:00" },
    { "31 Feb 2024 10:20:30 +0000", nullptr },
    { "1 Jan 2024 10:20:30 +9960", nullptr },
    { "yesterday", nullptr },
  };
  for (auto const& row : rows) {
    std::string const message = std::string("Date: ") + row.date + "\n\n";
    EXPECT_EQ(json::parse(kelmime({ "json" }, message).out)["sentAt"], row.expected) << row.date;
    EXPECT_EQ(json::parse(kelmime({ "index" }, message).out)["sentAt"], row.expected) << row.date;
  }
}

// RFC 8621 section 4.1.4, as lists of parts: text, HTML, attachments.
TEST(Json, SortsBodies) {
  auto const part = [](std::string const& headers) { return "\n--b\n" + headers + "\nx\n"; };
  std::string const plain = part("Content-Type: text/plain\n");
  std::string const html = part("Content-Type: text/html\n");
  std::string const image = part("Content-Type: image/png\n");
  std::string const named = part("Content-Type: text/plain; name=a.txt\n");
  std::string const file = part("Content-Type: text/plain\nContent-Disposition: attachment\n");
  struct {
    char const* name;
    char const* type;
    std::string parts;
    char const* expected;
  } const rows[] = {
    { "both alternatives", "alternative", plain + html, R"([["1"],["2"],[]])" },
    { "HTML alternative only", "alternative", html, R"([["1"],["1"],[]])" },
    { "image among alternatives", "alternative", plain + image, R"([["1"],["1"],["2"]])" },
    { "media in the flow", "mixed", plain + image + html, R"([["1","2","3"],["1","2","3"],[]])" },
    { "named text behind the first", "mixed", named + named, R"([["1"],["1"],["2"]])" },
    { "attached text", "mixed", file + plain, R"([["2"],["2"],["1"]])" },
    { "only the root of a related group", "related", html + image, R"([["1"],["1"],["2"]])" },
    { "nothing inside", "mixed", "", R"([[],[],[]])" },
  };
  for (auto const& row : rows) {
    std::string const message = std::string("MIME-Version: 1.0\nContent-Type: multipart/") + row.type +
                                "; boundary=b\n\n" + row.parts + "\n--b--\n";
    auto const email = json::parse(kelmime({ "json" }, message).out);
    json lists;
    for (char const* const list : { "textBody", "htmlBody", "attachments" }) {
      json numbers = json::array();
      for (auto const& listed : email[list])
        numbers.push_back(listed["partId"]);
      lists.push_back(numbers);
    }
    EXPECT_EQ(lists.dump(), row.expected) << row.name;
  }
}

TEST(Json, WritesALineForEachOfMany) {
  auto const outcome = kelmime({ "json", data_path("archive.mbox") });
  EXPECT_EQ(std::ranges::count(outcome.out, '\n'), 2);
  EXPECT_EQ(json::parse(outcome.out.substr(0, outcome.out.find('\n')))["subject"], "one");
}

TEST(Json, StandsDeepTrees) {
  std::string message;
  for (int level = 0; level < 300; ++level)
    message += "Content-Type: message/rfc822\n\n";
  message += "Subject: deep\n\nx\n";
  for (char const* const verb : { "json", "tree", "show", "lint", "extract" }) {
    scratch_t const scratch;
    auto const outcome = verb == std::string("extract") ? kelmime({ verb, "-d", scratch.path("to") }, message)
                                                        : kelmime({ verb }, message);
    EXPECT_TRUE(outcome.status == 0 || outcome.status == 1) << verb;
  }
}

TEST(Index, ThreadsKeepTheOrder) {
  scratch_t const scratch;
  std::string mbox;
  for (int i = 0; i < 20000; ++i)  // large enough to be given out in pieces
    mbox += "From a@example.org Mon Jan  1 10:20:30 2024\nSubject: " + std::to_string(i) + "\n\n" +
            std::string(250, 'x') + "\n\n";
  std::string const archive = scratch.file("archive.mbox", mbox);
  for (int i = 100; i < 200; ++i)
    scratch.file("maildir/new/" + std::to_string(i), "Subject: " + std::to_string(i) + "\n\n");

  auto const single = kelmime({ "index", "-j", "1", scratch.path("maildir"), archive });
  auto const many = kelmime({ "index", "-j", "8", scratch.path("maildir"), archive });
  EXPECT_EQ(single.status, 0);
  EXPECT_EQ(single.out, many.out);
  EXPECT_EQ(std::ranges::count(single.out, '\n'), 20100);
  EXPECT_EQ(json::parse(single.out.substr(0, single.out.find('\n')))["subject"], "100");
  EXPECT_TRUE(single.out.find("archive.mbox:20000\",\"size\":267") != std::string::npos);
}

}  // namespace
