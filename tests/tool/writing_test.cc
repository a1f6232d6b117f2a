// The verbs that write messages. What they write is read again, since dates, identifiers and boundaries differ each time.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <helpers/describe.h>
#include <helpers/repeated.h>

#include "program.h"

namespace {

using kel::test::describe;
using kel::test::message_of;
using words_t = std::vector<std::string>;

// Runs a verb that must succeed without a word.
std::string written(words_t const& arguments, std::string_view input = {}) {
  auto const outcome = kelmime(arguments, input);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  return outcome.out;
}

std::string const png = "\x89PNG\r\n\x1a\n", long_line(900, 'x');

// The files that drafts are made of.
class drafts_t {
public:
  drafts_t() {
    for (auto const& [name, content] : std::vector<std::pair<std::string, std::string>>{
           { "plain.txt", "Hello,\n\nfrom Ann\n" }, { "crlf.txt", "a\r\nb\rc\r\n" }, { "utf8.txt", "Gr\u00FC\u00DFe\n" }, { "latin1.txt", "Gr\xFC\xDF" "e\n" },
           { "page.html", "<p>\u00C4 <img src=\"cid:logo.png\"></p>\n" }, { "logo.png", png }, { "other/logo.png", png }, { "empty", "" },
           { "data", std::string("\0\xFF\n", 3) }, { "letter.eml", "Subject: inside\r\n\r\nHi\r\n" } })
      _folder.file(name, content);
  }

