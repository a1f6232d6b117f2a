// What the JSON of a message says.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <helpers/repeated.h>

#include "program.h"

namespace {

using kel::test::leaf;
using kel::test::multipart;
using nlohmann::json;

json email_of(std::string const& message, std::vector<std::string> const& arguments = {}) {
  return json::parse(kelmime(joined({ "json" }, arguments), message).out);
}

TEST(Json, ReadsAddresses) {
  struct { char const* name; char const* value; char const* expected; } const rows[] = {
    { "name and address", "Ann <a@x>", R"([{"email":"a@x","name":"Ann"}])" },
    { "comma inside quotes", "\"Doe, John\" <j@x>, b@y", R"([{"email":"j@x","name":"Doe, John"},{"email":"b@y","name":null}])" },
    { "names keep to their own elements", "a@x, Bob <b@y>", R"([{"email":"a@x","name":null},{"email":"b@y","name":"Bob"}])" },
    { "encoded name", "=?utf-8?q?J=C3=BCrgen?= <j@x>", R"([{"email":"j@x","name":"J\u00fcrgen"}])" },
    { "empty group", "Undisclosed recipients:;", R"([{"email":"","name":"Undisclosed recipients"}])" },
    { "no address", "nobody", R"([])" },
  };
  for (auto const& row : rows) {
    for (auto const& [header, key] : { std::pair("From", "from"), std::pair("Reply-To", "replyTo"), std::pair("Bcc", "bcc") }) {
      auto const email = email_of(std::string(header) + ": " + row.value + "\n\n");
      EXPECT_EQ(email[key], json::parse(row.expected)) << row.name << " in " << header;
      EXPECT_EQ(email["to"], nullptr) << row.name;
    }
  }
}

TEST(Json, SaysOfMessages) {
  std::string const image = "Content-Type: image/png\nContent-Disposition: ", text = "Content-Type: text/plain; charset=", problem = "/bodyValues/1/isEncodingProblem";
  struct { char const* name; std::string message, pointer; json expected; } const rows[] = {
    { "one identifier", "Message-ID: <1@x>\n\n", "/messageId", { "1@x" } },
    { "identifiers", "References: <a@x>\n <b@x>\t<c@x>\n\n", "/references", { "a@x", "b@x", "c@x" } },
    { "no identifier", "\n", "/inReplyTo", nullptr },
    { "headers in their order", "B: 1\nA: =?utf-8?q?=C3=A9?=\nB: 2\n\n", "/headers",
      json::parse(R"([{"name":"b","value":"1"},{"name":"a","value":"\u00e9"},{"name":"b","value":"2"}])") },
    { "no type", "\n", "/bodyStructure/type", "text/plain" }, { "no encoding", "\n", "/bodyStructure/encoding", "7bit" },
    { "no charset", "\n", "/bodyStructure/charset", "" }, { "no body", "\n", "/bodyStructure/size", 0 },
    { "type as it is compared", "Content-Type: TEXT/Plain\n\n", "/bodyStructure/type", "text/plain" },
    { "charset as it stands", text + "UTF-8\n\n", "/bodyStructure/charset", "UTF-8" },
    { "encoding as it is compared", "Content-Transfer-Encoding: BASE64\n\nYWJj\n", "/bodyStructure/encoding", "base64" },
    { "disposition as it is compared", "Content-Disposition: Attachment\n\n", "/bodyStructure/disposition", "attachment" },
    { "sum of the decoded bytes", "Content-Transfer-Encoding: BASE64\n\nYWJj\n", "/bodyStructure/sha256", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad" },
    { "attached image", image + "attachment\n\nx", "/hasAttachment", true },
    { "shown image", image + "inline\n\nx", "/hasAttachment", false }, { "text alone", "\nx", "/hasAttachment", false },
    { "good UTF-8", text + "utf-8\n\n\xc3\xa9\n", problem, false }, { "torn UTF-8", text + "utf-8\n\n\xc3 \n", problem, true },
    { "unknown charset", text + "klingon\n\n\xc3\n", problem, true },
    { "unknown encoding", text + "utf-8\nContent-Transfer-Encoding: rot13\n\nx\n", problem, true },
    { "problem of a header only", "Subject: \xff\xfe\n" + text + "utf-8\n\nx\n", problem, false },
    { "white space collapsed", "\n  a \n\n\t b\n", "/preview", "a b" },
    { "HTML without its tags", "Content-Type: text/html\n\n<p>a<br>b &amp; c</p>", "/preview", "a b & c" },
    { "256 characters, not bytes", text + "iso-8859-1\n\n" + std::string(300, '\xe9'), "/preview", kel::repeated("\u00E9", 256) },
    { "nothing to show", "Content-Type: image/png\n\nx", "/preview", "" },
  };
  for (auto const& row : rows)
    EXPECT_EQ(email_of(row.message)[json::json_pointer(row.pointer)], row.expected) << row.name;
}

TEST(Json, ChoosesBodies) {
  struct { char const* bodies; std::vector<std::string> expected; } const rows[] = {
    { "none", {} }, { "text", { "1.1", "1.2.1" } }, { "all", { "1.1", "1.2.1", "3.1.1", "3.1.2" } },
  };
  for (auto const& row : rows) {
    auto const email = email_of(content_of(data_path("newsletter.eml")), { "--bodies", row.bodies });
    std::vector<std::string> parts;
    for (auto const& [part, value] : email["bodyValues"].items())
      parts.push_back(part);
    EXPECT_EQ(parts, row.expected) << row.bodies;
  }
}

TEST(Json, ReadsDatesOfRealCalendarsOnly) {
  struct { std::string date; json expected; } const rows[] = {
    { "Mon, 1 Jan 2024 10:20:30 -0330", "2024-01-01T10:20:30-03:30" }, { "1 Jan 2024 10:20 GMT", "2024-01-01T10:20:00+00:00" },
    { "31 Feb 2024 10:20:30 +0000", nullptr }, { "1 Jan 2024 10:20:30 +9960", nullptr }, { "yesterday", nullptr },
  };
  for (auto const& row : rows) {
    for (char const* const verb : { "json", "index" })
      EXPECT_EQ(json::parse(kelmime({ verb }, "Date: " + row.date + "\n\n").out)["sentAt"], row.expected) << row.date;
  }
}

// RFC 8621 section 4.1.4, as lists of parts: text, HTML, attachments.
TEST(Json, SortsBodies) {
  std::string const plain = leaf("text/plain", "x"), html = leaf("text/html", "x"), image = leaf("image/png", "x");
  std::string const named = leaf("text/plain; name=a.txt", "x"), file = leaf("text/plain", "x", "Content-Disposition: attachment\n");
  struct { char const* name; char const* subtype; std::vector<std::string> parts; char const* expected; } const rows[] = {
    { "both alternatives", "alternative", { plain, html }, R"([["1"],["2"],[]])" },
    { "HTML alternative only", "alternative", { html }, R"([["1"],["1"],[]])" },
    { "image among alternatives", "alternative", { plain, image }, R"([["1"],["1"],["2"]])" },
    { "media in the flow", "mixed", { plain, image, html }, R"([["1","2","3"],["1","2","3"],[]])" },
    { "named text behind the first", "mixed", { named, named }, R"([["1"],["1"],["2"]])" },
    { "attached text", "mixed", { file, plain }, R"([["2"],["2"],["1"]])" },
    { "only the root of a related group", "related", { html, image }, R"([["1"],["1"],["2"]])" },
    { "nothing inside", "mixed", {}, R"([[],[],[]])" },
  };
  for (auto const& row : rows) {
    auto const email = email_of("MIME-Version: 1.0\n" + multipart(row.subtype, row.parts));
    json lists = { json::array(), json::array(), json::array() };
    for (auto const& [i, key] : { std::pair(0, "textBody"), std::pair(1, "htmlBody"), std::pair(2, "attachments") }) {
      for (auto const& listed : email[key])
        lists[i].push_back(listed["partId"]);
    }
    EXPECT_EQ(lists.dump(), row.expected) << row.name;
  }
}

TEST(Json, WritesALineForEachOfMany) {
  std::string const out = kelmime({ "json", data_path("archive.mbox") }).out;
  EXPECT_EQ(std::ranges::count(out, '\n'), 2);
  EXPECT_EQ(json::parse(out.substr(0, out.find('\n')))["subject"], "one");
}

}  // namespace
