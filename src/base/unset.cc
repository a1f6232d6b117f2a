#include <kelmime/unset.h>

namespace kel {

std::string const unset_string = "\xEF\xBF\xBF";

}  // namespace kel
