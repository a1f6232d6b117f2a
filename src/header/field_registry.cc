#include <header/field_registry.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <optional>
#include <utility>

#include <base/fatal.h>
#include <header/parameters.h>
#include <kel/application.h>
#include <kel/bundle.h>
#include <kel/format_string.h>
#include <kel/path.h>
#include <kel/regexp.h>
#include <kel/timer.h>
#include <kelmime/mime_errors_handler.h>
#include <kelmime/rfc822_date_parser.h>
#include <kelmime/unset.h>
#include <kelmime/value_format.h>

namespace kel {

namespace {

constexpr std::string_view lowercase_suffix = "#lc";
constexpr std::size_t longest_path = 16;  // stops entries that continue with themselves

field_path_t extended(field_path_t path, std::string const& component) {
  path.push_back(component);
  return path;
}

// "subject#lc.x" is answered as "subject.x"; a lone header name never is.
std::optional<field_path_t> without_suffix(std::span<std::string const> path) {
  if (path.size() < 2 || path[0].size() <= lowercase_suffix.size() || !path[0].ends_with(lowercase_suffix))
    return {};
  field_path_t shortened(path.begin(), path.end());
  shortened[0].resize(shortened[0].size() - lowercase_suffix.size());
  return shortened;
}

// Group syntax such as "(?:" would be taken for a form of the template, so it is hidden while the template is expanded.
std::string expanded_pattern(std::string_view format, plist::dictionary_t const& variables) {
  static regexp::pattern_t const group("\\([?]");
  static regexp::pattern_t const hidden_group("\\(\\\\[?]");
  format_string::variables_t values;
  for (auto const& [name, value] : variables) {
    if (value.text())
      values.emplace(name, *value.text());
  }
  std::string const expansion = format_string::expand(format_string::replace(format, group, "(\\?"), values);
  return format_string::replace(expansion, hidden_group, "(?");
}

std::string pattern_of(plist::dictionary_t const& entry) {
  bool const has_format = plist::find(entry, "specifierRegexFormatString") != nullptr;
  std::string const pattern = has_format ? expanded_pattern(plist::get_string(entry, "specifierRegexFormatString"),
                                                            plist::get_dictionary(entry, "variables"))
                                         : plist::get_string(entry, "specifierRegex");
  return pattern.empty() ? ".*" : pattern;
}

using type_t = field_parser_t::type_t;

struct capture_type_t {
  type_t type;
  bool quoted;
};

capture_type_t capture_type_of(plist::dictionary_t const& capture) {
  std::string const word = plist::get_string(capture, "type");
  if (word == "formattedDate")
    return { type_t::formatted_date, false };
  if (word == "relativeDate")
    return { type_t::relative_date, false };
  if (word == "formattedSize")
    return { type_t::formatted_size, false };
  if (word == "noTabs")
    return { type_t::no_tabs, false };
  return { type_t::text, word == "quotedString" };
}

std::size_t group_number(std::string const& key) {
  std::size_t number = 0;
  std::from_chars(key.data(), key.data() + key.size(), number);
  return number;
}

std::vector<std::string> header_names(plist::dictionary_t const& entry) {
  std::vector<std::string> names = plist::get_strings(entry, "headers");
  names.push_back(plist::get_string(entry, "header"));
  std::erase(names, "");
  return names;
}

std::string or_unset(std::string value) {
  if (value.empty())
    value = unset_string;
  return value;
}

std::string canonical_date(std::string const& value) {
  mime_errors_handler_t errors;
  return or_unset(rfc822_date_t(value.begin(), value.end(), errors).canonical_format());
}

struct named_transform_t {
  char const* name;
  std::string (*transform)(std::string const& value);
};

// Functions for values that patterns could only approximate.
constexpr named_transform_t transforms[] = {
  { "type", [](std::string const& value) { return or_unset(header::parse_structured_value(value).type); } },
  { "subtype", [](std::string const& value) { return or_unset(header::parse_structured_value(value).subtype); } },
  { "parameter", [](std::string const& value) { return or_unset(header::normal_parameters(value)); } },
  { "canonical", canonical_date },
  { "mechanism", [](std::string const& value) { return or_unset(header::transfer_encoding_mechanism(value)); } },
};

// Displays a date header as it stands; what is no date has no value.
template <std::string display(char const* first, char const* last)>
std::string displayed_date(std::string const& value) {
  std::string const date = canonical_date(value);
  return date == unset_string ? date : display(date.data(), date.data() + date.size());
}

constexpr named_transform_t date_transforms[] = {
  { "#relative", displayed_date<relative_date> },
  { "#local", displayed_date<local_date> },
  { "formatted", displayed_date<formatted_date> },
};

}  // namespace

field_registry_t::field_registry_t(plist::dictionary_t const& specifiers)
    : _collection(&plist::get_dictionary(specifiers, "parsers")) {
  for (auto const& [name, value] : *_collection) {
    if (!value.dictionary())
      continue;
    for (std::string const& header : header_names(*value.dictionary()))
      add_parsers_below({ header }, *value.dictionary(), { { header } });
  }
  for (std::string const& header : plist::get_strings(specifiers, "headers")) {
    if (!header.empty())
      _parsers[string_to_field_path(header)] = nullptr;
  }
  add_shorthands(plist::get_dictionary(specifiers, "shorthands"));
  attach_functions();
  attach_date_functions();
  _collection = nullptr;
}

void field_registry_t::add_parsers_below(field_path_t const& path, plist::dictionary_t const& entry,
                                         forms_t const& forms) {
  for (plist::value_t const& element : plist::get_array(entry, "functions"))
    add_function(path, element, forms);

  std::string const pattern = pattern_of(entry);
  plist::dictionary_t const& captures = plist::get_dictionary(entry, "specifierCaptures");
  for (auto const& [key, value] : captures) {
    if (!value.dictionary())
      continue;
    plist::dictionary_t const& capture = *value.dictionary();
    field_path_t const longer = extended(path, plist::get_string(capture, "specifier"));
    auto const [type, quoted] = capture_type_of(capture);
    field_parser_t*& parser = _parsers[longer];
    if (parser) {
      parser->add_capture_index(group_number(key), type, quoted);
    } else {
      parser = keep(std::make_unique<field_parser_t>(pattern, group_number(key), type, quoted));
      continue_path(longer, capture, forms, captures.size() == 1);
    }
  }
}

void field_registry_t::add_function(field_path_t const& path, plist::value_t const& element, forms_t const& forms) {
  if (!element.dictionary()) {
    warning("Specifier function is not defined with a dictionary:\n%s\n", plist::to_s(element).c_str());
    return;
  }
  std::string const name = plist::get_string(*element.dictionary(), "specifier");
  field_path_t const longer = extended(path, name);
  field_parser_t* const parser = keep(std::make_unique<field_parser_t>(name, 0, type_t::function, false));
  _parsers[longer] = parser;
  _function_parsers[name].push_back(parser);
  continue_path(longer, *element.dictionary(), forms, true);
}

void field_registry_t::continue_path(field_path_t const& path, plist::dictionary_t const& entry, forms_t incoming,
                                     bool is_single) {
  bool const can_be_implicit = plist::get_boolean(entry, "canBeImplicit");
  bool const is_always_implicit = plist::get_boolean(entry, "alwaysImplicit");
  forms_t forms = incoming;
  if (!is_always_implicit) {
    for (field_path_t& form : forms)
      form.push_back(path.back());
  } else {
    if (!is_single)
      warning("'alwaysImplicit' can only be used when a single capture is defined.\n");
    if (can_be_implicit)
      warning("Both 'alwaysImplicit' and 'canBeImplicit' defined.\n");
  }
  record_forms(path, forms, is_always_implicit);
  if (can_be_implicit && !is_always_implicit)
    std::move(incoming.begin(), incoming.end(), std::back_inserter(forms));

  for (std::string const& name : plist::get_strings(entry, "parsers")) {
    plist::value_t const* const next = plist::find(*_collection, name);
    if (path.size() == longest_path)
      warning("Header parser named '%s' makes a path of more than %zu components\n", name.c_str(), longest_path);
    else if (next && next->dictionary())
      add_parsers_below(path, *next->dictionary(), forms);
    else
      warning("Could not find the header parser named '%s'\n", name.c_str());
  }
}

// A lone header name is never made to stand for a deep path.
void field_registry_t::record_forms(field_path_t const& path, forms_t const& forms, bool is_always_implicit) {
  for (field_path_t const& form : forms) {
    if (form == path)
      continue;
    if (_expansions.contains(form))
      warning("Expansion for '%s' already exists.\n", to_s(form).c_str());
    else if (form.size() != 1 || !is_always_implicit || path.size() <= 2)
      _expansions.emplace(form, path);
  }
}

field_parser_t* field_registry_t::keep(std::unique_ptr<field_parser_t> parser) {
  _owned.push_back(std::move(parser));
  return _owned.back().get();
}

void field_registry_t::add_shorthands(plist::dictionary_t const& shorthands) {
  for (auto const& [name, value] : shorthands) {
    std::vector<field_path_t>& paths = _shorthands[name];
    if (!value.dictionary())
      continue;
    for (std::string const& text : plist::get_strings(*value.dictionary(), "specifiers"))
      paths.push_back(string_to_field_path(text));
  }
}

void field_registry_t::attach_functions() {
  for (auto const& [name, transform] : transforms) {
    auto const parsers = _function_parsers.find(name);
    if (parsers == _function_parsers.end())
      continue;
    for (field_parser_t* parser : parsers->second)
      parser->set_transform_function(transform);
  }
}

// Beside "canonical" a function is given the date as the message has it, and below it the canonical one.
void field_registry_t::attach_date_functions() {
  for (auto const& [path, parser] : _parsers) {
    if (path.back() != "canonical")
      continue;
    field_path_t sibling = path;
    for (auto const& [name, transform] : date_transforms) {
      sibling.back() = name;
      if (auto const found = _parsers.find(sibling); found != _parsers.end() && found->second)
        found->second->set_transform_function(transform);
    }
  }
}

field_parser_t* field_registry_t::parser(std::span<std::string const> path) const {
  auto found = _parsers.find(path);
  if (found == _parsers.end()) {
    if (auto const shortened = without_suffix(path))
      found = _parsers.find(*shortened);
  }
  return found == _parsers.end() ? nullptr : found->second;
}

std::vector<field_parser_t*> const& field_registry_t::parsers_of_function(std::string const& name) const {
  auto const found = _function_parsers.find(name);
  if (found == _function_parsers.end())
    fatal("Function named “%s” does not exist.\n", name.c_str());
  return found->second;
}

std::vector<std::string> field_registry_t::all_values(field_path_t const& path, std::vector<std::string> values) const {
  for (std::size_t count = 1; count <= path.size() && !values.empty(); ++count) {
    field_parser_t const* const step = parser({ path.data(), count });
    if (!step)
      continue;
    std::vector<std::string> extracted;
    step->parse_fields(values.begin(), values.end(), std::back_inserter(extracted));
    values = std::move(extracted);
  }
  return values;
}

std::string field_registry_t::first_value(field_path_t const& path, std::string_view body) const {
  std::string value(body);
  for (std::size_t count = 1; count <= path.size() && value != unset_string; ++count) {
    if (field_parser_t const* const step = parser({ path.data(), count }))
      value = step->parse_field(value);
  }
  return value;
}

void field_registry_t::expand(field_path_t& path) const {
  if (auto const found = _expansions.find(path); found != _expansions.end()) {
    path = found->second;
  } else if (auto const shortened = without_suffix(path)) {
    if (auto const base = _expansions.find(*shortened); base != _expansions.end()) {
      path = base->second;
      path[0] += lowercase_suffix;
    }
  }
}

field_path_t field_registry_t::compact(field_path_t const& path) const {
  field_path_t const* shortest = &path;
  for (auto const& [form, explicit_path] : _expansions) {
    if (explicit_path == path && form.size() < shortest->size())
      shortest = &form;
  }
  return *shortest;
}

std::set<field_path_t> const& field_registry_t::paths() const {
  std::lock_guard const lock(_on_request);
  if (_paths.empty())
    _paths = listed_paths();
  return _paths;
}

std::set<field_path_t> field_registry_t::listed_paths() const {
  std::map<field_path_t, field_path_t const*, less_than_length_cmp> by_length;
  for (auto const& [form, explicit_path] : _expansions)
    by_length.emplace(form, &explicit_path);

  std::set<field_path_t> seen;
  std::set<field_path_t> paths;
  for (auto const& [form, explicit_path] : by_length) {
    if (seen.insert(*explicit_path).second)
      paths.insert(form);
  }
  for (auto const& [path, parser] : _parsers) {
    if (!seen.contains(path))
      paths.insert(path);
  }
  return paths;
}

bool field_registry_t::is_shorthand(std::string_view name) const {
  std::lock_guard const lock(_on_request);
  std::size_t const suffix = name.rfind('#');
  return _shorthands.contains(name) || (suffix != name.npos && _shorthands.contains(name.substr(0, suffix)));
}

std::vector<field_path_t> field_registry_t::paths_of_shorthand(std::string const& name) const {
  std::lock_guard const lock(_on_request);
  if (auto const found = _shorthands.find(name); found != _shorthands.end())
    return found->second;
  std::size_t const suffix = name.rfind('#');
  std::vector<field_path_t> paths;
  if (auto const base = _shorthands.find(name.substr(0, suffix)); suffix != name.npos && base != _shorthands.end())
    paths = base->second;
  for (field_path_t& path : paths) {
    if (!path.empty())
      path[0] += name.substr(suffix);
  }
  return _shorthands[name] = paths;
}

plist::dictionary_t custom_plist_load(std::string const& path) {
  std::string const content = path::content(path);
  if (content.empty() || content == unset_string)
    return {};
  plist::parsed_t parsed = plist::parse(content);
  plist::dictionary_t* const entries = parsed.value.dictionary();
  if (parsed.error || !entries || entries->empty()) {
    std::fprintf(stderr, "Fatal: Unable to parse '%s'\n", path.c_str());  // deliberately not the end of the process
    if (auto const& error = parsed.error)
      warning("%s: line %zu, column %zu: %s\n", path.c_str(), error->line, error->column, error->message.c_str());
    return {};
  }
  return std::move(*entries);
}

namespace {

void take_entries(plist::dictionary_t& specifiers, plist::dictionary_t const& users, char const* key) {
  plist::value_t const* const added = plist::find(users, key);
  auto const entries = specifiers.find(key);
  if (!added || !added->dictionary() || entries == specifiers.end() || !entries->second.dictionary())
    return;
  for (auto const& [name, entry] : *added->dictionary())
    entries->second.dictionary()->insert_or_assign(name, entry);
}

}  // namespace

plist::dictionary_t load_specifiers() {
  std::string const path =
      bundle::resource("specifiers", "plist").value_or("Frameworks/KelMIME/resources/specifiers.plist");
  plist::dictionary_t specifiers = custom_plist_load(path);
  if (specifiers.empty())
    stop("Unable to load or parse default specifiers plist (%s)\n", path.c_str());
  std::string const user_path =
      path::join(path::join(application_t::support_folder(), "Resources"), "specifiers.plist");
  plist::dictionary_t const users = custom_plist_load(user_path);
  take_entries(specifiers, users, "parsers");
  take_entries(specifiers, users, "shorthands");
  return specifiers;
}

namespace field_parsers_init {

namespace {

// Never destroyed, since other threads and static objects may ask while the process ends.
field_registry_t& registry() {
  static field_registry_t& instance = *[] {
    timer_t const timer("field_parsers_init");
    return new field_registry_t(load_specifiers());
  }();
  return instance;
}

}  // namespace

void init() {
  registry();
}

field_parser_t* field_parser_for_field_path(field_path_t const& path) {
  return registry().parser(path);
}

field_parser_t* field_parser_for_string(std::string_view text) {
  return registry().parser(string_to_field_path(text));
}

void expand_implicit_field_path(field_path_t& path) {
  registry().expand(path);
}

field_path_t compact_field_path(field_path_t const& path) {
  return registry().compact(path);
}

std::vector<std::string> parse_bodies_with_field_path(field_path_t const& path, std::vector<std::string> bodies) {
  return registry().all_values(path, std::move(bodies));
}

std::string apply_field_path(field_path_t const& path, std::string_view body) {
  return registry().first_value(path, body);
}

std::string apply_field_string(std::string_view text, std::string_view body) {
  return registry().first_value(string_to_field_path(text), body);
}

std::set<field_path_t> get_field_paths() {
  return registry().paths();
}

bool is_shorthand(std::string_view name) {
  return registry().is_shorthand(name);
}

std::vector<field_path_t> get_field_paths_for_shorthand(std::string const& name) {
  return registry().paths_of_shorthand(name);
}

std::vector<field_parser_t*> const& get_field_parsers_for_function(std::string const& name) {
  return registry().parsers_of_function(name);
}

}  // namespace field_parsers_init

}  // namespace kel
