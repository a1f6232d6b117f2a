// The collector of everything that was wrong with a message.
//
// Mail is broken, and is read anyway: each parser that meets a deviation from the standards makes a record and goes on
// with the most useful reading. A record is a small dictionary of strings. The keys in use:
//
//   description   what is wrong, in words; every record has it
//   context       the input concerned, or an excerpt of it
//   header        the header being parsed, or the field path being read
//   priority      "low" for harmless deviations, absent otherwise
//   delimiter     the boundary concerned
//   message       position of the part in its tree (".2.1"), added by body_part_t::get_errors
//   from_charset, to_charset      the charsets of a conversion that failed
//   content-type, content-transfer-encoding   of the part whose body was being decoded
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kelmime/export.h>

namespace kel {

// One problem: keys sorted, each key once.
using mime_error_t = std::map<std::string, std::string>;

// Collects records. Belongs to one part and is used by one thread at a time. It never fails; after `limits::records`
// records or `limits::record_text_bytes` of text it makes one closing record and drops what follows. The same problem
// met twice gives two records.
class KELMIME_EXPORT mime_errors_handler_t {
public:
  // Appends a record with key1 always, key2 and key3 only where the key is not empty. The contexts in force complete
  // it: a key of the record wins over every context, an inner context over an outer one.
  void push_back(std::string_view key1, std::string_view value1, std::string_view key2, std::string_view value2,
                 std::string_view key3, std::string_view value3);

  // The same for a record made elsewhere, which is completed in place.
  void push_back(mime_error_t& record);

  // Puts a context in force for the records to come, by the same rule for empty keys.
  void push_context(std::string_view key1, std::string_view value1, std::string_view key2, std::string_view value2,
                    std::string_view key3, std::string_view value3);
  void push_context(mime_error_t const& context);

  // Ends the innermost context. Without one it does nothing.
  void pop_context();

  // Appends a copy of every record to `out`, then inserts the pairs of `extra` into the last element of `out` where it
  // does not have the key. Only the last record of a call receives them.
  void get_errors(mime_error_t const& extra, std::vector<mime_error_t>& out) const;

  std::vector<mime_error_t> const& records() const { return _records; }

  // Writes every record to standard error as "key = 'value';" lines with an empty line after each record. Control
  // bytes of the message are written escaped.
  void dump() const;

private:
  friend class error_context_t;

  using pair_view_t = std::pair<std::string_view, std::string_view>;

  // A context is owned, or looks at text that its guard keeps alive; the latter costs no allocation per header.
  struct context_t {
    mime_error_t owned;
    std::array<pair_view_t, 2> viewed;
  };

  void complete(mime_error_t& record) const;
  void append(mime_error_t&& record);
  bool is_full_after(mime_error_t const& record);

  std::vector<context_t> _contexts;
  std::vector<mime_error_t> _records;
  std::size_t _text_bytes = 0;
  bool _is_closed = false;
};

// Keeps a context in force while it lives. The collector may be null; the views must outlive the guard.
class KELMIME_EXPORT error_context_t {
public:
  using pair_view_t = std::pair<std::string_view, std::string_view>;

  error_context_t(mime_errors_handler_t* errors, pair_view_t first, pair_view_t second = {});
  ~error_context_t();
  error_context_t(error_context_t const&) = delete;
  error_context_t& operator=(error_context_t const&) = delete;

private:
  mime_errors_handler_t* _errors;
};

// Records a deviation, with or without a "context". The collector may be null, then nothing happens.
KELMIME_EXPORT void report(mime_errors_handler_t* errors, std::string_view description);
KELMIME_EXPORT void report(mime_errors_handler_t* errors, std::string_view description, std::string_view context);

// The same for harmless deviations: "priority" is "low".
KELMIME_EXPORT void report_low(mime_errors_handler_t* errors, std::string_view description);
KELMIME_EXPORT void report_low(mime_errors_handler_t* errors, std::string_view description, std::string_view context);

}  // namespace kel
