#include <security/gpg_arguments.h>

#include <algorithm>
#include <cstdlib>

#include <kel/ascii.h>
#include <kel/preferences.h>
#include <kel/regexp.h>
#include <kel/text.h>
#include <kelmime/openpgp.h>
#include <base/fatal.h>
#include <security/shell_text.h>

namespace kel {

namespace {

// The name goes into a script without quotes.
bool is_digest_name(std::string_view name) {
  constexpr std::size_t longest = 20;
  return !name.empty() && name.size() <= longest &&
         std::ranges::all_of(name, [](char c) { return (ascii::is_alnum(c) && c == ascii::to_upper(c)) || c == '-'; });
}

// What follows "pgp-".
std::string digest_name(std::string_view micalg) {
  std::string const name = text::uppercase(micalg.substr(std::min<std::size_t>(4, micalg.size())));
  return is_digest_name(name) ? name : "SHA256";
}

// Collects options; one value that cannot be quoted spoils them all.
class options_t {
public:
  void add(std::string_view option) { _text += option; }

  void add(std::string_view option, std::string_view value) {
    std::optional<std::string> const quoted = shell_text(value);
    _is_safe = _is_safe && quoted;
    _text.append(option).append(" \"").append(quoted.value_or("")) += '"';
  }

  void add_keys(std::string_view option, std::vector<std::string> const& addresses) {
    for (std::string const& address : addresses)
      add(option, map_address_to_gpg_name(address));
  }

  std::optional<std::string> text() const { return _is_safe ? std::optional(_text) : std::nullopt; }

private:
  std::string _text;
  bool _is_safe = true;
};

}  // namespace

std::optional<std::string> gpg_arguments(std::string_view level, gpg_people_t const& people, std::string_view micalg) {
  bool const encrypts = level != "sign";
  bool const signs = level != "encrypt";
  options_t options;
  options.add("--textmode --armor");
  if (!preferences::string("PwOpenPGPHashFunction").empty())
    options.add(" --digest-algo " + digest_name(micalg));
  if (encrypts) {
    options.add_keys(" --recipient", people.to);
    options.add_keys(" --recipient", people.cc);
    options.add_keys(" --hidden-recipient", people.bcc);
    options.add(" --recipient", people.sender);  // by the bare address: GnuPG takes the key that fits it best
  }
  if (signs)
    options.add(" --local-user", map_address_to_gpg_name(people.sender));
  if (encrypts)
    options.add(" --trust-model always --encrypt");
  if (signs)
    options.add(encrypts ? " --sign" : " --detach-sign");
  return options.text();
}

std::string gpg_hash_name(long number) {
  constexpr struct {
    long number;
    char const* name;
  } names[] = { { 1, "md5" },    { 2, "sha1" },    { 3, "rmd160" }, { 8, "sha256" },
                { 9, "sha384" }, { 10, "sha512" }, { 11, "sha224" } };
  auto const* const found = std::ranges::find(names, number, [](auto const& row) { return row.number; });
  return found == std::end(names) ? "" : found->name;
}

std::string gpg_hash_name(std::string_view status) {
  static regexp::pattern_t const third_field("(?i:[a-z]+ \\d+ (\\d+))");
  for (std::string const& line : lines_with_prefix(status, "[GNUPG:] SIG_CREATED ")) {
    regexp::match_t const match = regexp::search(third_field, line);
    if (!match)
      continue;
    long const number = std::strtol(std::string(match.text(1)).c_str(), nullptr, 10);
    std::string name = gpg_hash_name(number);
    if (!name.empty())
      return name;
    warning("Unknown hash algorithm (%ld)\n", number);
  }
  return "sha256";
}

}  // namespace kel
