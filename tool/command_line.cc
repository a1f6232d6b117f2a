#include "command_line.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <unistd.h>

#include <CLI/CLI.hpp>

#include "header_line.h"

namespace kel::tool {

namespace {

bool is_coloured(std::string_view when) {
  if (when != "auto")
    return when == "always";
  char const* const forbidden = std::getenv("NO_COLOR");
  return ::isatty(STDOUT_FILENO) && !(forbidden && *forbidden);
}

// `get` takes paths first and inputs behind them. Without a "--" between them the inputs begin with the first argument behind
// a path that can only be one: "-", anything with a folder, with the extension of a mail file, or that exists.
bool looks_like_input(std::string const& argument) {
  std::error_code ignored;
  return argument == "-" || argument.find('/') != argument.npos || argument.ends_with(".eml") ||
         argument.ends_with(".mbox") || std::filesystem::exists(argument, ignored);
}

void part_paths_from_inputs(options_t& options) {
  if (options.paths.empty())
    return;
  auto const first_input = std::find_if(options.paths.begin() + 1, options.paths.end(), looks_like_input);
  options.inputs.assign(first_input, options.paths.end());
  options.paths.erase(first_input, options.paths.end());
}

class command_line_t {
public:
  command_line_t() {
    _app.set_version_flag("--version", "kelmime " KELMIME_VERSION);
    _app.require_subcommand(1);
    _app.fallthrough();
    add_choice(_app, "--color", _colour, { "auto", "always", "never" },
               "When to colour: auto is on a terminal and without NO_COLOR (default)");
    _app.footer(
        "INPUT is a message file, \"-\" for standard input (the default when it is no terminal), a Maildir folder or "
        "an\n"
        "mbox file; edit, reencode, sign and encrypt take one message. Lines may end in LF or CR LF.\n\n"
        "Exit status: 0 done; 1 no value, deviations found, not verified, not decrypted, or a change that cannot be\n"
        "made; 2 wrong usage; 3 an input could not be read or an output not written; 4 an external program is\n"
        "missing, or could not sign or encrypt. Of several messages the highest counts.\n\n"
        "Example:\n  kelmime show message.eml");

    add_sealed_flag(add_verb("show", show, "Show a message: main headers, security, text, attachments, problems",
                             "kelmime show message.eml"));
    add_verb("tree", tree, "Write a line for each part: number, type, charset, encoding, size, name",
             "kelmime tree message.eml");
    add_verb("headers", headers, "Write the decoded headers, one a line, in message order",
             "kelmime headers message.eml | grep -i ^received")
        .add_flag("--raw", _options.wants_raw, "As they stand: folded and encoded (control bytes escaped)");
    add_get();
    add_json();
    add_verb("lint", lint,
             "Write every tolerated deviation, one a line: part, header, description, context.\n"
             "Harmless ones are marked [low]; the status is 1 when there are others",
             "kelmime lint Maildir/ && echo clean")
        .alias("errors");
    add_extract();
    add_reencode();
    add_index();
    add_edit();
    add_compose();
    add_security_verbs();
  }

  // What stands behind "--" is input, and the options library does not see it.
  std::optional<command_t> read(int argc, char** argv, exit_status_t& status) {
    auto const end = argv + argc;
    auto const dashes = std::find_if(argv, end, [](char const* argument) { return std::strcmp(argument, "--") == 0; });
    try {
      _app.parse(static_cast<int>(dashes - argv), argv);
      if (_command.verb == get && dashes == end)
        part_paths_from_inputs(_options);
      if (dashes != end)
        _options.inputs.insert(_options.inputs.end(), dashes + 1, end);
      return command();
    } catch (CLI::ParseError const& error) {
      status = _app.exit(error) == 0 ? done : misused;
    }
    return {};
  }

private:
  static void add_choice(CLI::App& app, char const* name, std::string& choice, std::vector<std::string> const& words,
                         char const* description) {
    app.add_option(name, choice, description)->check(CLI::IsMember(words))->type_name("");
  }

  CLI::App& add_bare_verb(char const* name, command_t const& what, char const* description, char const* example) {
    CLI::App* const verb = _app.add_subcommand(name, description);
    verb->footer(std::string("Example:\n  ") + example);
    verb->callback([this, what] { _command = what; });
    return *verb;
  }

  CLI::App& add_verb(char const* name, verb_t verb, char const* description, char const* example) {
    CLI::App& added = add_bare_verb(name, { .verb = verb }, description, example);
    added.add_option("INPUT", _options.inputs, "Message files, Maildir folders, mbox files, or \"-\"")->type_name("");
    return added;
  }

