// Attachments inside of winmail.dat: by the real program from data made here, and by stand-ins that misbehave.
#include <security/tnef.h>

#include <sys/stat.h>
#include <unistd.h>
#include <numeric>

#include <gtest/gtest.h>

#include <kel/preferences.h>
#include <kel/text.h>
#include <helpers/messages.h>
#include <helpers/repeated.h>
#include <helpers/surroundings.h>
#include <security/leftovers.h>

namespace kel {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace std::string_literals;
using test::describe;
using test::message_of;

// --- Making TNEF -------------------------------------------------------------------------------------------------

std::string number(std::size_t value, int width) {
  std::string bytes;
  for (; width > 0; --width, value >>= 8)
    bytes += static_cast<char>(value & 255);
  return bytes;
}

std::string attribute(int level, std::size_t identifier, std::string const& data) {
  auto const sum = std::accumulate(data.begin(), data.end(), 0u, [](unsigned s, char c) { return s + byte_value(c); });
  return number(level, 1) + number(identifier, 4) + number(data.size(), 4) + data + number(sum, 2);
}

std::string const text_in_tnef = attribute(1, 0x0002800C, "What it says");

std::string tnef_of(std::vector<std::pair<std::string, std::string>> const& files, std::string const& more = "") {
  std::string bytes = number(0x223E9F78, 4) + number(1, 2) + attribute(1, 0x00089006, number(0x10000, 4)) + more;
  for (auto const& [name, content] : files)
    bytes += attribute(2, 0x00069002, std::string(14, '\0')) + attribute(2, 0x00018010, name + '\0') + attribute(2, 0x0006800F, content);
  return bytes;
}

std::string code_page(std::size_t page) { return attribute(1, 0x00069007, number(page, 8)); }
std::string skipped(std::string const& name) { return "Warning: Skipped '" + name + "' in tnef attachment\n"; }

std::string message_with(std::string_view bytes) {
  return "From: a@example.org\nMIME-Version: 1.0\n" + test::multipart("mixed", { "\nHello", test::leaf_in_base64("application/ms-tnef; name=winmail.dat", bytes) });
}

// --- Unpacking ---------------------------------------------------------------------------------------------------

class Tnef : public testing::Test {
protected:
  ~Tnef() override { preferences::reset(); }

  // Unpacks the bytes as a part of a message; keeps what was said meanwhile.
  body_part_t& unpack(std::string_view bytes, command_limits_t const& limits = { 20s, 1 << 20 }) {
    _source = message_with(bytes);
    _message = message_of(_source);
    body_part_t& part = _message->subpart(1);
    said = complaints_of([&] { unpack_tnef(part, limits); });
    EXPECT_EQ(part.subparts().size(), 1u);
    return part.subpart(0);
  }

  // "name=bytes name=bytes" for the attachments.
  static std::string files(body_part_t& content) {
    std::string text;
    for (body_part_t& part : content.subparts()) {
      if (part.mime_type() == "application/octet-stream")
        text += (text.empty() ? "" : " ") + part.get_filename() + "=" + std::string(part.decoded_body());
    }
    return text;
  }

  void use_program(std::string const& commands) {
    _program.emplace("PW_TNEF", _folder.write_program("tnef", commands));
  }
  // A decoder that lists this, and runs the commands in the folder for its files.
  void use_extractor(std::string const& listing, std::string const& commands) {
    use_program("cat >/dev/null\nif [[ $* == *--list ]]; then printf '" + listing + "'; else cd \"${@: -1}\"; " + commands + "; fi\n");
  }

