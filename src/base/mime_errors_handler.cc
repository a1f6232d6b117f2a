#include <kelmime/mime_errors_handler.h>

#include <cstdio>

#include <base/fatal.h>
#include <base/utf8.h>
#include <kelmime/limits.h>

namespace kel {

namespace {

void add_pair(mime_error_t& record, std::string_view key, std::string_view value) {
  if (!key.empty())
    record.emplace(key, utf8::prefix(value, limits::record_context_bytes));
}

mime_error_t record_of(std::string_view key1, std::string_view value1, std::string_view key2, std::string_view value2,
                       std::string_view key3, std::string_view value3) {
  mime_error_t record;
  record.emplace(key1, utf8::prefix(value1, limits::record_context_bytes));
  add_pair(record, key2, value2);
  add_pair(record, key3, value3);
  return record;
}

std::size_t text_bytes(mime_error_t const& record) {
  std::size_t bytes = 0;
  for (auto const& [key, value] : record)
    bytes += key.size() + value.size();
  return bytes;
}

}  // namespace

void mime_errors_handler_t::push_back(std::string_view key1, std::string_view value1, std::string_view key2,
                                      std::string_view value2, std::string_view key3, std::string_view value3) {
  if (_is_closed)
    return;
  mime_error_t record = record_of(key1, value1, key2, value2, key3, value3);
  complete(record);
  append(std::move(record));
}

void mime_errors_handler_t::push_back(mime_error_t& record) {
  if (_is_closed)
    return;
  complete(record);
  append(mime_error_t(record));
}

void mime_errors_handler_t::complete(mime_error_t& record) const {
  for (auto context = _contexts.rbegin(); context != _contexts.rend(); ++context) {
    record.insert(context->owned.begin(), context->owned.end());
    for (auto const& [key, value] : context->viewed)
      add_pair(record, key, value);
  }
  for (auto& [key, value] : record) {
    if (value.size() > limits::record_context_bytes)
      value.resize(utf8::prefix(value, limits::record_context_bytes).size());
  }
}

void mime_errors_handler_t::append(mime_error_t&& record) {
  if (is_full_after(record)) {
    _is_closed = true;
    _records.push_back({ { "description", "Too many problems in this part, the further ones are not listed" } });
    return;
  }
  _records.push_back(std::move(record));
}

bool mime_errors_handler_t::is_full_after(mime_error_t const& record) {
  _text_bytes += text_bytes(record);
  return _records.size() >= limits::records || _text_bytes > limits::record_text_bytes;
}

void mime_errors_handler_t::push_context(std::string_view key1, std::string_view value1, std::string_view key2,
                                         std::string_view value2, std::string_view key3, std::string_view value3) {
  push_context(record_of(key1, value1, key2, value2, key3, value3));
}

void mime_errors_handler_t::push_context(mime_error_t const& context) {
  _contexts.push_back({ context, {} });
}

void mime_errors_handler_t::pop_context() {
  if (!_contexts.empty())
    _contexts.pop_back();
}

void mime_errors_handler_t::get_errors(mime_error_t const& extra, std::vector<mime_error_t>& out) const {
  out.insert(out.end(), _records.begin(), _records.end());
  if (!out.empty())
    out.back().insert(extra.begin(), extra.end());
}

void mime_errors_handler_t::dump() const {
  for (mime_error_t const& record : _records) {
    for (auto const& [key, value] : record)
      std::fprintf(stderr, "%s = '%s';\n", key.c_str(), printable(value).c_str());
    std::fputs("\n", stderr);
  }
}

error_context_t::error_context_t(mime_errors_handler_t* errors, pair_view_t first, pair_view_t second)
    : _errors(errors) {
  if (_errors)
    _errors->_contexts.push_back({ {}, { first, second } });
}

error_context_t::~error_context_t() {
  if (_errors)
    _errors->pop_context();
}

void report(mime_errors_handler_t* errors, std::string_view description) {
  if (errors)
    errors->push_back("description", description, "", "", "", "");
}

void report(mime_errors_handler_t* errors, std::string_view description, std::string_view context) {
  if (errors)
    errors->push_back("description", description, "context", context, "", "");
}

void report_low(mime_errors_handler_t* errors, std::string_view description) {
  if (errors)
    errors->push_back("description", description, "priority", "low", "", "");
}

void report_low(mime_errors_handler_t* errors, std::string_view description, std::string_view context) {
  if (errors)
    errors->push_back("description", description, "context", context, "priority", "low");
}

}  // namespace kel
