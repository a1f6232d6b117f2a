// GnuPG with keys of the test's own: a private home under a short path (a long one breaks the agent), no network, no
// passphrases. The agent goes with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include <kel/environment.h>
#include <kel/run_command.h>
#include <kel/text.h>
#include <kelmime/openpgp.h>
#include <helpers/surroundings.h>

namespace kel {

class gpg_home_t {
public:
  gpg_home_t() : _variable("GNUPGHOME", create()) {}
  ~gpg_home_t() {
    std::string output, error;
    run_command(basic_environment(), "gpgconf --kill all", "", output, error);
    std::error_code gone;  // the agent removes its own sockets meanwhile
    while (std::filesystem::exists(path()) && std::filesystem::remove_all(path(), gone) == static_cast<std::uintmax_t>(-1))
      continue;
  }

  // What `gpg` prints with these options; anything but success is a failure of the test.
  static std::string gpg(std::string const& options, std::string_view input = "") {
    std::string output, error;
    command_result_t const result =
        run_command(basic_environment(), "\"$PW_GPG\" --quiet --batch --no-tty --passphrase '' " + options, input, output, error);
    EXPECT_TRUE(result) << options << ": " << error;
    return output;
  }

  // A key for signing and encrypting, ultimately trusted since it is ours; answers its fingerprint.
  static std::string make_key(std::string const& user_id, std::string const& options = "", std::string const& expires = "never") {
    gpg(options + " --quick-gen-key \"" + user_id + "\" ed25519 cert,sign " + expires);
    std::string const key = fingerprint(user_id);
    gpg(options + " --quick-add-key " + key + " cv25519 encr " + expires);
    return key;
  }

  static std::string fingerprint(std::string const& user_id) {
    return text::split(lines_with_prefix(gpg("--with-colons --list-keys \"" + user_id + "\""), "fpr:").at(0), ":").at(8);
  }

  // 2: nothing is known of the owner, 4: marginally, 5: fully, 6: ultimately trusted.
  static void set_owner_trust(std::string const& key, int trust) {
    gpg("--import-ownertrust", key + ":" + std::to_string(trust) + ":\n");
    gpg("--check-trustdb");
  }

  static void revoke(std::string const& key) {
    std::ifstream file(path() + "/openpgp-revocs.d/" + key + ".rev");
    std::string text(std::istreambuf_iterator<char>(file), {});
    gpg("--import", text.erase(text.find(":-----BEGIN"), 1));
  }

  static std::string path() { return std::getenv("GNUPGHOME"); }

private:
  static std::string create() {
    std::string path = "/tmp/kg_XXXXXX";
    EXPECT_NE(mkdtemp(path.data()), nullptr);
    std::ofstream(path + "/gpg.conf") << "no-auto-key-locate\ndisable-dirmngr\nno-emit-version\n";
    return path;
  }

  variable_guard_t _variable;
};

}  // namespace kel
