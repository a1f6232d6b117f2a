// Folding of header lines.
//
// Unfolding drops the line feed and reads the blank behind it as one space, or as nothing if a blank stands before the line
// feed as well. So there are three ways to fold, and two of them give the line back as it was:
//
//   "a b"   before a space      "a", " b"
//   "a\tb"  behind a tab        "a\t", " b"    with an added space, since a tab would come back as a space
//   "a,b"   where no blank is   "a,", " b"     with an added space, which stays
#include <header/fold.h>

#include <algorithm>

#include <kel/ascii.h>

namespace kel {

namespace {

constexpr std::string_view blanks = " \t";

// The first place at or behind the end of an element where a line may be folded: before a space or behind a tab, or, where no
// white space of any kind comes before, behind a comma or between angle brackets. The end if no text follows.
std::size_t place_to_fold(std::string_view line, std::size_t at) {
  for (bool may_add_space = true; at < line.size(); ++at) {
    if (ascii::is_blank(line[at - 1]) || line[at] == ' ')
      break;
    may_add_space = may_add_space && !ascii::is_space(line[at]);
    if (may_add_space && (line[at - 1] == ',' || (line[at - 1] == '>' && line[at] == '<')))
      break;
  }
  return line.find_first_not_of(blanks, at) == line.npos ? line.size() : at;
}

// Cuts a text before its blanks, or behind the tab where they begin with one. Blanks at its end stay with the last word.
class word_cutter_t {
public:
  enum class quotes_t { whole, cut };

  // With `quotes_t::whole`, the quoted value of a parameter belongs to one word.
  word_cutter_t(std::string_view text, quotes_t quotes) : _rest(text), _knows_quotes(quotes == quotes_t::whole) {}

  bool next(std::string_view& word) {
    std::size_t end = _rest.find_first_not_of(blanks);
    while (end < _rest.size() && !ascii::is_blank(_rest[end]))
      end = behind_quotes(end) + 1;
    if (end < _rest.size() && _rest[end] == '\t')
      ++end;
    if (_rest.find_first_not_of(blanks, end) == _rest.npos)
      end = _rest.size();
    word = _rest.substr(0, end);
    _rest.remove_prefix(end);
    return !word.empty();
  }

private:
  // The closing quote of the parameter value that begins at a byte, or the byte itself. Once a quote was found to be unclosed,
  // quotes are text.
  std::size_t behind_quotes(std::size_t at) {
    if (!_knows_quotes || _rest[at] != '"' || at == 0 || _rest[at - 1] != '=')
      return at;
    for (std::size_t close = at + 1; close < _rest.size(); ++close) {
      if (_rest[close] == '\\')
        ++close;
      else if (_rest[close] == '"')
        return close;
    }
    _knows_quotes = false;
    return at;
  }

  std::string_view _rest;
  bool _knows_quotes;
};

// Puts the pieces of a line one after the other.
class folded_line_t {
public:
  folded_line_t(std::string_view name, std::string& out, std::size_t soft, std::size_t hard)
      : _out(out), _soft(std::min(soft, hard)), _hard(hard) {
    append(name);
    _holds_text = false;
  }

  void add_element(std::string_view element) {
    if (add_if_it_fits(element))
      return;
    word_cutter_t words(element, word_cutter_t::quotes_t::whole);
    for (std::string_view word; words.next(word);)
      add_word(word);
  }

private:
  void add_word(std::string_view word) {
    if (add_if_it_fits(word))
      return;
    if (word.size() < _hard) {
      add_alone(word);
      return;
    }
    word_cutter_t pieces(word, word_cutter_t::quotes_t::cut);
    for (std::string_view piece; pieces.next(piece);) {
      if (!add_if_it_fits(piece))
        add_alone(piece);
    }
  }

  // Adds a piece to this line or to a new one, if either has room for it.
  bool add_if_it_fits(std::string_view piece) {
    if (_column + piece.size() > _soft) {
      if (piece.size() + (begins_line(piece) ? 0 : 1) > _soft)
        return false;
      fold_before(piece);
    }
    append(piece);
    return true;
  }

  // The name keeps the company of a piece that would be too long on a line of its own as well.
  void add_alone(std::string_view piece) {
    if (_column != 0 && (_holds_text || _column + piece.size() > _hard))
      fold_before(piece);
    append(piece);
  }

  // Whether the piece brings the blank that a continuation line begins with.
  bool begins_line(std::string_view piece) const {
    return piece.front() == ' ' && !(_column != 0 && ascii::is_blank(_out.back()));
  }

  void fold_before(std::string_view piece) {
    std::string_view const separator = begins_line(piece) ? "\n" : "\n ";
    _out += separator;
    _column = separator.size() - 1;
  }

  void append(std::string_view piece) {
    _out += piece;
    _column += piece.size();
    _holds_text = true;
  }

  std::string& _out;
  std::size_t const _soft;
  std::size_t const _hard;
  std::size_t _column = 0;
  bool _holds_text = false;  // besides the name
};

}  // namespace

void fold_line(std::string_view line, std::vector<std::size_t> const& ends, std::string& out, std::size_t soft,
               std::size_t hard) {
  if (!needs_folding(line, soft, hard) || line.empty()) {
    out += line;
    return;
  }
  std::size_t start = line.find(':') + 1;  // 0 without a name
  folded_line_t folded(line.substr(0, start), out, soft, hard);
  std::size_t text = line.find_first_not_of(blanks, start);
  for (std::size_t const end : ends) {
    if (end <= text)
      continue;
    std::size_t const place = place_to_fold(line, end);
    folded.add_element(line.substr(start, place - start));
    start = place;
    text = line.find_first_not_of(blanks, start);
  }
  if (start < line.size())
    folded.add_element(line.substr(start));
}

}  // namespace kel
