// Signing and encrypting while a message is written.
#include <kelmime/body.h>

namespace kel {

void body_part_t::seal() {}

}  // namespace kel
