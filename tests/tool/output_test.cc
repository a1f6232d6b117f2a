// Laws of the outputs: nothing a message holds harms a terminal, JSON is JSON, many threads write what one writes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <helpers/repeated.h>

#include "program.h"

namespace {

using nlohmann::json;

// The first control byte or C1 control of a text, with what stands around it; empty when there is none.
std::string first_control(std::string const& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto const byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    bool const is_c0 = (byte(i) < 0x20 && text[i] != '\n' && text[i] != '\t') || byte(i) == 0x7f;
    if (is_c0 || (byte(i) == 0xc2 && i + 1 < text.size() && byte(i + 1) < 0xa0))
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
  std::vector<std::vector<std::string>> const commands = { { "show" }, { "tree" }, { "headers" }, { "headers", "--raw" }, { "lint" }, { "json" },
      { "json", "--bodies=all" }, { "get", "from", "subject", "to.split.name", "x-bad" }, { "index" } };
  for (std::string const& message : { content_of(data_path("hostile.eml")), message_of_all_bytes(), std::string() }) {
    for (auto const& command : commands) {
      auto const outcome = kelmime(command, message);
      EXPECT_NE(outcome.status, -1) << command.front();
      EXPECT_EQ(first_control(outcome.out), "") << command.front();
      EXPECT_EQ(first_control(outcome.err), "") << command.front();
      EXPECT_TRUE(command.front() != "json" || json::accept(outcome.out)) << outcome.out;
    }
  }
}

TEST(Output, IsColouredWhenAskedOnly) {
  std::string const plain = data_path("plain.eml");
  EXPECT_EQ(first_control(kelmime({ "show", plain }).out), "");
  EXPECT_TRUE(kelmime({ "--color=always", "show", plain }).out.starts_with("\033[1mFrom: \033[0m"));
  EXPECT_EQ(kelmime({ "show", "--color", "never", plain }).out, kelmime({ "show", plain }).out);
}

TEST(Output, StandsDeepTrees) {
  scratch_t const scratch;
  std::string const message = kel::repeated("Content-Type: message/rfc822\n\n", 300) + "Subject: deep\n\nx\n";
  for (std::vector<std::string> const& verb : std::vector<std::vector<std::string>>{ { "json" }, { "tree" }, { "show" }, { "lint" }, { "extract", "-d", scratch.path() } }) {
    int const status = kelmime(verb, message).status;
    EXPECT_TRUE(status == 0 || status == 1) << verb[0];
  }
}

TEST(Index, ThreadsKeepTheOrder) {
  scratch_t const scratch;
  std::string mbox;
  for (int i = 0; i < 20000; ++i)  // large enough to be given out in pieces
    mbox += "From a@example.org Mon Jan  1 10:20:30 2024\nSubject: " + std::to_string(i) + "\n\n" + std::string(250, 'x') + "\n\n";
  std::string const archive = scratch.file("archive.mbox", mbox);
  for (int i = 100; i < 200; ++i)
    scratch.file("maildir/new/" + std::to_string(i), "Subject: " + std::to_string(i) + "\n\n");

  auto const [status, out, err] = kelmime({ "index", "-j", "1", scratch.path("maildir"), archive });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(out, kelmime({ "index", "-j", "8", scratch.path("maildir"), archive }).out);
  EXPECT_EQ(std::ranges::count(out, '\n'), 20100);
  EXPECT_EQ(json::parse(out.substr(0, out.find('\n')))["subject"], "100");
  EXPECT_NE(out.find("archive.mbox:20000\",\"size\":267"), std::string::npos);
}

}  // namespace
