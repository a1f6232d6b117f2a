// What the JSON of a message says.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "program.h"

namespace {

using nlohmann::json;

json email_of(std::string const& message, std::vector<std::string> arguments = {}) {
  arguments.insert(arguments.begin(), "json");
  return json::parse(kelmime(arguments, message).out);
}

TEST(Json, ReadsAddresses) {
  struct {
    char const* name;
    char const* value;
    char const* expected;
  } const rows[] = {
    { "name and address", "Ann <a@x>", R"([{"email":"a@x","name":"Ann"}])" },
    { "bare address", "a@x", R"([{"email":"a@x","name":null}])" },
    { "comma inside quotes", "\"Doe, John\" <j@x>, b@y",
      R"([{"email":"j@x","name":"Doe, John"},{"email":"b@y","name":null}])" },
    { "names keep to their own elements", "a@x, Bob <b@y>",
      R"([{"email":"a@x","name":null},{"email":"b@y","name":"Bob"}])" },
    { "encoded name", "=?utf-8?q?J=C3=BCrgen?= <j@x>", R"([{"email":"j@x","name":"J\u00fcrgen"}])" },
    { "empty group", "Undisclosed recipients:;", R"([{"email":"","name":"Undisclosed recipients"}])" },
    { "no address", "nobody", R"([])" },
  };
  for (auto const& row : rows) {
    for (auto const& [header, key] :
         { std::pair("From", "from"), std::pair("Reply-To", "replyTo"), std::pair("Bcc", "bcc") }) {
      auto const email = email_of(std::string(header) + ": " + row.value + "\n\n");
      EXPECT_EQ(email[key], json::parse(row.expected)) << row.name << " in " << header;
      EXPECT_EQ(email["to"], nullptr) << row.name;
    }
  }
}

TEST(Json, ReadsMessageIds) {
  auto const email = email_of("Message-ID: <1@x>\nReferences: <a@x>\n <b@x>\t<c@x>\n\n");
  EXPECT_EQ(email["messageId"], json({ "1@x" }));
  EXPECT_EQ(email["references"], json({ "a@x", "b@x", "c@x" }));
  EXPECT_EQ(email["inReplyTo"], nullptr);
}

TEST(Json, KeepsHeadersInMessageOrder) {
  auto const email = email_of("B: 1\nDate: Mon, 1 Jan 2024 10:20:30 +0000\nA: =?utf-8?q?=C3=A9?=\nB: 2\n\n");
  std::string headers;
  for (auto const& header : email["headers"])
    headers += header["name"].get<std::string>() + "=" + header["value"].get<std::string>() + ";";
  EXPECT_EQ(headers, "b=1;date=Mon, 1 Jan 2024 10:20:30 +0000;a=\xc3\xa9;b=2;");
  EXPECT_EQ(email["kelmime"]["virtual"]["#date-sent"], "2024-01-01 10:20:30");
}

TEST(Json, DescribesALeaf) {
  auto const part = email_of(
      "MIME-Version: 1.0\nContent-Type: TEXT/Plain; charset=UTF-8; name=a.txt\nContent-Transfer-Encoding: BASE64\n"
      "Content-Disposition: Attachment\nContent-ID: <x@y>\n\nYWJj\n")["bodyStructure"];
  json expected = { { "partId", "1" },
                    { "type", "text/plain" },
                    { "charset", "UTF-8" },
                    { "encoding", "base64" },
                    { "disposition", "attachment" },
                    { "name", "a.txt" },
                    { "cid", "x@y" },
                    { "size", 3 },
                    { "sha256", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad" } };
  expected["headers"] = part["headers"];
  EXPECT_EQ(part, expected);
  EXPECT_EQ(part["headers"].size(), 5u);

  auto const bare = email_of("\n")["bodyStructure"];
  EXPECT_EQ(bare["type"], "text/plain");
  EXPECT_EQ(bare["encoding"], "7bit");
  EXPECT_EQ(bare["charset"], "");
  EXPECT_EQ(bare["size"], 0);
}

TEST(Json, NumbersParts) {
  std::string numbers;
  auto const collect = [&](auto const& self, json const& part) -> void {
    numbers += part["partId"].is_null() ? "root " : part["partId"].get<std::string>() + " ";
    if (part.contains("subParts"))
      for (auto const& child : part["subParts"])
        self(self, child);
  };
  collect(collect, email_of(content_of(data_path("newsletter.eml")))["bodyStructure"]);
  EXPECT_EQ(numbers, "root 1 1.1 1.2 1.2.1 1.2.2 2 3 3.1 3.1.1 3.1.2 ");
}

TEST(Json, SaysWhichBodyIsInDoubt) {
  struct {
    char const* name;
    char const* message;
    bool expected;
  } const rows[] = {
    { "good UTF-8", "Content-Type: text/plain; charset=utf-8\n\n\xc3\xa9\n", false },
    { "torn UTF-8", "Content-Type: text/plain; charset=utf-8\n\n\xc3 \n", true },
    { "unknown charset", "Content-Type: text/plain; charset=klingon\n\n\xc3\n", true },
    { "unknown encoding", "Content-Type: text/plain\nContent-Transfer-Encoding: rot13\n\nx\n", true },
    { "problem of a header only", "Subject: \xff\xfe\nContent-Type: text/plain\n\nx\n", false },
  };
  for (auto const& row : rows)
    EXPECT_EQ(email_of(row.message)["bodyValues"]["1"]["isEncodingProblem"], row.expected) << row.name;
}

TEST(Json, NamesThePartOfADeviation) {
  auto const errors = email_of(content_of(data_path("broken.eml")))["kelmime"]["errors"];
  auto const with = [&](char const* part, std::string const& beginning) {
    return std::ranges::any_of(errors, [&](json const& error) {
      return error["part"] == part && error["description"].get<std::string>().starts_with(beginning);
    });
  };
  EXPECT_TRUE(with("", "Warning: Skipping malformed header line"));
  EXPECT_TRUE(with("1", "Invalid multibyte sequence"));
  EXPECT_TRUE(with("2", "Encoding 'rot13' is unknown."));
  // A header that may stand once is asked for once.
  EXPECT_EQ(std::ranges::count_if(errors, [](json const& error) { return error.value("header", "") == "subject"; }), 1);
}

TEST(Json, PreviewsTheText) {
  struct {
    char const* name;
    std::string message;
    std::string expected;
  } const rows[] = {
    { "white space collapsed", "\n  a \n\n\t b\n", "a b" },
    { "HTML without its tags", "Content-Type: text/html\n\n<p>a<br>b &amp; c</p>", "a b & c" },
    { "256 characters, not bytes", "Content-Type: text/plain; charset=iso-8859-1\n\n" + std::string(300, '\xe9'), [] {
      std::string text; for (int i = 0; i < 256; ++i) text += "\xc3\xa9"; return text; }() },
    { "nothing to show", "Content-Type: image/png\n\nx", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(email_of(row.message)["preview"], row.expected) << row.name;
}

TEST(Json, OffersAttachments) {
  std::string const image = "Content-Type: image/png\nContent-Disposition: ";
  EXPECT_EQ(email_of(image + "attachment\n\nx")["hasAttachment"], true);
  EXPECT_EQ(email_of(image + "inline\n\nx")["hasAttachment"], false);
  EXPECT_EQ(email_of("\nx")["hasAttachment"], false);
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

}  // namespace
