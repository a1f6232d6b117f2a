#include <kelmime/charset.h>

#include <codec/conversion.h>
#include <codec/converter.h>
#include <codec/excerpt.h>
#include <kelmime/hex.h>

namespace kel {

namespace {

std::string_view description_of(stop_t stop) {
  switch (stop) {
    case stop_t::illegal: return "Invalid multibyte sequence encountered";
    case stop_t::incomplete: return "Incomplete multibyte sequence encountered";
    case stop_t::at_end:
    case stop_t::other: break;
  }
  return "Unable to decode character sequence";
}

}  // namespace

void write_substitution(char byte, output_t& out) {
  out.append("<U+00");
  out.append(text::int_to_hex(byte_value(byte) >> 4));
  out.append(text::int_to_hex(byte_value(byte)));
  out.append('>');
}

char const* convert_range(char const* first, char const* last, output_t& out, std::string_view from_charset,
                          std::string_view to_charset, bool use_fallback, mime_errors_handler_t* errors) {
  converter_t* const converter = find_converter(from_charset, to_charset);
  if (!converter) {
    if (errors) {
      errors->push_back("description", "Unknown charset specified for conversion (iconv)", "from_charset", from_charset,
                        "to_charset", to_charset);
    }
    return first;
  }

  converter->restart();
  char const* cursor = first;
  stop_t stop = converter->run(cursor, last, out);
  while (stop == stop_t::illegal && use_fallback) {
    converter->release(out);
    write_substitution(*cursor++, out);
    stop = converter->run(cursor, last, out);
  }
  converter->finish(out);

  if (stop != stop_t::at_end && errors) {
    report(errors, std::string(description_of(stop)).append(" (iconv / ").append(from_charset).append(")"),
           hex_excerpt(first, last, cursor, 10));
  }
  return cursor;
}

template <byte_inserter Out>
char const* convert(char const* first, char const* last, Out out, std::string_view from_charset,
                    std::string_view to_charset, bool use_fallback, mime_errors_handler_t* errors) {
  output_t output(container_of(out));
  return convert_range(first, last, output, from_charset, to_charset, use_fallback, errors);
}

template char const* convert(char const*, char const*, std::back_insert_iterator<std::string>, std::string_view,
                             std::string_view, bool, mime_errors_handler_t*);
template char const* convert(char const*, char const*, std::back_insert_iterator<std::vector<char>>, std::string_view,
                             std::string_view, bool, mime_errors_handler_t*);

}  // namespace kel
