// Patterns, played by PCRE2 in its byte mode.
//
// A pattern becomes machine code at its first search and not when it is made: a table of hundreds of patterns of which
// a few are used is built in no time. What a search needs beside the pattern is kept per thread.
#include <kel/regexp.h>

#include <algorithm>
#include <cstdint>
#include <mutex>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <kel/ascii.h>

namespace kel::regexp {

namespace {

template <auto release>
struct released_by_t {
  template <typename T>
  void operator()(T* resource) const {
    release(resource);
  }
};
template <typename T, auto release>
using handle_t = std::unique_ptr<T, released_by_t<release>>;

// Backtracking steps allowed to one attempt at matching, in all and per byte of the text.
constexpr std::uint32_t steps = 100'000;
constexpr std::uint32_t steps_per_byte = 32;

// The memory of a search that outgrows the machine code's stack, in KiB.
constexpr std::uint32_t interpreter_memory = 32 << 10;

// --- Our syntax into PCRE2's ---

class translation_t {
public:
  explicit translation_t(std::string_view pattern) : _rest(pattern) {}

  std::string result() {
    while (!_rest.empty()) {
      switch (_rest.front()) {
        case '\\': translate_escape(); break;
        case '[': copy_class(); break;
        case '(': translate_group(); break;
        default: copy(1); break;
      }
    }
    return std::move(_out);
  }

private:
  void copy(std::size_t count) {
    _out += _rest.substr(0, count);
    _rest.remove_prefix(std::min(count, _rest.size()));
  }

  void translate_escape() {
    if (!_rest.starts_with("\\k<"))
      return copy(2);
    std::size_t const end = std::min(_rest.find('>'), _rest.size());
    std::string_view const group = _rest.substr(3, end - 3);
    if (group.empty() || !std::ranges::all_of(group, ascii::is_digit))
      return copy(end + 1);
    _out.append("\\g{").append(group).append("}");
    _rest.remove_prefix(std::min(end + 1, _rest.size()));
  }

  // "[", "(?" and "\k" mean something else between brackets; a "]" that comes first is one of the characters.
  void copy_class() {
    copy(_rest.starts_with("[^") ? 2 : 1);
    if (_rest.starts_with("]"))
      copy(1);
    while (!_rest.empty() && _rest.front() != ']') {
      if (_rest.starts_with("[:") && _rest.find(":]") != _rest.npos) {
        copy(_rest.find(":]") + 2);
      } else {
        copy(_rest.front() == '\\' ? 2 : 1);
      }
    }
  }

  void translate_group() {
    if (!_rest.starts_with("(?"))
      return copy(1);
    std::size_t const end = std::min(_rest.find_first_not_of("imsxnJU-", 2), _rest.size());
    bool const has_options = end < _rest.size() && (_rest[end] == ':' || _rest[end] == ')');
    std::size_t const written = _out.size();
    copy(end);
    if (has_options)
      std::replace(_out.begin() + static_cast<std::ptrdiff_t>(written), _out.end(), 'm', 's');
  }

  std::string_view _rest;
  std::string _out;
};

std::string message_of(int error, std::size_t offset) {
  PCRE2_UCHAR text[256] = {};
  pcre2_get_error_message(error, text, sizeof text);
  return "at offset " + std::to_string(offset) + ": " + reinterpret_cast<char const*>(text);
}

using compile_context_t = handle_t<pcre2_compile_context, pcre2_compile_context_free>;

}  // namespace

struct pattern_t::compiled_t {
  handle_t<pcre2_code, pcre2_code_free> code;
  mutable std::once_flag is_machine_code;
};

pattern_t::pattern_t(std::string_view pattern, option_t option) {
  compile_context_t const context(pcre2_compile_context_create(nullptr));
  pcre2_set_newline(context.get(), PCRE2_NEWLINE_LF);

  std::string const translated = translation_t(pattern).result();
  std::uint32_t const options =
      PCRE2_MULTILINE | PCRE2_NEVER_UTF | PCRE2_NEVER_UCP | (option == option_t::ignore_case ? PCRE2_CASELESS : 0U);
  int error = 0;
  std::size_t offset = 0;
  auto compiled = std::make_shared<compiled_t>();
  compiled->code.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(translated.data()), translated.size(), options,
                                     &error, &offset, context.get()));
  if (!compiled->code)
    _error = message_of(error, offset);
  _compiled = std::move(compiled);
}

