// What decides on signatures and encryption, short of running other programs. The first byte chooses the reader.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <kel/text.h>
#include <kelmime/application.h>
#include <kelmime/openpgp.h>
#include <kelmime/smime.h>
#include <kelmime/unset.h>
#include <security/inline_blocks.h>
#include <security/sender_addresses.h>
#include <security/signature_verdict.h>

namespace {

// Nobody is trusted here, whatever a message brings along.
void read_cms(std::string const& message) {
  std::string output, status, signer;
  for (std::string const& signed_bytes : { std::string(kel::unset_string), std::string("a\nb\n") }) {
    kel::cms_decrypt("ann@example.org", message.data(), message.size(), signed_bytes, output, status);
    if (status.find("TRUST_FULLY") != status.npos)
      std::abort();
  }
  kel::cms_get_signer(message, signer);
  kel::cms_digest_name(message);
}

// More than one sender, or none, is nobody.
void read_status(std::string const& text) {
  auto const lines = kel::text::split(text, "\n");
  for (auto const engine : { kel::signature_engine_t::openpgp, kel::signature_engine_t::smime }) {
    kel::signature_verdict(lines, { "ann@example.org" }, engine);
    if (kel::signature_verdict(lines, {}, engine) == "trustedSignature" ||
        kel::signature_verdict(lines, { "ann@example.org", "eve@example.org" }, engine) == "trustedSignature")
      std::abort();
  }
}

void read_blocks(std::string_view text) {
  for (auto const& block : kel::find_inline_blocks(text).blocks) {
    if (block.text.data() < text.data() || block.text.data() + block.text.size() > text.data() + text.size())
      std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static bool const is_set_up = (kel::set_preference("PwCertificateFolder", "/nowhere"), true);
  if (size == 0 || !is_set_up)
    return 0;
  std::string const input(reinterpret_cast<char const*>(data) + 1, size - 1);
  switch (data[0] % 4) {
    case 0: read_cms(input); break;
    case 1: read_status(input); break;
    case 2: read_blocks(input); break;
    default: kel::undecoded_sender_addresses(input);
  }
  return 0;
}
