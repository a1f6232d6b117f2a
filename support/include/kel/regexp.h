// Regular expressions over bytes.
//
// The syntax is Perl's, with these differences:
//   - "^" and "$" match at the beginning and end of every line; \A and \Z mean the text, as usual (\Z also matches
//     before a line feed that ends the text);
//   - (?m:...) lets "." match line feeds, which Perl writes (?s:...);
//   - \k<1> refers back to a group by its number, \k<name> by its name.
// The only line break is the line feed. Bytes of 0x80 and above are characters of no class.
//
// No pattern can run away: a search that backtracks more than its share, which is linear in the length of the text,
// is given up and finds nothing. Patterns are for header values and small texts all the same, since one that restarts
// at every byte may still look at each byte more than once.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kel::regexp {

enum class option_t { none, ignore_case };

// A compiled pattern. Compiled once, never changed, cheap to copy; any number of threads may search with one.
class pattern_t {
public:
  explicit pattern_t(std::string_view pattern, option_t option = option_t::none);

  // A pattern that does not compile finds nothing, and `error` says why and where.
  bool is_valid() const { return _error.empty(); }
  std::string const& error() const { return _error; }

private:
  friend class searcher_t;
  struct compiled_t;

  std::shared_ptr<compiled_t const> _compiled;
  std::string _error;
};

// What a search found. Group 0 is the whole match. The positions point into the text that was searched and live as
// long as it does.
class match_t {
public:
  explicit operator bool() const { return !_groups.empty(); }

  // Number of groups of the pattern, group 0 included; 0 without a match.
  std::size_t count() const { return _groups.size(); }

  // Whether a group took part in the match. A group that did not, or that the pattern does not have, has null
  // positions and an empty text.
  bool matched(std::size_t group) const { return begin(group) != nullptr; }
  char const* begin(std::size_t group = 0) const { return group < count() ? _groups[group].first : nullptr; }
  char const* end(std::size_t group = 0) const { return group < count() ? _groups[group].last : nullptr; }
  std::string_view text(std::size_t group = 0) const { return { begin(group), end(group) }; }

private:
  friend class searcher_t;
  struct group_t {
    char const* first;
    char const* last;
  };

  std::vector<group_t> _groups;
};

// The first match in [first, last). \A, "^" and look-behind take `first` for the beginning of the text.
match_t search(pattern_t const& pattern, char const* first, char const* last);
match_t search(pattern_t const& pattern, std::string_view text);

// The first match in [from, last) of a text that begins at `first`: \A, "^" and look-behind see what stands before
// `from`. For going from match to match.
match_t search_from(pattern_t const& pattern, char const* first, char const* from, char const* last);

}  // namespace kel::regexp
