// What decides on signatures and encryption, short of running other programs. The first byte chooses the reader.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <kel/text.h>
#include <kelmime/application.h>
#include <kelmime/body.h>
#include <kelmime/openpgp.h>
#include <kelmime/smime.h>
#include <kelmime/unset.h>
#include <security/inline_blocks.h>
#include <security/sender_addresses.h>
#include <security/signature_verdict.h>

namespace {

void require(bool law) {
  if (!law)
    std::abort();
}

// Nobody is trusted here, whatever a message brings along.
void read_cms(std::string const& message) {
  std::string output, status, signer;
  for (std::string const& signed_bytes : { std::string(kel::unset_string), std::string("a\nb\n") }) {
    kel::cms_decrypt("ann@example.org", message.data(), message.size(), signed_bytes, output, status);
    require(status.find("TRUST_FULLY") == status.npos);
  }
  kel::cms_get_signer(message, signer);
  kel::cms_digest_name(message);
}

// More than one sender, or none, is nobody.
void read_status(std::string const& text) {
  auto const lines = kel::text::split(text, "\n");
  std::string const word = kel::parse_security_status(lines, "ann@example.org");
  bool const has_good_signature =
      std::ranges::any_of(lines, [](std::string const& line) { return line.starts_with("GOODSIG"); });
  require(has_good_signature || (word != "trustedSignature" && word != "validSignature"));
  for (auto const engine : { kel::signature_engine_t::openpgp, kel::signature_engine_t::smime }) {
    kel::signature_verdict(lines, { "ann@example.org" }, engine);
    require(kel::signature_verdict(lines, {}, engine) != "trustedSignature");
    require(kel::signature_verdict(lines, { "ann@example.org", "eve@example.org" }, engine) != "trustedSignature");
  }
}

void read_blocks(std::string_view text) {
  for (auto const& block : kel::find_inline_blocks(text).blocks)
    require(block.text.data() >= text.data() && block.text.data() + block.text.size() <= text.data() + text.size());
}

// What is left for quoting has whole lines, and nothing to strip.
void strip_blocks(std::string const& text) {
  std::string stripped, again;
  kel::pgp_stripped_copy(text.data(), text.data() + text.size(), stripped);
  kel::pgp_stripped_copy(stripped.data(), stripped.data() + stripped.size(), again);
  require(again == stripped && (stripped.empty() || stripped.back() == '\n') && stripped.size() <= text.size() + 1);
}

std::string types_of(kel::body_part_t& part) {
  std::string types = part.mime_type() + "[";
  for (kel::body_part_t& child : part.subparts())
    types += types_of(child);
  return types + "]";
}

void write_and_read_again(kel::body_part_t& root) {
  std::vector<char> sent;
  root.generate_rfc822(std::back_inserter(sent));
  types_of(*kel::parse_body(sent.data(), sent.data() + sent.size()));
}

// A part of any shape takes each level, or stays as it is, and a step back brings the content again. Nobody has a key here,
// so that nothing can be sealed.
void change_level(std::string const& message, std::string const& protocol) {
  auto const root = kel::parse_body(message.data(), message.data() + message.size());
  bool const has_one_type = root->headers().count("content-type") <= 1;  // of several the last one is kept
  bool const is_open = has_one_type && root->get_security_level() == "none" && root->can_be_written();
  std::string const types = types_of(*root);
  for (std::string const level : { "sign", "signAndEncrypt", "encrypt", "none" }) {
    root->set_security_level(level, protocol);
    require(!is_open || root->get_security_level() == level);
    if (!root->can_be_written())
      return;
    write_and_read_again(*root);
    std::string const outcome = root->get_security_status(/*whole_message*/ false);
    require(!is_open || level == "none" || outcome == "generationFailed");
  }
  require(!is_open || types_of(*root) == types);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static bool const is_set_up = [] {
    kel::set_preference("PwCertificateFolder", "/nowhere");
    return setenv("PW_GPG", "/nowhere/gpg", /*overwrite*/ 1) == 0;
  }();
  if (size == 0 || !is_set_up)
    return 0;
  std::string const input(reinterpret_cast<char const*>(data) + 1, size - 1);
  switch (data[0] % 8) {
    case 0: read_cms(input); break;
    case 1: read_status(input); break;
    case 2: read_blocks(input); break;
    case 3: kel::undecoded_sender_addresses(input); break;
    case 4: strip_blocks(input); break;
    case 5: change_level(input, "OpenPGP"); break;
    default: change_level(input, "S/MIME");
  }
  return 0;
}
