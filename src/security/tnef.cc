// Two runs of the decoder: one lists, one extracts into a private folder. Both are fed on standard input, so that nobody can
// change what is decoded between them.
//
// The listing is the sender's word. It is used for display names, since the decoder escapes the names of the files that it
// creates; what is taken is decided by what lies in the folder. A listing has a line for each file: the display name in
// whatever charset the sender had, a separator, the name of the created file. Files of equal names overwrite each other.
//
// The decoder aborts where it does not understand the data, often in garbage behind the last attachment; then there is no
// listing, but the files before it are there.
#include <security/tnef.h>

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kel/application.h>
#include <kel/path.h>
#include <kel/preferences.h>
#include <kel/temporary.h>
#include <kel/text.h>
#include <base/fatal.h>
#include <base/utf8.h>
#include <header/parameters.h>
#include <kelmime/bytes.h>
#include <kelmime/charset.h>
#include <kelmime/openpgp.h>
#include <kelmime/unset.h>
#include <security/shell_text.h>

namespace kel {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t most_files = 1000;
constexpr std::size_t longest_name = 255;

struct extracted_file_t {
  std::string name;
  std::string bytes;
};

void trace(std::string const& line) {
  if (preferences::boolean("PwDebugTNEF"))
    std::fputs(line.c_str(), stderr);
}

void warn_of_skipped(std::string_view name) {
  warning("Skipped '%s' in tnef attachment\n", printable(name).c_str());
}

// --- Running the decoder -----------------------------------------------------------------------------------------

// The attachment, lying under a known name while the decoder runs, for whoever looks into what went wrong. That place is
// open to all users: what others put there is left alone, and then the file lies in a private folder.
class input_file_t {
public:
  explicit input_file_t(std::string_view bytes) {
    remove_leftover();
    _is_ours = write_private_file(place, bytes);
    if (!_is_ours)
      _folder.emplace("tnef").write("tnef_input", bytes);
  }
  ~input_file_t() {
    if (_is_ours)
      unlink(place);
  }
  input_file_t(input_file_t const&) = delete;
  input_file_t& operator=(input_file_t const&) = delete;

private:
  static constexpr char const* place = "/tmp/tnef_input";

  // From a process that did not come to its end.
  static void remove_leftover() {
    struct stat status;
    if (lstat(place, &status) == 0 && status.st_uid == geteuid())
      unlink(place);
  }

  bool _is_ours = false;
  std::optional<private_folder_t> _folder;
};

std::map<std::string, std::string> decoder_environment() {
  std::string const application = fs::path(application_t::path()).parent_path().string();
  auto environment = environment_variables();
  environment.emplace("PW_TNEF", path::join(application, "Contents/SharedSupport/bin/tnef"));
  return environment;
}

// For people: what was said last.
std::string last_line(std::string_view text) {
  std::string const trimmed = text::trim(text, "\n");
  return printable(utf8::prefix(trimmed.substr(trimmed.rfind('\n') + 1), 200));
}

// What the decoder wrote; nothing when it failed, since then that is at best half of the truth.
std::string run_decoder(std::string const& args, std::string_view input, command_limits_t const& limits) {
  std::string const script = text::format("#!/usr/bin/env bash\n\"${PW_TNEF}\" %s\n", args.c_str());
  std::string output, error;
  command_result_t const result = run_command(decoder_environment(), script, input, output, error, limits);
  if (result)
    return output;
  std::string const reason = result.problem.empty() ? last_line(error.empty() ? output : error) : result.problem;
  warning("Failed running tnef decoder (%s)\n", reason.c_str());
  return "";
}

// --- Names -------------------------------------------------------------------------------------------------------

// Little-endian; 0 behind the end.
std::size_t number_at(std::string_view bytes, std::size_t offset, std::size_t width) {
  std::size_t number = 0;
  for (std::size_t i = width; i-- > 0;)
    number = number << 8 | (offset + i < bytes.size() ? byte_value(bytes[offset + i]) : 0);
  return number;
}

// The charset that the sender says 8-bit names are in: the attribute attOemCodepage, which the decoder does not look at. It
// stands before the first attachment. Empty when there is none.
//
//    signature 4, key 2, then attributes: level 1, identifier 4, length 4, data, checksum 2
std::string stated_charset(std::string_view bytes) {
  constexpr std::size_t message_level = 1;
  constexpr std::size_t code_page = 0x00069007;
  std::size_t at = 6;
  while (at < bytes.size() && number_at(bytes, at, 1) == message_level) {
    std::size_t const length = number_at(bytes, at + 5, 4);
    if (number_at(bytes, at + 1, 4) == code_page)
      return text::format("cp%zu", number_at(bytes, at + 9, 4));
    at += 9 + length + 2;
  }
  return "";
}

// Display names as text.
class name_reader_t {
public:
  explicit name_reader_t(body_part_t& part) : _part(part), _charset(stated_charset(part.decoded_body())) {}

