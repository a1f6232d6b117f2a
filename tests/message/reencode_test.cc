// Finished messages made fit for narrow transports. The laws are told by the tree: what it showed before, it shows after.
#include <kelmime/reencode.h>

#include <map>
#include <random>

#include <gtest/gtest.h>

#include <header/parameters.h>
#include <helpers/describe.h>
#include <helpers/repeated.h>
#include <kelmime/encoding.h>
#include <kelmime/header_parser.h>
#include <kelmime/headers.h>
#include <kelmime/limits.h>

namespace kel {
namespace {

using namespace std::literals;
using test::on_exact_copy;

std::string with_encoded_headers(std::string_view message) {
  std::string result = "before ";
  on_exact_copy(message, [&](auto first, auto last) { encode_headers(first, last, std::back_inserter(result)); });
  return result.substr(7);
}

// The message, and whether it changed.
std::pair<std::string, bool> reencoded(std::string_view message) {
  std::string text = "before ";
  bool const is_changed = on_exact_copy(message, [&](auto first, auto last) { return reencode(first, last, std::back_inserter(text)); });
  return { text.substr(7), is_changed };
}

bool needs_encoding(std::string_view message) {
  return on_exact_copy(message, [](auto first, auto last) { return needs_header_encoding(first, last); });
}

std::string multipart(std::string const& boundary, std::vector<std::string> const& parts, std::string headers = "") {
  std::string text = headers + "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\n\npreamble \u00E9\n";
  for (std::string const& part : parts)
    text += "--" + boundary + "\n" + part + "\n";
  return text + "--" + boundary + "--\nepilogue \u00E9\n";
}

std::string forwarded(std::string const& message) {
  return "Content-Type: message/rfc822\n\n" + message;
}

// What a header says, however it is written.
std::string meaning_of(std::string const& name, std::string const& value) {
  if (name == "content-type" || name == "content-disposition")
    return value.substr(0, value.find(';')) + "; " + header::normal_parameters(value);
  if (name != "from" && name != "to" && name != "cc" && name != "reply-to")
    return value;
  std::string text;
  for (char const* const what : { ".split.name", ".split.address" }) {
    for (std::string const& found : header_parser::parse_all_from_header(name + what, value))
      text += "<" + found + ">";
  }
  return text;
}

// What a message says, part by part from outside in: type, headers but the one about encoding, the decoded bytes of leaves.
std::vector<std::string> told_by(std::string_view message) {
  auto const root = test::message_of(message);
  std::vector<body_part_t*> parts;
  root->filter_body_parts(parts, [](body_part_t&) { return true; });
  std::vector<std::string> all;
  for (body_part_t* const part : parts) {
    std::vector<header_pair_t> pairs;
    mime_errors_handler_t errors;
    std::string_view const block = part->raw_headers();
    parse_headers(block.data(), block.data() + block.size(), pairs, errors, "utf-8", {});
    std::string text = part->mime_type();
    for (auto const& [name, value] : pairs)
      text += name == "content-transfer-encoding" ? "" : "\n" + name + ": " + meaning_of(name, value);
    all.push_back(part->subparts().empty() ? text + "\n\n" + std::string(part->decoded_body()) : text);
  }
  return all;
}

TEST(NeedsHeaderEncoding, LooksIntoEveryHeaderBlock) {
  std::string const high = "Subject: \u00E9\n\nx\n", low = "Subject: e\n\n\u00E9\n";
  struct { char const* name; std::string message; bool expected; } const rows[] = {
    { "nothing", "", false }, { "8-bit body", low, false }, { "8-bit header", high, true },
    { "8-bit line that is no header", "\u00E9\n\n", true }, { "part", multipart("b", { low, high }), true },
    { "parts", multipart("b", { low, low }), false }, { "message", forwarded(high), true },
    { "part of a message in a part", multipart("b", { low, forwarded(multipart("c", { low, high })) }), true },
    { "preamble", "Content-Type: multipart/mixed; boundary=b\n\n" + high + "--b\n" + low + "\n--b--\n" + high, false },
    { "text", "Content-Type: text/plain\n\n" + high, false },
    { "other messages are data", "Content-Type: message/partial\n\n" + high, false },
    { "encoded container", multipart("c", { multipart("b", { high }, "Content-Transfer-Encoding: base64\n") }), false },
    { "a wrong label", multipart("b", { high }, "Content-Transfer-Encoding: base64\n"), true },
    { "labels that change nothing", multipart("c", { multipart("b", { high }, "Content-Transfer-Encoding: 7bit\n") }), true },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(needs_encoding(row.message), row.expected) << row.name;
    EXPECT_EQ(with_encoded_headers(row.message) != row.message, row.expected) << row.name;
  }
}

TEST(EncodeHeaders, WritesBlocksAnew) {
  struct { char const* name; std::string message, expected; } const rows[] = {
    { "only what needs it", "X-A:b\nsubject:  f\u00FCr\n\tdich\n\n\u00E9\n", "X-A: b\nSubject: =?utf-8?q?f=C3=BCr?= dich\n\n\u00E9\n" },
    { "without an empty line", "Subject: \u00E9", "Subject: =?utf-8?q?=C3=A9?=\n\n" },
    { "what is no header", "From \u00E9\nX-A: b\nX-B:\n c d\n \u00E9\nx y\nCc:\n\nbody", "X-A: b\nX-B: c d =?utf-8?q?=C3=A9?=\nx y\nCc:\n\nbody" },
    { "a long name", std::string(60, 'x') + ": a\n b\nX-B: \u00E9\n\n", std::string(60, 'x') + ": a\n b\nX-B: =?utf-8?q?=C3=A9?=\n\n" },
    { "CR LF in a message", forwarded("Subject: \u00E9\r\n x\r\n\r\n\u00E9\r\n"), forwarded("Subject: =?utf-8?q?=C3=A9?= x\n\n\u00E9\r\n") },
    { "a name like a delimiter", multipart("X: y", { "--x: y\n--x: \u00E9\nX-A: \u00E9\n\na" }), multipart("X: y", { "--x: y\nX-A: =?utf-8?q?=C3=A9?=\n\na" }) },
    { "virtual headers go", "#flags: \u00E9\nX-A: b\n\n", "X-A: b\n\n" },
    { "latin-1", "Content-Type: text/plain; charset=iso-8859-1\nSubject: \xE9\n\n\xE9",
      "Content-Type: text/plain; charset=iso-8859-1\nSubject: =?utf-8?q?=C3=A9?=\n\n\xE9" },
    { "a part", multipart("b", { "Subject: \u00E9\n\n\u00E9", "X-A:  b\n\n\u00E9" }),
      multipart("b", { "Subject: =?utf-8?q?=C3=A9?=\n\n\u00E9", "X-A:  b\n\n\u00E9" }) },
  };
  for (auto const& row : rows)
    EXPECT_EQ(with_encoded_headers(row.message), row.expected) << row.name;
}

TEST(EncodeHeaders, KeepsWhatTheySay) {
  std::string const headers[] = {
    "Subject: Gr\u00FC\u00DFe aus M\u00FCnchen \"\u00E9\" =?u?q?a\n", "Subject: " + repeated("\u00E9", 300) + "\n",
    "From: J\u00F6rg \"der\" M\u00FCller <joerg@m\u00FCller.example>, \"Doe, J\u00F6hn\" <x@y>\n",
    "To: undisclosed: J\u00FCrgen <a@b>, c@d;\nCc: (\u00E9) <e@f>,\n\t\"\u00E9@\" <g@h>\n", "X-A:  a  \u00E9\n\tb\n",
    "Content-Disposition: attachment; filename=\"\u00E9 \\\"x\\\".pdf\"\n", "Content-Description: \u00E9 (\u00E9)\n",
    "Content-Disposition: attachment; filename*=utf-8''%C3%A9.pdf; x=\u00E9\n", "Message-ID: <\u00E9@x>\n",
    "Received: from \u00E9 (a b) by c; Tue, 2 Jan 2024 09:00:00 +0100\n", "Date: Tue, 2 Jan 2024 09:00:00 +0100 (\u00E9)\n",
    "X-Long: " + repeated("word \u00E9 ", 300) + "\n", "Subject: =?utf-8?q?=C3=A9?= \u00E9 =?iso-8859-1?q?=E9?=\n",
    "X-B: a\n", "List-Id: \u00E9 list <l.example>\n", "Reply-To: \u00E9 <a@b>\n", "Keywords: \u00E9, b, \u20AC\n",
  };
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    std::vector<std::string> blocks(4);
    for (std::string& block : blocks) {
      for (auto count = random() % 5; count != 0; --count)
        block += headers[random() % std::size(headers)];
    }
    std::string const inner = forwarded(multipart("c", { blocks[1] + "\n\u00E9\n" }, blocks[2]));
    std::string const message = multipart("b", { inner, blocks[3] + "\n\u00E9" }, blocks[0]);
    std::string const sent = with_encoded_headers(message);
    ASSERT_FALSE(needs_encoding(sent)) << sent;
    ASSERT_EQ(told_by(sent), told_by(message)) << sent;
    ASSERT_EQ(with_encoded_headers(sent), sent);
  }
}

TEST(MaxLineLength, CountsBytes) {
  std::map<std::string_view, std::size_t> const rows = { { "", 0 }, { "\n\n", 0 }, { "ab", 2 }, { "a\nb\u00E9\nc", 3 }, { "a\nbcd", 3 }, { "abc\nd\n", 3 } };
  for (auto const& [text, expected] : rows)
    EXPECT_EQ(on_exact_copy(text, [](auto first, auto last) { return max_line_length(first, last); }), expected) << text;
}

std::string in_quoted_printable(std::string_view text) {
  std::string result;
  encode(text.begin(), text.end(), std::back_inserter(result), "quoted-printable");
  return result;
}

TEST(Reencode, EncodesLeavesWithLongLines) {
  std::string const fits(256, 'x'), line(257, 'x'), soft = repeated(repeated("x", 73) + "=\n", 3) + repeated("x", 38);
  std::string const decoded = repeated("xxx", 100), in_base64 = repeated("eHh4", 100);
  std::string const qp = "Content-Transfer-Encoding: quoted-printable\n", data = "Content-Type: application/x\n";
  std::string const base64 = "Content-Transfer-Encoding: base64\n";
  struct { char const* name; std::string message, expected; } const rows[] = {
    { "256 bytes", "X: " + line + "\n\n" + fits + "\n", "" },
    { "257 bytes", "X:  a\n\na\n" + line + "\n\n.", qp + "X:  a\n\na\n" + soft + "\n\n=2E" },
    { "no headers", "\n" + line, qp + "\n" + soft }, { "no body", "X: " + line, "" },
    { "a line that continues nothing", " : x\n y\nX: a\n\n" + line, " : x\n y\n" + qp + "X: a\n\n" + soft },
    { "the encoding that it had", "X: a\ncontent-TRANSFER-encoding: 8bit\nContent-Transfer-Encoding:\n 8bit\n\t(x)\nY: b\n\n" + line,
      qp + "X: a\nY: b\n\n" + soft },
    { "base64 in one line", base64 + "\n" + in_base64, qp + "\n" + in_quoted_printable(decoded) },
    { "the first encoding counts", base64 + "Content-Transfer-Encoding: 7bit\n\n" + in_base64, qp + "\n" + in_quoted_printable(decoded) },
    { "quoted-printable", qp + "\n=3D" + line, qp + "\n" + in_quoted_printable("=" + line) },
    { "an unknown encoding", "Content-Transfer-Encoding: x\n\n=3D" + line, qp + "\n" + in_quoted_printable("=3D" + line) },
    { "delimiters behind an encoding", multipart("b", { qp + "\n=2D-b\n=2D-b--\n" + line }), multipart("b", { qp + "\n=2D-b\n=2D-b--\n" + soft }) },
    { "a blank at the end", "\n" + line + " ", qp + "\n" + soft + "=20" },
    { "line feeds of data", data + "\na \n" + line + "\n", qp + data + "\na =0A=\n" + soft + "=0A" },
    { "line feeds behind CR", "\na\r\n" + line, qp + "\na=0D=0A=\n" + soft },
    { "parts", multipart("b", { "\n" + line, "X: " + line + "\n\n" + fits, data + "\n" + line }, "X: " + line + "\n"),
      multipart("b", { qp + "\n" + soft, "X: " + line + "\n\n" + fits, qp + data + "\n" + soft }, "X: " + line + "\n") },
    { "messages", forwarded(forwarded("X: a\n\n" + line)), forwarded(forwarded(qp + "X: a\n\n" + soft)) },
    { "reports", "Content-Type: message/delivery-status\n\nX: " + line + "\n\n" + line, "" },
    { "preamble and epilogue", "Content-Type: multipart/mixed; boundary=b\n\n" + line + "\n--b\n\na\n--b--\n" + line, "" },
    { "no parts", "Content-Type: multipart/mixed; boundary=b\n\n" + line + "\n", "" },
    { "encoded container", multipart("c", { multipart("b", { "\n" + line }, base64) }), "" },
  };
  for (auto const& row : rows) {
    bool const is_changed = !row.expected.empty();
    EXPECT_EQ(reencoded(row.message), std::pair(is_changed ? row.expected : row.message, is_changed)) << row.name;
  }
}

TEST(Reencode, KeepsWhatIsDecoded) {
  std::string const headers[] = {
    "Content-Type: text/plain; charset=utf-8\n", "Content-Type: text/plain; format=flowed\n", "X-A: b\n", "junk\n", " c\n",
    "Content-Type: application/octet-stream\n", "Content-Type: text/html\nContent-Disposition: attachment\n",
    "Content-Transfer-Encoding:\n quoted-printable\n", "content-transfer-encoding: BASE64 (x)\n", "Content-Type: image/png\n",
    "Content-Transfer-Encoding: 8bit\n", "Content-Type: message/external-body\n",
  };
  std::string const pieces[] = { "\n", " ", "\t", "=", "=\n", "=3D", "QUJD", "\r", "\u00E9", "\xE9", "From ", ".", "-- \n", "> a",
                                 "\n\n", "\0"s, repeated("x", 100), repeated("y ", 90), repeated("eHh4", 80) };
  std::mt19937 random(1);
  for (int round = 0, changes = 0; round < 2000 || changes < 500; ++round) {
    std::vector<std::string> parts(3);
    for (std::string& part : parts) {
      for (auto count = random() % 4; count != 0; --count)
        part += headers[random() % std::size(headers)];
      part += "\n";
      for (auto count = random() % 12; count != 0; --count)
        part += pieces[random() % std::size(pieces)];
    }
    std::erase(parts[1], '\r');  // of messages inside, the tree shows none
    std::string const message = round % 3 == 0 ? parts[0] : multipart("b", { parts[0], forwarded(parts[1]), parts[2] });
    auto const [sent, is_changed] = reencoded(message);
    changes += is_changed;
    ASSERT_EQ(is_changed, sent != message);
    ASSERT_EQ(told_by(sent), told_by(message)) << sent;
    ASSERT_FALSE(reencoded(sent).second) << sent;
  }
}

TEST(Reencode, LooksIntoALimitedDepth) {
  std::string const leaf = "Subject: \u00E9\n\n" + std::string(300, 'x');
  std::string multiparts;
  for (std::size_t level = 0; level < 100'000; ++level)
    multiparts += "Content-Type: multipart/mixed; boundary=" + std::to_string(level) + "\n\n\n--" + std::to_string(level) + "\n";
  for (std::string const& deep : { multiparts, repeated(forwarded(""), 100'000) }) {
    std::string const message = deep + leaf;
    EXPECT_FALSE(needs_encoding(message));
    EXPECT_EQ(with_encoded_headers("X: \u00E9\n" + message).size(), message.size() + 22);
    EXPECT_EQ(reencoded(message).first, message);
  }
  std::string const shallow = repeated(forwarded(""), limits::nested_levels) + leaf;
  EXPECT_TRUE(needs_encoding(shallow) && reencoded(shallow).second);
  EXPECT_FALSE(needs_encoding(forwarded(shallow)));
}

}  // namespace
}  // namespace kel
