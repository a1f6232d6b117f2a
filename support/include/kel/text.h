// Small operations on texts. Letter case is that of ASCII; other bytes pass unchanged.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kel::text {

// As printf, into a string of whatever length is needed. The format is a literal, never text from outside.
[[gnu::format(printf, 1, 2)]] std::string format(char const* format, ...);

// The pieces between the separators, empty ones included: there is always one piece more than separators. An empty
// separator does not split.
std::vector<std::string> split(std::string_view text, std::string_view separator);

std::string join(std::span<std::string const> pieces, std::string_view separator);

// Without the characters of `set` at both ends.
std::string trim(std::string_view text, std::string_view set = " \t\n\v\f\r");

std::string lowercase(std::string_view text);
std::string uppercase(std::string_view text);
void lowercase_in_place(std::string& text);

// A byte count for people: "1 byte", "812 bytes", "1.5 KB", "3.0 MB" ... "16.0 EB". A unit is 1024 of the one before,
// one decimal is shown, rounded, after a point in every locale.
std::string format_size(std::uint64_t bytes);

}  // namespace kel::text