  std::string said, _source;
  std::shared_ptr<body_part_t> _message;
  temporary_folder_t _folder;
  leftovers_t _temporary;
  std::optional<variable_guard_t> _program;
};

TEST_F(Tnef, IsKnownByTypeOrName) {
  struct { char const* headers; bool expected; } const rows[] = {
    { "Content-Type: application/ms-tnef", true }, { "Content-Type: APPLICATION/vnd.ms-tnef; name=a.txt", true },
    { "Content-Type: application/octet-stream; name=WinMail.dat", true },
    { "Content-Type: application/octet-stream\nContent-Disposition: attachment; filename=win.dat", true },
    { "Content-Type: application/octet-stream; name=a.TNEF", true },
    { "Content-Type: application/octet-stream; name=winmail.dat.txt", false }, { "Content-Type: application/octet-stream", false },
    { "Content-Type: text/plain; name=winmail.dat", false },
  };
  for (auto const& row : rows)
    EXPECT_EQ(is_tnef(*message_of(row.headers + "\n\nx"s)), row.expected) << row.headers;
}

TEST_F(Tnef, GivesFilesWithTheirNamesAndBytes) {
  std::string const every_byte = [] { std::string s; for (int c = 0; c < 256; ++c) s += static_cast<char>(c); return s; }();
  struct { char const* name; std::string bytes; std::string expected; std::string said; } const rows[] = {
    { "one", tnef_of({ { "a.txt", "hello" } }), "a.txt=hello", "" },
    { "two, one of them empty", tnef_of({ { "b", "" }, { "a", "x\r\n" } }), "b= a=x\r\n", "" },
    { "every byte", tnef_of({ { "a.txt", every_byte } }), "a.txt=" + every_byte, "" },
    { "blanks", tnef_of({ { "my 100% plan.txt", "x" } }), "my 100% plan.txt=x", "" },
    { "UTF-8", tnef_of({ { "Gr\u00FC\u00DFe.txt", "x" } }, code_page(1251)), "Gr\u00FC\u00DFe.txt=x", "" },
    { "code page", tnef_of({ { "\xCF\xEB\xE0\xED", "x" } }, code_page(1251)), "\u041F\u043B\u0430\u043D=x", "" },
    { "no code page", tnef_of({ { "\xE4.txt", "x" } }), "\u00E4.txt=x", "" },
    { "unknown code page", tnef_of({ { "\xE4.txt", "x" } }, code_page(99999)), "\u00E4.txt=x", "" },
    { "folders", tnef_of({ { "../../etc/passwd", "x" }, { "C:\\temp\\b.txt", "y" } }), "passwd=x b.txt=y", "" },
    { "no name", tnef_of({ { "", "x" } }), "=x", "" },
    { "header text", tnef_of({ { "a\"; x=\"\r\nTo: b\tc", "x" } }), "To: b{09}c=x", skipped("a\"; x=\"{0D}") },
    { "shell text", tnef_of({ { "-rf `id` $(id) '\"", "x" } }), "-rf `id` $(id) '\"=x", "" },
    { "equal names", tnef_of({ { "a", "one" }, { "b", "x" }, { "a", "two" } }), "a=two b=x", skipped("a") },
    { "inside itself", tnef_of({ { "winmail.dat", "x\x9F>\"" } }), "winmail.dat=x\x9F>\"", "" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(files(unpack(row.bytes)), row.expected) << row.name;
    EXPECT_EQ(said, row.said) << row.name;
  }
}

TEST_F(Tnef, TellsTheReaderAndKeepsTheMessage) {
  std::string const note = " been extracted from the TNEF attachment above. Note that TNEF is a proprietary and non-standard "
    "format. The sender should be notified about this and encouraged to take steps to avoid sending such attachments in the future.";
  struct { std::string bytes; std::string shape; std::string text; } const rows[] = {
    { tnef_of({}), "text/plain(61)", "\n\nNo attachments were found within the TNEF attachment above." },
    { tnef_of({ { "a", "x" } }), "multipart/mixed[text/plain(253) application/octet-stream(1)]", "\n\nThe following attachment has" + note },
    { tnef_of({ { "a", "x" }, { "b", "yy" } }), "multipart/mixed[text/plain(257) application/octet-stream(1) application/octet-stream(2)]",
      "\n\nThe following 2 attachments have" + note },
  };
  for (auto const& row : rows) {
    body_part_t& content = unpack(row.bytes);
    EXPECT_EQ(describe(content), row.shape);
    EXPECT_EQ((content.is_multi_part() ? content.subpart(0) : content).decoded_body(), row.text);
    EXPECT_EQ(test::all_records(content), "");
    unpack_tnef(_message->subpart(1), { 20s, 1 << 20 });
    EXPECT_EQ(_message->subpart(1).num_subparts(), 1u) << "once";
    EXPECT_EQ(test::written(*_message), _source);
  }
}

TEST_F(Tnef, TakesWhatDamagedDataLeave) {
  std::string const good = tnef_of({ { "my plan.txt", "hello" } }), failed = "Warning: Failed running tnef decoder (";
  struct { char const* name; std::string bytes; char const* expected; char const* reason; } const rows[] = {
    { "garbage behind a file", tnef_of({ { "my \xE4.txt", "hello" }, { "b", "x" } }) + "garbage", "my \u00E4.txt=hello", "killed by signal 6" },
    { "checksum", good.substr(0, good.size() - 1) + '!', "", "ERROR: invalid checksum, input file may be corrupted" },
    { "cut", good.substr(0, good.size() - 5), "", "Unexpected end of input: Success" },
    { "another format", "Hello", "", "Seems not to be a TNEF file" },
    { "nothing", "", "", "Unexpected end of input: Success" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(files(unpack(row.bytes)), row.expected) << row.name;
    EXPECT_EQ(said, repeated(failed + row.reason + ")\n", 2)) << row.name;
  }
  for (std::size_t size = 0; size < good.size(); size += 7)
    unpack(good.substr(0, size), { 20s, 1000 });
}

TEST_F(Tnef, TakesOnlyFilesOfTheFolder) {
  std::string const outside = _folder.write("outside", "secret");
  struct { char const* name; std::string listing; std::string commands; std::string expected; std::string said; } const rows[] = {
    { "links", R"(a\t|\ta\nb\t|\tb\n)", "ln -s " + outside + " a; ln " + outside + " b; echo x >c", "c=x\n", skipped("a") + skipped("b") },
    { "no files", R"(a\t|\ta\n)", "mkdir a .d; mkfifo b; echo x >a/x", "", skipped("a") + skipped(".d") + skipped("b") },
    { "paths", R"(a\t|\t../outside\nb\t|\t/x/b\n\t|\t..\n)", "echo -n x >b", "b=x", skipped("a") + skipped("") },
    { "only listed", R"(\033[0m\t|\ta\n)", "true", "", skipped("{1B}[0m") },
    { "without separators", R"(b\na\n\n)", "echo -n x >a; echo -n y >b; echo -n z >'c d'", "b=y a=x c d=z", "" },
    { "several separators", R"(x\t|\ty\t|\ta)", "echo -n x >a", "x{09}|{09}y=x", "" },
    { "too large", "", "echo -n 12345678 >a; truncate -s 1T b; echo -n 123 >c; echo -n 12 >d", "a=12345678 d=12", skipped("b") + skipped("c") },
    { "name of a part", R"(../..\t|\ta\n)", "echo -n x >a", "=x", "" },
  };
  for (auto const& row : rows) {
    use_extractor(row.listing, row.commands);
    EXPECT_EQ(files(unpack("x", { 20s, 10 + row.listing.size() })), row.expected) << row.name;
    EXPECT_EQ(said, row.said) << row.name;
  }
  use_extractor("", "touch {1..1001}");
  EXPECT_EQ(unpack("x").subparts().size(), 1001u) << "with the note";
  EXPECT_EQ(said, skipped("999"));
}

TEST_F(Tnef, SurvivesItsProgram) {
  struct { char const* name; std::string commands; std::string said; std::chrono::milliseconds time = 60s; } const rows[] = {
    { "silent", "true", "" }, { "failing", "echo no; echo -e '\\e[0m\\nwhy\\r' >&2; exit 3", "why{0D}" },
    { "killed", "kill -9 $$", "killed by signal 9" }, { "endless", "sleep 1000", "stopped after 200 ms", 200ms },
    { "flooding", "yes", "stopped after 100 bytes of output" }, { "never reading", "exec <&-", "" },
  };
  for (auto const& row : rows) {
    use_program(row.commands);
    EXPECT_EQ(describe(unpack(std::string(100'000, 'x'), { row.time, 100 })), "text/plain(61)") << row.name;
    EXPECT_EQ(said, row.said.empty() ? "" : repeated("Warning: Failed running tnef decoder (" + row.said + ")\n", 2)) << row.name;
  }
  for (char const* const missing : { "/nowhere/tn\"ef", "/tmp" }) {
    _program.emplace("PW_TNEF", missing);
    EXPECT_EQ(describe(unpack("x")), "text/plain(61)");
    EXPECT_EQ(text::split(said, missing).size(), 3u) << said;
  }
}

TEST_F(Tnef, RunsTheProgramAsSpelledOut) {
  preferences::set("PwDebugTNEF", true);
  use_program("cat >/dev/null; [[ $* == *--list ]] && { printf 'A\\t|\\tb\\n'; exit; }; stat -c %a \"${@: -1}\" >\"${@: -1}/b\"");
  body_part_t& content = unpack("x");
  EXPECT_EQ(files(content), "A=700\n");
  std::string const folder = said.substr(said.find(": /") + 2, said.find("\nTNEF: List") - said.find(": /") - 2);
  EXPECT_TRUE(folder.starts_with(_temporary.path() + "/tnef_")) << folder;
  EXPECT_EQ(said, "TNEF: Found application/ms-tnef (winmail.dat)\nTNEF: Deflating body part\nTNEF: Location: " + folder +
                      "\nTNEF: List arguments: --unix-paths --list\nTNEF: Arguments: --unix-paths --overwrite --directory \"" + folder +
                      "\"\nTNEF: Output size: 6\nTNEF: Filename: 'A'\nTNEF: MIME output size: " +
                      std::to_string(content.raw_data().size()) + "\nTNEF: 2 body parts added\n");
  EXPECT_FALSE(fs::exists(folder));
  preferences::set("PwTNEFSaveBodies", true);
  _program.reset();
  EXPECT_EQ(files(unpack(tnef_of({ { "a", "x" } }, text_in_tnef))), "a=x message.txt=What it says");
  EXPECT_NE(said.find("List arguments:  --save-body --body-pref=ALL --unix-paths --list\n"), said.npos) << said;
}

TEST_F(Tnef, QuotesTheFolder) {
  struct { std::string name; char const* expected; char const* said; } const rows[] = {
    { "a b\"`id`$(id)\\", "a=x", "" }, { "a\nb", "", "Warning: Failed running tnef decoder (no folder for its files)\n" },
  };
  for (auto const& row : rows) {
    std::string const odd = path::join(_temporary.path(), row.name);
    fs::create_directory(odd);
    variable_guard_t const folder("TMPDIR", odd);
    EXPECT_EQ(files(unpack(tnef_of({ { "a", "x" } }))), row.expected) << row.name;
    EXPECT_EQ(said, row.said) << row.name;
    EXPECT_TRUE(fs::remove(odd)) << "a file is left";
  }
}

// The one place that is the same for everybody.
TEST_F(Tnef, LaysItsInputDown) {
  std::string const place = "/tmp/tnef_input";
  use_extractor("", "stat -c %a:%s " + place + " >a 2>&1; ls \"${TMPDIR}\"/tnef_*/tnef_input | wc -l >b");
  fs::remove_all(place);
  EXPECT_EQ(files(unpack("12345")), "a=600:5\n b=0\n");
  EXPECT_FALSE(fs::exists(place));

  fs::create_symlink(_folder.write("other", "kept"), place);  // an own leftover
  EXPECT_EQ(files(unpack("12345")), "a=600:5\n b=0\n");
  EXPECT_EQ(path::content(_folder.path() + "/other"), "kept");
  EXPECT_FALSE(fs::exists(fs::symlink_status(place)));

  fs::create_directory(place);  // nothing that we could remove
  EXPECT_TRUE(files(unpack("12345")).ends_with(" b=1\n"));
  EXPECT_TRUE(fs::is_directory(place));
  fs::remove(place);
}

}  // namespace
}  // namespace kel
