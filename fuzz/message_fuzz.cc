// Whole messages: the tree is unfolded to its leaves, and everything that a mail program asks is asked of every part.
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include <kelmime/body.h>

namespace {

void require(bool holds) {
  if (!holds)
    std::abort();
}

void ask(kel::body_part_t& part) {
  require(part.decoded_begin() <= part.decoded_end());
  require(part.raw_headers().size() + part.raw_body().size() == part.raw_data().size());
  part.mime_type();
  part.get_suggested_filename();
  part.get_description();
  part.get_preferred_subpart();
  part.get_header("subject", "");
  part.get_header("content-type.parameter.split.charset", "");
  std::vector<std::string> values;
  part.get_header_bodies({ "to", "split", "address" }, values);
  part.get_resent_recipients(values);
  part.get_delivery_headers({ "a@b.c" });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  auto const* const begin = reinterpret_cast<char const*>(data);
  auto const message = kel::parse_body(begin, begin + size);
  require(message->raw_data() == std::string_view(begin, size));

  std::vector<kel::body_part_t*> waiting = { message.get() };
  while (!waiting.empty()) {
    kel::body_part_t& part = *waiting.back();
    waiting.pop_back();
    ask(part);
    for (std::size_t i = 0; i < part.num_subparts(); ++i)
      waiting.push_back(&part.subpart(i));
  }

  kel::decode_text_bodies(*message);
  std::vector<kel::mime_error_t> records;
  message->get_errors({}, records);
  require(records.size() == message->num_errors());
  return 0;
}
