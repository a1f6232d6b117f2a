// Japanese text whose label does not fit.
//
// A conversion goes on as far as it can, into a pending buffer. Where it stops, either an escape sequence names another
// variant of ISO-2022-JP, which then converts as far as it can, or the line does not convert, and is converted again
// with substitutions from the last restart point on. Every pass begins where the one before has ended, so that no byte
// is converted more than twice.
#include <kelmime/charset.h>

#include <codec/conversion.h>
#include <codec/excerpt.h>
#include <codec/find_byte.h>
#include <codec/iso_2022_jp.h>
#include <kel/text.h>

namespace kel {

namespace {

struct escape_t {
  std::string_view bytes;
  std::string_view charset;
};

constexpr escape_t escapes[] = {
  { "\x1B$(D", "iso-2022-jp-1" }, { "\x1B$A", "iso-2022-jp-2" },  { "\x1B$(C", "iso-2022-jp-2" },
  { "\x1B.A", "iso-2022-jp-2" },  { "\x1B.F", "iso-2022-jp-2" },  { "\x1B(I", "iso-2022-jp-3" },
  { "\x1B$(O", "iso-2022-jp-3" }, { "\x1B$(P", "iso-2022-jp-3" }, { "\x1B$(Q", "iso-2022-jp-4" },
};

// The charset that an escape sequence at the beginning of a text belongs to; "" when there is none.
std::string_view charset_of_escape(std::string_view text) {
  for (escape_t const& escape : escapes) {
    if (text.starts_with(escape.bytes))
      return escape.charset;
  }
  return "";
}

class japanese_conversion_t {
public:
  japanese_conversion_t(char const* first, char const* last, output_t& out, std::string_view charset,
                        mime_errors_handler_t* errors)
      : _first(first), _last(last), _out(out), _charset(charset), _errors(errors) {}

  void run() {
    convert_from(_first, _charset);
    while (_stop != _last) {
      follow_escape_sequence();
      char const* const line_end = line_end_after(_stop, _last);
      if (_stop != line_end)
        convert_with_substitutions(line_end);
      if (line_end == _last)
        break;
      convert_from(line_end, _charset);
    }
    _out.append(_pending);
  }

private:
  // Makes `position` the restart point and converts to the pending buffer as far as that goes.
  void convert_from(char const* position, std::string_view charset) {
    _restart = position;
    output_t pending(_pending);
    _stop = convert_range(position, _last, pending, charset, "UTF-8", /*use_fallback*/ false, _errors);
  }

  void follow_escape_sequence() {
    std::string_view const charset = charset_of_escape({ _stop, _last });
    if (charset.empty())
      return;
    if (_errors) {
      report(_errors,
             "Escape sequence indicates the charset is “" + text::uppercase(charset) + "” (and not “" +
                 text::uppercase(_charset) + "”).",
             hex_excerpt(_first, _last, _stop, 20));
    }
    convert_from(_stop, charset);
    _out.append(_pending);
    _pending.clear();
    _restart = _stop;
  }

  void convert_with_substitutions(char const* line_end) {
    _pending.clear();
    char const* cursor = convert_range(_restart, line_end, _out, _charset, "UTF-8", /*use_fallback*/ true, _errors);
    // What is left is a sequence that is cut off by the end, or everything under an unknown charset.
    for (; cursor != line_end; ++cursor)
      write_substitution(*cursor, _out);
  }

  char const* const _first;
  char const* const _last;
  output_t& _out;
  std::string_view const _charset;
  mime_errors_handler_t* const _errors;
  char const* _restart = _first;  // what stands before it has reached the output
  char const* _stop = _first;     // what stands between the restart point and here is pending
  std::string _pending;
};

}  // namespace

void convert_japanese_range(char const* first, char const* last, output_t& out, std::string_view charset,
                            mime_errors_handler_t* errors) {
  japanese_conversion_t(first, last, out, charset, errors).run();
}

template <byte_inserter Out>
Out japanese_convert(char const* first, char const* last, Out out, std::string_view charset,
                     mime_errors_handler_t* errors) {
  output_t output(container_of(out));
  convert_japanese_range(first, last, output, charset, errors);
  return out;
}

template std::back_insert_iterator<std::string> japanese_convert(char const*, char const*,
                                                                 std::back_insert_iterator<std::string>,
                                                                 std::string_view, mime_errors_handler_t*);
template std::back_insert_iterator<std::vector<char>> japanese_convert(char const*, char const*,
                                                                       std::back_insert_iterator<std::vector<char>>,
                                                                       std::string_view, mime_errors_handler_t*);

}  // namespace kel