// What one thread keeps for its searches.
class searcher_t {
public:
  match_t search(pattern_t const& pattern, char const* first, char const* from, char const* last) {
    match_t match;
    pcre2_code* const code = pattern._compiled->code.get();
    if (!code)
      return match;
    std::call_once(pattern._compiled->is_machine_code, pcre2_jit_compile, code, PCRE2_JIT_COMPLETE);
    make_room_for(code);

    std::string_view const text = first ? std::string_view(first, last) : std::string_view("");
    std::size_t const start = first ? static_cast<std::size_t>(from - first) : 0;
    int found = run(code, text, start, 0);
    if (found == PCRE2_ERROR_JIT_STACKLIMIT) {
      found = run(code, text, start, PCRE2_NO_JIT);
      read_groups(match, text.data(), found);
      _data.reset();  // it may hold on to much memory now
      return match;
    }
    read_groups(match, text.data(), found);
    return match;
  }

private:
  void make_room_for(pcre2_code const* code) {
    std::uint32_t groups = 0;
    pcre2_pattern_info(code, PCRE2_INFO_CAPTURECOUNT, &groups);
    if (!_data || pcre2_get_ovector_count(_data.get()) < groups + 1)
      _data.reset(pcre2_match_data_create(std::max(groups + 1, 16U), nullptr));
    _groups = groups + 1;
  }

  int run(pcre2_code const* code, std::string_view text, std::size_t start, std::uint32_t options) {
    std::uint64_t const limit = steps + std::uint64_t(steps_per_byte) * text.size();
    pcre2_set_match_limit(_context.get(), static_cast<std::uint32_t>(std::min<std::uint64_t>(limit, UINT32_MAX)));
    pcre2_set_heap_limit(_context.get(), interpreter_memory);
    pcre2_jit_stack_assign(_context.get(), nullptr, _stack.get());
    return pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), start, options, _data.get(),
                       _context.get());
  }

  void read_groups(match_t& match, char const* text, int found) const {
    if (found <= 0)
      return;
    std::size_t const* const offsets = pcre2_get_ovector_pointer(_data.get());
    match._groups.reserve(_groups);
    for (std::uint32_t i = 0; i < _groups; ++i) {
      bool const took_part = offsets[2 * i] != PCRE2_UNSET;
      match._groups.push_back(took_part ? match_t::group_t{ text + offsets[2 * i], text + offsets[2 * i + 1] }
                                        : match_t::group_t{ nullptr, nullptr });
    }
  }

  handle_t<pcre2_match_context, pcre2_match_context_free> _context{ pcre2_match_context_create(nullptr) };
  handle_t<pcre2_jit_stack, pcre2_jit_stack_free> _stack{ pcre2_jit_stack_create(32 << 10, 1 << 20, nullptr) };
  handle_t<pcre2_match_data, pcre2_match_data_free> _data;
  std::uint32_t _groups = 0;
};

match_t search_from(pattern_t const& pattern, char const* first, char const* from, char const* last) {
  thread_local searcher_t searcher;
  return searcher.search(pattern, first, from, last);
}

match_t search(pattern_t const& pattern, char const* first, char const* last) {
  return search_from(pattern, first, first, last);
}

match_t search(pattern_t const& pattern, std::string_view text) {
  return search(pattern, text.data(), text.data() + text.size());
}

}  // namespace kel::regexp