  // Arguments beginning with "@" are names of files.
  outcome_t compose(words_t arguments) const {
    for (std::string& argument : arguments)
      if (argument.starts_with('@'))
        argument = _folder.path(argument.substr(1));
    return kelmime(joined({ "compose" }, arguments));
  }

private:
  scratch_t _folder;
};

TEST(Compose, MakesWhatIsNeeded) {
  drafts_t const drafts;
  struct { char const* name; words_t arguments; std::string tree, text; } const rows[] = {  // text: of the first leaf
    { "nothing", {}, "text/plain(0)", "" }, { "text", { "--text", "@plain.txt" }, "text/plain(17)", "Hello,\n\nfrom Ann\n" },
    { "CR LF", { "--text", "@crlf.txt" }, "text/plain(5)", "a\nbc\n" },
    { "UTF-8", { "--text", "@utf8.txt" }, "text/plain(8)", "Gr\u00FC\u00DFe\n" },
    { "HTML", { "--html", "@page.html" }, "text/html(35)", "<p>\u00C4 <img src=\"cid:logo.png\"></p>\n" },
    { "both", { "--html", "@page.html", "--text", "@plain.txt" }, "multipart/alternative[text/plain(17) text/html(35)]", "Hello,\n\nfrom Ann\n" },
    { "image", { "--html", "@page.html", "--related", "@logo.png" }, "multipart/related[text/html(35) image/png(8)]", "<p>\u00C4 <img src=\"cid:logo.png\"></p>\n" },
    { "attachment alone", { "--attach", "@data" }, "multipart/mixed[text/plain(0) application/octet-stream(3)]", "" },
    { "message", { "--text", "@plain.txt", "--attach", "@letter.eml" }, "multipart/mixed[text/plain(17) message/rfc822[text/plain(3)]]", "Hello,\n\nfrom Ann\n" },
    { "all", { "--text", "@plain.txt", "--html", "@page.html", "--related", "@logo.png", "--attach", "@data", "--attach", "@empty" },
      "multipart/mixed[multipart/alternative[text/plain(17) multipart/related[text/html(35) image/png(8)]] application/octet-stream(3) application/octet-stream(0)]", "Hello,\n\nfrom Ann\n" },
  };
  for (auto const& row : rows) {
    auto const [status, out, err] = drafts.compose(row.arguments);
    EXPECT_EQ(status, 0) << row.name;
    EXPECT_EQ(err, "") << row.name;
    auto const message = message_of(out);
    EXPECT_EQ(describe(*message), row.tree) << row.name;
    kel::body_part_t* leaf = message.get();
    while (leaf->num_subparts() > 0)
      leaf = &leaf->subpart(0);
    EXPECT_EQ(leaf->decoded_body(), row.text) << row.name;
    EXPECT_EQ(kel::test::all_records(*message), "") << row.name;
    EXPECT_EQ(kelmime({ "lint" }, out).out, "") << row.name;
  }
}

TEST(Compose, TakesHeadersAsTheyAreGiven) {
  drafts_t const drafts;
  auto const made = message_of(drafts.compose({ "-H", "From: Zo\u00EB \"Z\" <zoe@example.org>", "--text", "@plain.txt" }).out);
  EXPECT_TRUE(made->get_header("message-id", "").ends_with("@example.org>"));
  EXPECT_NE(made->get_header("#date", ""), "");
  EXPECT_EQ(made->get_header("mime-version", ""), "1.0");
  EXPECT_EQ(made->get_header("from.address", ""), "zoe@example.org");

  auto const given = drafts.compose({ "-H", "SUBJECT:Gr\u00FC\u00DFe\n\nBcc: x", "--attach", "@data", "-H", "Date: Mon, 1 Jan 2024 10:20:30 +0200", "-H", "message-id: <a@b>", "-H", "X-Mailer: us",
                                      "-H", "To: a@x", "--header", "to: b@y", "-H", "Content-Language: de", "-H", "Keywords:" }).out;
  auto const message = message_of(given);
  EXPECT_EQ(written({ "get", "subject", "#date", "message-id", "x-mailer", "to" }, given),
            "Gr\u00FC\u00DFe  Bcc: x\n2024-01-01 10:20:30 +0200\n<a@b>\nus\nb@y\n");
  EXPECT_FALSE(message->exists_header("bcc") || message->exists_header("keywords") || message->exists_header("content-language"));
  EXPECT_EQ(message->subpart(0).get_header("content-language", ""), "de");
}

TEST(Compose, WritesNothingWhereSomethingIsWrong) {
  drafts_t const drafts;
  struct { char const* name; words_t arguments; int status; char const* complaint; } const rows[] = {
    { "missing attachment", { "--text", "@plain.txt", "--attach", "@missing" }, 3, "missing: No such file" },
    { "missing text", { "--text", "@missing" }, 3, "missing: No such file" },
    { "folder", { "--attach", "@other" }, 3, "other: Is a directory" },
    { "text in Latin-1", { "--text", "@latin1.txt" }, 3, "latin1.txt: is not UTF-8" },
    { "two of a name", { "--html", "@page.html", "--related", "@logo.png", "--related", "@other/logo.png" }, 2, "has the name of another" },
    { "related to nothing", { "--related", "@logo.png" }, 2, "--html" }, { "no colon", { "-H", "Subject x" }, 2, "Name: value" },
    { "no name", { "-H", ": x" }, 2, "no header can have this name" },
    { "line break in the name", { "-H", "X\nBcc: x" }, 2, "no header can have this name" },
    { "8-bit name", { "-H", "\u00DC: x" }, 2, "no header can have this name" },
    { "the library's own name", { "-H", "#date: x" }, 2, "no header can have this name" },
    { "value in Latin-1", { "-H", "Subject: \xFC" }, 2, "not UTF-8" },
    { "type of the content", { "-H", "Content-Type: multipart/signed" }, 2, "made by what the message holds" },
    { "input", { "@plain.txt" }, 2, "plain.txt" }, { "input behind dashes", { "--", "@plain.txt" }, 2, "plain.txt" },
  };
  for (auto const& row : rows) {
    auto const outcome = drafts.compose(row.arguments);
    EXPECT_EQ(std::pair(outcome.status, outcome.out), std::pair(row.status, std::string())) << row.name;
    EXPECT_NE(outcome.err.find(row.complaint), std::string::npos) << row.name << ": " << outcome.err;
  }
  auto const unshown = drafts.compose({ "--html", "@page.html", "--related", "@data" });
  EXPECT_EQ(unshown.status, 0);
  EXPECT_NE(unshown.err.find("nothing in the HTML refers to \"cid:data\""), std::string::npos);
}

TEST(Edit, WritesTheSameBytesWithoutAChange) {
  std::size_t count = 0;
  for (auto const& file : kel::test::message_files("")) {
    std::string const bytes = content_of(file);
    if (bytes.starts_with("From "))
      continue;
    ++count;
    EXPECT_EQ(written({ "edit", file }), bytes) << file;
    EXPECT_EQ(written({ "edit", "--remove", "X-None", "--set", "X-None:" }, bytes), bytes) << file;
  }
  EXPECT_GT(count, 15u);
  EXPECT_EQ(written({ "edit" }, "Subject: x\r\n\r\na\r\n"), "Subject: x\n\na\n");
  EXPECT_EQ(written({ "edit" }, ""), "");
}

TEST(Edit, SetsAndRemovesHeaders) {
  std::string const message = "Received: a\nReceived: b\nSubject: old\nX-Odd:   kept\nContent-Type: text/plain; charset=iso-8859-1\n\ncaf\xE9  \n--\n";
  std::string const edited = written({ "edit", "--remove", "RECEIVED", "--set", "subject: new", "--set", "x-a: 1", "--set", "X-A: \u00E9", "--set", "Date:", "--remove", "X-A", "-" }, message);
  EXPECT_EQ(edited, "Subject: new\nContent-Type: text/plain; charset=iso-8859-1\nX-A: =?utf-8?q?=C3=A9?=\nX-Odd: kept\n\ncaf\xE9  \n--\n");
  EXPECT_EQ(kelmime({ "edit", "--set", "#x: y" }, message).status, 2);
}

// 1 text, 2 alternative (2.1 text, 2.2 HTML), 3 message (3.1 mixed: 3.1.1, 3.1.2 texts), 4 image
std::string const nested = "Subject: s\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=a\n\n\n"
    "--a\n\n1\n--a\nContent-Type: multipart/alternative; boundary=b\n\n\n--b\n\n21\n--b\nContent-Type: text/html\n\n<p>22\n--b--\n"
    "\n--a\nContent-Type: message/rfc822\n\nSubject: inside\nContent-Type: multipart/mixed; boundary=c\n\n\n--c\n\n3.1.1\n--c\n\n3.1.2..\n--c--\n"
    "\n--a\nContent-Type: image/png\nContent-Transfer-Encoding: base64\n\nAAAA\n--a--\n";

TEST(Edit, DropsParts) {
  struct { words_t numbers; char const* tree; } const rows[] = {
    { { "1", "3" }, "multipart/mixed[multipart/alternative[text/plain(2) text/html(5)] image/png(3)]" },
    { { "2.1" }, "multipart/mixed[text/plain(1) text/html(5) message/rfc822[multipart/mixed[text/plain(5) text/plain(7)]] image/png(3)]" },
    { { "2.2", "2.1" }, "multipart/mixed[text/plain(1) message/rfc822[multipart/mixed[text/plain(5) text/plain(7)]] image/png(3)]" },
    { { "2", "2.1", "3.1.1" }, "multipart/mixed[text/plain(1) message/rfc822[text/plain(7)] image/png(3)]" },
    { { "3.1", "1", "1" }, "multipart/mixed[multipart/alternative[text/plain(2) text/html(5)] image/png(3)]" },
    { { "3.1.2", "3.1.1", "2", "4" }, "text/plain(1)" }, { { "1", "3", "4", "2.1" }, "text/html(5)" },
    { { "4", "1", "2" }, "message/rfc822[multipart/mixed[text/plain(5) text/plain(7)]]" },
  };
  for (auto const& row : rows) {
    words_t arguments = { "edit" };
    for (auto const& number : row.numbers)
      arguments.insert(arguments.end(), { "--drop-part", number });
    auto const message = message_of(written(arguments, nested));
    EXPECT_EQ(describe(*message), row.tree) << row.numbers.front();
    EXPECT_EQ(message->get_header("subject", ""), "s") << row.numbers.front();
  }
  EXPECT_EQ(message_of(written({ "edit", "--drop-part", "3", "--set", "Subject: t" }, nested))->get_header("subject", ""), "t");
}

TEST(Edit, WritesNothingWhereItCannotDrop) {
  std::string const sealed = "Content-Type: multipart/signed; boundary=a\n\n\n--a\nContent-Type: multipart/mixed; boundary=b\n\n\n--b\n\n1\n--b\n\n2\n--b--\n\n--a\n\nx\n--a\n\ny\n--a--\n";
  scratch_t const scratch;
  std::string const file = scratch.file("m.eml", nested), mbox = scratch.file("m.mbox", "From a@b Mon Jan  1 10:00:00 2024\nSubject: x\n\n\nFrom a@b Mon Jan  1 10:00:00 2024\nSubject: y\n\n");
  struct { char const* name; words_t arguments; std::string input; int status; char const* complaint; } const rows[] = {
    { "no such part", { "--drop-part", "5" }, nested, 1, "there is no part 5" },
    { "one of several", { "--drop-part", "4", "--drop-part", "2.3" }, nested, 1, "there is no part 2.3" },
    { "no number", { "--drop-part", "" }, nested, 1, "there is no part" },
    { "the only part", { "--drop-part", "1" }, "\nx", 1, "nothing of the message would be left" },
    { "all parts", { "--drop-part", "1", "--drop-part", "2.1", "--drop-part", "2.2", "--drop-part", "3", "--drop-part", "4" }, nested, 1, "nothing of the message would be left" },
    { "inside a seal of three parts", { "--drop-part", "1.1" }, sealed, 1, "cannot be put together again" },
    { "out of more parts than are read", { "--drop-part", "1" }, "Content-Type: multipart/mixed; boundary=a\n\n" + kel::repeated("\n--a\n\nx", 10'010) + "\n--a--\n", 1, "too many parts" },
    { "header of such a seal", { "--set", "Subject: x" }, sealed, 1, "cannot be put together again" },
    { "two files", { file, file }, "", 2, "" }, { "two files behind dashes", { "--", file, file }, "", 2, "one of several messages" },
    { "two messages in a file", { mbox }, "", 2, "one of several messages" },
    { "missing file", { scratch.path("missing") }, "", 3, "No such file" },
  };
  for (auto const& row : rows) {
    auto const outcome = kelmime(joined({ "edit" }, row.arguments), row.input);
    EXPECT_EQ(std::pair(outcome.status, outcome.out), std::pair(row.status, std::string())) << row.name;
    EXPECT_NE(outcome.err.find(row.complaint), std::string::npos) << row.name << ": " << outcome.err;
  }
  EXPECT_EQ(describe(*message_of(written({ "edit", "--drop-part", "3" }, sealed.substr(0, sealed.rfind("y\n")) + "y\n--a--\n"))), "multipart/signed[multipart/mixed[text/plain(1) text/plain(1)] text/plain(1)]");
}

TEST(Reencode, DoesWhatIsAsked) {
  std::string const header = "Subject: Gr\u00FC\u00DFe\n\n", body = long_line + "\n";
  struct { words_t arguments; bool encodes_headers, encodes_lines; } const rows[] = { { {}, true, true }, { { "--headers", "--lines" }, true, true }, { { "--headers" }, true, false }, { { "--lines" }, false, true } };
  for (auto const& row : rows) {
    std::string const narrow = written(joined({ "reencode" }, row.arguments), header + body);
    EXPECT_EQ(narrow.find("\u00FC") == narrow.npos, row.encodes_headers);
    EXPECT_EQ(narrow.find(long_line) == narrow.npos, row.encodes_lines);
    EXPECT_EQ(written({ "get", "subject" }, narrow), "Gr\u00FC\u00DFe\n");
    EXPECT_EQ(message_of(narrow)->decoded_body(), body);
  }
  EXPECT_EQ(written({ "reencode" }, "Subject: x\n\nshort  \n"), "Subject: x\n\nshort  \n");
}

}  // namespace
