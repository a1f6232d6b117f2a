// One pass. A run of words is found whole and written together at its right end, so that the scan can go on in bytes
// that lie side by side; what is left of the run is finished. A "?" ends both charset and text, so each byte is
// looked at by a handful of words only, however hostile the text is.
#include <header/join_encoded_words.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include <kel/ascii.h>

namespace kel {

namespace {

// Just behind the prefix "=?charset?letter?" at `start`, or null.
char* find_prefix_end(char* start, char* last) {
  char* const charset = start + 2;
  char* const mark = std::find(charset, last, '?');
  if (mark == charset || last - mark < 3 || ascii::is_space(mark[1]) || mark[2] != '?')
    return nullptr;
  return mark + 3;
}

// The "?=" that ends the encoded text at `text`, or null.
char* find_text_end(char* text, char* last) {
  char* const mark = std::find(text, last, '?');
  return last - mark >= 2 && mark[1] == '=' ? mark : nullptr;
}

// The texts of the words that begin at `start` and share its prefix, in order.
std::vector<std::string_view> texts_of_run(char* start, char* text, char* last) {
  std::vector<std::string_view> texts;
  std::string_view const prefix(start, text);
  while (char* const text_end = find_text_end(text, last)) {
    texts.emplace_back(text, text_end);
    char* const behind = text_end + 2;
    char* const next = std::find_if_not(behind, last, ascii::is_space);
    if (next == behind || !std::string_view(next, last).starts_with(prefix))
      break;
    text = next + prefix.size();
  }
  return texts;
}

// Moves the prefix and all texts to the last one of them; returns where the joined word begins.
char* join_run(std::string_view prefix, std::vector<std::string_view> const& texts) {
  char* start = const_cast<char*>(texts.back().data());
  auto const prepend = [&start](std::string_view piece) {
    start -= piece.size();
    std::memmove(start, piece.data(), piece.size());
  };
  std::for_each(texts.rbegin() + 1, texts.rend(), prepend);
  prepend(prefix);
  return start;
}

}  // namespace

std::string join_encoded_words(std::string text) {
  constexpr std::string_view marker = "=?";
  std::string joined;
  char* unwritten = text.data();
  char* const last = unwritten + text.size();
  for (char* at = unwritten; (at = std::search(at, last, marker.begin(), marker.end())) != last; at += 2) {
    char* const prefix_end = find_prefix_end(at, last);
    if (!prefix_end)
      continue;
    std::vector<std::string_view> const texts = texts_of_run(at, prefix_end, last);
    if (texts.size() < 2)
      continue;
    joined.append(unwritten, at);
    at = unwritten = join_run({ at, prefix_end }, texts);
  }
  joined.append(unwritten, last);
  return joined;
}

}  // namespace kel