  std::string listed(std::string_view name) const {
    std::string text(name);
    if (!utf8::is_valid(name.begin(), name.end())) {
      text.clear();
      std::string charset = _charset;
      convert_to_utf8(
          name.begin(), name.end(), std::back_inserter(text), charset, [&] { return _part.get_guessed_charset(); },
          /*errors*/ nullptr);
    }
    return printable(utf8::prefix(text, longest_name));
  }

  // Of a file that was not listed. Its name is escaped in the way of RFC 2231.
  std::string unlisted(std::string const& file) const {
    auto const value = header::parse_structured_value("attachment; filename*=" + _charset + "''" + file);
    std::string const* const name = value.parameter("filename");
    return listed(name ? *name : file);
  }

private:
  body_part_t& _part;
  std::string _charset;
};

// --- What was extracted ------------------------------------------------------------------------------------------

struct candidate_t {
  std::string file;  // in the folder
  std::string name;
};

// The folder holds whatever the data made the decoder create.
std::set<std::string> names_in(std::string const& folder) {
  std::set<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
    names.insert(entry->path().filename().string());
  return names;
}

// Each file once: those that are listed, in that order, then the others.
std::vector<candidate_t> find_candidates(std::string const& folder, std::string_view listing,
                                         name_reader_t const& names) {
  constexpr std::string_view separator = "\t|\t";
  std::set<std::string> lying = names_in(folder);
  std::vector<candidate_t> candidates;
  for (std::string const& line : text::split(listing, "\n")) {
    if (line.empty())
      continue;
    std::size_t const end = line.rfind(separator);
    std::string const name = names.listed(line.substr(0, end));
    std::string const file = path::name(end == line.npos ? line : line.substr(end + separator.size()));
    if (lying.erase(file) > 0)
      candidates.push_back({ file, name });
    else
      warn_of_skipped(name);
  }
  for (std::string const& file : lying)
    candidates.push_back({ file, names.unlisted(file) });
  return candidates;
}

// The bytes of a regular file that has no other name: not of a link, nor of anything that reading would wait for.
std::optional<std::string> content_of(std::string const& path, std::size_t most) {
  std::error_code error;
  bool const is_readable = fs::symlink_status(path, error).type() == fs::file_type::regular &&
                           fs::hard_link_count(path, error) == 1 && fs::file_size(path, error) <= most;
  std::string bytes = is_readable ? path::content(path) : unset_string;
  return bytes == unset_string ? std::nullopt : std::optional(std::move(bytes));
}

std::vector<extracted_file_t> take_files(std::string const& folder, std::vector<candidate_t> const& candidates,
                                         std::size_t most_bytes) {
  std::vector<extracted_file_t> files;
  for (auto const& [file, name] : candidates) {
    auto bytes = files.size() < most_files ? content_of(path::join(folder, file), most_bytes) : std::nullopt;
    if (!bytes) {
      warn_of_skipped(name);
      continue;
    }
    trace(text::format("TNEF: Filename: '%s'\n", name.c_str()));
    most_bytes -= bytes->size();
    files.push_back({ name, std::move(*bytes) });
  }
  return files;
}

// Texts are listed only where they are extracted, too, so the preference holds for both runs.
std::vector<extracted_file_t> extract(body_part_t& part, command_limits_t const& limits) {
  std::string_view const bytes = part.decoded_body();
  input_file_t const input(bytes);
  private_folder_t const folder("tnef");
  std::optional<std::string> const quoted = shell_text(folder.path());
  if (!folder.exists() || !quoted) {
    warning("Failed running tnef decoder (no folder for its files)\n");
    return {};
  }
  std::string const bodies = preferences::boolean("PwTNEFSaveBodies") ? " --save-body --body-pref=ALL " : "";
  std::string const list_args = bodies + "--unix-paths --list";
  std::string const args = bodies + text::format("--unix-paths --overwrite --directory \"%s\"", quoted->c_str());
  trace(text::format("TNEF: Location: %s\n", folder.path().c_str()));
  trace(text::format("TNEF: List arguments: %s\n", list_args.c_str()));
  std::string const listing = run_decoder(list_args, bytes, limits);
  trace(text::format("TNEF: Arguments: %s\n", args.c_str()));
  run_decoder(args, bytes, limits);
  trace(text::format("TNEF: Output size: %zu\n", listing.size()));
  return take_files(folder.path(), find_candidates(folder.path(), listing, name_reader_t(part)), limits.captured_bytes);
}

// --- What the reader sees ----------------------------------------------------------------------------------------

std::string note_on(std::size_t count) {
  if (count == 0)
    return "\n\nNo attachments were found within the TNEF attachment above.";
  std::string const subject = count == 1 ? "attachment has" : text::format("%zu attachments have", count);
  return "\n\nThe following " + subject +
         " been extracted from the TNEF attachment above. Note that TNEF is a proprietary and non-standard format. The "
         "sender should be notified about this and encouraged to take steps to avoid sending such attachments in the "
         "future.";
}

// Written as a part of something: what has no holder would become a message, with a date.
std::vector<char> entity_of(std::vector<extracted_file_t> const& files) {
  std::string const note = note_on(files.size());
  body_part_t holder;
  body_part_t& content = holder.push_body_part();
  content.set_body("text", "plain", unset_string, note.data(), note.data() + note.size(), /*flow*/ false);
  for (auto const& [name, bytes] : files)
    content.add_attachment(bytes, name, "application/octet-stream");
  std::vector<char> entity;
  content.generate_rfc822_body_with_headers(std::back_inserter(entity));
  return entity;
}

}  // namespace

bool is_tnef(body_part_t& part) {
  std::string const type = part.mime_type();
  if (type == "application/ms-tnef" || type == "application/vnd.ms-tnef")
    return true;
  std::string const name = text::lowercase(part.get_filename());
  return type == "application/octet-stream" && (name == "winmail.dat" || name == "win.dat" || name.ends_with(".tnef"));
}

void unpack_tnef(body_part_t& part, command_limits_t const& limits) {
  if (part.has_subparts(/*decode*/ true))
    return;
  std::string const subtype = part.get_header_lowercased("content-type.subtype", "");
  trace(text::format("TNEF: Found %s/%s (%s)\n", printable(part.type()).c_str(), printable(subtype).c_str(),
                     printable(part.get_filename()).c_str()));
  trace("TNEF: Deflating body part\n");
  std::vector<extracted_file_t> const files = extract(part, limits);
  std::vector<char> entity = entity_of(files);
  trace(text::format("TNEF: MIME output size: %zu\n", entity.size()));
  part.add_body_part(entity);
  trace(text::format("TNEF: %zu body parts added\n", files.size() + 1));
}

}  // namespace kel
