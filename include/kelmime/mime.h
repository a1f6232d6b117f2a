// The table between MIME types and file name extensions.
#pragma once

#include <string>

#include <kelmime/export.h>

namespace kel::mime {

// The extension that people expect for a type ("jpg" for "image/jpeg"), without a dot; empty when none is known. The
// built-in table comes first, the system's mime.types behind it.
KELMIME_EXPORT std::string extension_for_mime_type(std::string const& mime_type);

// The type for an extension (without a dot, in any case); empty when none is known.
KELMIME_EXPORT std::string mime_type_for_extension(std::string const& extension);

// The type for a file's name; "application/octet-stream" when its extension says nothing.
KELMIME_EXPORT std::string mime_type_for_filepath(std::string const& path);

}  // namespace kel::mime