  CLI::App& add_writing_verb(char const* name, verb_t verb, char const* description, char const* example) {
    CLI::App& added = add_bare_verb(name, { .verb = verb, .is_for_one = true }, description, example);
    added.add_option("INPUT", _options.inputs, "A message file, or \"-\"")->expected(0, 1)->type_name("");
    return added;
  }

  // An option that may be given several times, with one value each: what follows is something else.
  static CLI::Option* add_list(CLI::App& verb, char const* name, std::vector<std::string>& values,
                               char const* description, char const* type_name) {
    return verb.add_option(name, values, description)->allow_extra_args(false)->type_name(type_name);
  }

  void add_header_option(CLI::App& verb, char const* name, char const* description,
                         std::string (*problem_of)(std::string const&)) {
    add_list(verb, name, _options.set_headers, description, "'NAME: VALUE'")->check(problem_of, "");
  }

  void add_get() {
    CLI::App& verb = add_bare_verb("get", { .verb = get },
                                   "Write the values of field paths, one a line; the status is 1 when one has no value",
                                   "kelmime get from.address subject -- message.eml");
    verb.add_option("PATH", _options.paths,
                    "Field paths, and then inputs; \"--\" parts them where a path is also the name of a file")
        ->type_name("... [--] [INPUT]");
    verb.add_option("--default", _options.fallback, "Written for a path that has no value")->type_name("TEXT");
    verb.add_flag("--paths", _options.lists_paths, "List the paths that exist");
  }

  void add_json() {
    CLI::App& verb = add_verb(
        "json", json, "Write everything as JSON (RFC 8621), indented for one message, one line a message for many",
        "kelmime json message.eml | jq .subject");
    add_choice(verb, "--bodies", _bodies, { "none", "text", "all" },
               "Text to include: text is what is no attachment (default), all is every text part");
    add_sealed_flag(verb);
  }

  void add_extract() {
    CLI::App& verb =
        add_verb("extract", extract,
                 "Save attachments as files and write their names. Nothing is overwritten: a number is added",
                 "kelmime extract -d attachments message.eml");
    verb.add_option("-d,--directory", _options.folder, "The folder to save in, made when it is missing (default: here)")
        ->type_name("DIR");
    verb.add_option("--part", _options.part,
                    "Save this part, whatever it is; text comes as UTF-8, a multipart with its headers")
        ->type_name("N");
    verb.add_flag("--stdout", _options.to_standard_output, "Write the bytes to standard output instead");
    add_sealed_flag(verb);
  }

  void add_reencode() {
    CLI::App& verb =
        add_writing_verb("reencode", reencode,
                         "Write a finished message for narrow transports: headers in ASCII, no long lines. Both "
                         "are\ndone unless one is asked for; what needs no change stays as it is",
                         "kelmime reencode message.eml > narrow.eml");
    verb.add_flag("--headers", _options.encodes_headers, "Encode header blocks that are not ASCII");
    verb.add_flag("--lines", _options.encodes_lines, "Encode bodies that have lines of more than 256 bytes");
  }

  void add_edit() {
    CLI::App& verb = add_writing_verb(
        "edit", edit,
        "Write a message with other headers, or without some of its parts. The bodies of the parts that\n"
        "stay do not change. Multiparts around a change are put together anew: what stood behind their\n"
        "last part goes. All headers of a changed part are folded and encoded anew, the usual ones first,\n"
        "then the others by name, Received too; lines that are no headers go. What was signed and loses a\n"
        "part is signed anew by the sender, which is that of From.\n"
        "Nothing is written, and the status is 1, for a part that does not exist or cannot be dropped;\n"
        "it is 4 when signing fails",
        "kelmime edit --set 'Subject: Minutes' --remove Received --drop-part 2 message.eml > edited.eml");
    add_header_option(verb, "--set", "Replace the header by this one; without a value, remove it",
                      problem_of_header_line);
    add_list(verb, "--remove", _options.removed_headers, "Remove the header", "NAME");
    add_list(
        verb, "--drop-part", _options.dropped_parts,
        "Drop the part of this number in the message as it is, see tree; one that\nwould be left empty goes with it",
        "N");
  }

