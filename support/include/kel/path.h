// File names and small files. Paths are bytes with "/" between the components.
#pragma once

#include <string>
#include <string_view>

namespace kel::path {

// The last component: "c" of "/a/b/c" and of "/a/b/c/". Nothing for "/" and for the empty path.
std::string name(std::string_view path);

// The extension of the last component, with its dot: ".gz" of "x.tar.gz". A name such as ".profile" has none.
std::string extension(std::string_view path);

// Both with one "/" between them. An absolute `second` stands alone, an empty side adds nothing.
std::string join(std::string_view first, std::string_view second);

// A path for a file or folder of our own in the folder for temporary files, made unguessable by 122 random bits.
// Nothing is created.
std::string temp(std::string_view stem);

bool exists(std::string const& path);

// The bytes of a file; the three bytes EF BF BF when there is no such file or it cannot be read.
std::string content(std::string const& path);

}  // namespace kel::path
