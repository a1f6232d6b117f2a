// Property lists: what is read and written is read again as the same value.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <kel/plist.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kel::plist::parsed_t const parsed = kel::plist::parse({ reinterpret_cast<char const*>(data), size });
  if (parsed.error)
    return 0;
  kel::plist::parsed_t const again = kel::plist::parse(kel::plist::to_s(parsed.value));
  if (again.error || !(again.value == parsed.value))
    std::abort();
  return 0;
}