  void add_compose() {
    CLI::App& verb = add_bare_verb("compose", { .whole_run = compose },
                                   "Write a new message. Date and Message-ID are made where they are not given",
                                   "kelmime compose -H 'From: ann@example.org' -H 'To: bob@example.net' \\\n"
                                   "    -H 'Subject: The plan' --text letter.txt --attach plan.pdf > message.eml");
    add_header_option(verb, "-H,--header", "A header; the last one of a name counts", problem_of_draft_header_line);
    verb.add_option("--text", _options.text_file, "The text, UTF-8")->type_name("FILE");
    CLI::Option* const html =
        verb.add_option("--html", _options.html_file, "The same as HTML, UTF-8")->type_name("FILE");
    add_list(verb, "--attach", _options.attached_files, "An attachment", "FILE");
    add_list(verb, "--related", _options.related_files,
             "An image or the like that the HTML shows as \"cid:\" and the name of the file", "FILE")
        ->needs(html);
  }

  // What reads through a seal runs other programs, where there is one.
  void add_sealed_flag(CLI::App& verb) {
    verb.add_flag("--sealed", _options.is_sealed,
                  "Leave what is signed, encrypted or wrapped in TNEF as it is, and run no other program");
  }

  void add_protocol(CLI::App& verb) {
    add_choice(verb, "--protocol", _protocol, { "openpgp", "smime" },
               "openpgp, with the keys of GnuPG (default), or smime, with certificates");
  }

  void add_security_verbs() {
    add_protocol(add_writing_verb("sign", sign,
                                  "Write a finished message signed by its sender, which is that of From.\n"
                                  "The status is 1 when it is signed or encrypted already, 4 when it cannot be signed",
                                  "kelmime sign message.eml > signed.eml"));
    CLI::App& verb =
        add_writing_verb("encrypt", encrypt,
                         "Write a finished message encrypted for its sender and its recipients (To, Cc, Bcc).\n"
                         "The status is 1 when it is signed or encrypted already, 4 when it cannot be encrypted",
                         "kelmime encrypt --sign message.eml > encrypted.eml");
    verb.add_flag("--sign", _options.signs, "Sign it, too");
    add_protocol(verb);
    add_verb("verify", verify,
             "Write one word on the protection of a whole message, none where there is none. The status\n"
             "is 0 for trustedSignature and validSignature, 4 for missingCommand, 1 for other words",
             "kelmime verify message.eml && echo signed");
    add_verb("decrypt", decrypt,
             "Write the text of an encrypted message. The status is 1, and nothing is written, when it is\n"
             "not encrypted or cannot be decrypted; 1 too when there was more than the encrypted text",
             "kelmime decrypt message.eml | less")
        .add_flag("--json", _options.wants_json, "Write everything, as json does");
  }

  void add_index() {
    CLI::App& verb = add_bare_verb("index", { .whole_run = index },
                                   "Write a JSON line for each of many messages, in the order of the inputs",
                                   "kelmime index -j 4 Maildir/ archive.mbox");
    verb.add_option("INPUT", _options.inputs, "Message files, Maildir folders, mbox files, or \"-\"")->type_name("");
    verb.add_option("-j,--threads", _options.threads, "Threads (default: as many as there are processors)")
        ->check(CLI::Range(1u, 256u))
        ->type_name("N");
  }

  command_t command() {
    if (_options.lists_paths)
      _command = { .whole_run = [](options_t const&, output_t& out) { return list_paths(out); } };
    else if (_command.verb == get && _options.paths.empty())
      throw CLI::RequiredError("PATH");
    else if (_command.whole_run == compose && !_options.inputs.empty())
      throw CLI::ExtrasError(_options.inputs);
    else if (_command.whole_run != compose && _options.inputs.empty() && ::isatty(STDIN_FILENO))
      throw CLI::RequiredError("INPUT");
    else if (_options.inputs.empty())
      _options.inputs = { "-" };
    _options.bodies = _bodies == "none" ? bodies_t::none : _bodies == "all" ? bodies_t::all : bodies_t::text;
    _options.protocol = _protocol == "smime" ? "S/MIME" : "OpenPGP";
    _options.is_coloured = is_coloured(_colour);
    _command.options = _options;
    return _command;
  }

  CLI::App _app{ "Reads every Internet message, and writes them.", "kelmime" };
  std::string _colour = "auto";
  std::string _bodies = "text";
  std::string _protocol = "openpgp";
  options_t _options;
  command_t _command;
};

}  // namespace

std::optional<command_t> read_command_line(int argc, char** argv, exit_status_t& status) {
  return command_line_t().read(argc, argv, status);
}

}  // namespace kel::tool
