// What the command line asked for.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kel::tool {

// The exit statuses; of several messages the highest counts.
enum exit_status_t : int {
  done = 0,
  negative = 1,    // no value, deviations found, not verified or decrypted, a change that cannot be made
  misused = 2,     // wrong usage
  unreadable = 3,  // an input could not be read, or an output not written
  failed = 4,      // an external program is missing, or could not sign or encrypt
};

enum class bodies_t { none, text, all };

struct options_t {
  std::vector<std::string> inputs;
  bool is_coloured = false;

  bool wants_raw = false;               // headers
  std::vector<std::string> paths;       // get
  std::optional<std::string> fallback;  // get
  bool lists_paths = false;             // get
  bodies_t bodies = bodies_t::text;     // json, decrypt
  bool is_sealed = false;               // show, json, extract
  std::string folder = ".";             // extract
  std::string part;                     // extract
  bool to_standard_output = false;      // extract
  unsigned threads = 0;                 // index; 0: as many as there are processors

  bool encodes_headers = false;              // reencode; neither of the two: both
  bool encodes_lines = false;                // reencode
  std::vector<std::string> set_headers;      // edit, compose; "Name: value", checked
  std::vector<std::string> removed_headers;  // edit
  std::vector<std::string> dropped_parts;    // edit; numbers
  std::optional<std::string> text_file;      // compose, like the following
  std::optional<std::string> html_file;
  std::vector<std::string> attached_files;
  std::vector<std::string> related_files;

  std::string protocol;     // sign, encrypt; "OpenPGP" or "S/MIME"
  bool signs = false;       // encrypt
  bool wants_json = false;  // decrypt
};

}  // namespace kel::tool
