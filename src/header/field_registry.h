// The registry behind `field_parsers_init`: which parser performs the step that ends at which path, as a property list
// says it.
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <kel/plist.h>
#include <kelmime/field_path.h>
#include <kelmime/header_parsers.h>

namespace kel {

// Paths are looked up prefix by prefix, without a copy for each.
struct field_path_less_t {
  using is_transparent = void;
  using view_t = std::span<std::string const>;

  bool operator()(view_t left, view_t right) const {
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end());
  }
};

// Built once from a list of specifiers, then read by any number of threads. What is computed on request is guarded.
class field_registry_t {
public:
  explicit field_registry_t(plist::dictionary_t const& specifiers);

  field_parser_t* parser(std::span<std::string const> path) const;
  std::vector<field_parser_t*> const& parsers_of_function(std::string const& name) const;

  std::vector<std::string> all_values(field_path_t const& path, std::vector<std::string> bodies) const;
  std::string first_value(field_path_t const& path, std::string_view body) const;

  void expand(field_path_t& path) const;
  field_path_t compact(field_path_t const& path) const;
  std::set<field_path_t> const& paths() const;

  bool is_shorthand(std::string_view name) const;
  std::vector<field_path_t> paths_of_shorthand(std::string const& name) const;

private:
  using forms_t = std::vector<field_path_t>;

  // Builds the steps below one parser entry.
  void add_parsers_below(field_path_t const& path, plist::dictionary_t const& entry, forms_t const& forms);
  void add_function(field_path_t const& path, plist::value_t const& element, forms_t const& forms);
  void continue_path(field_path_t const& path, plist::dictionary_t const& entry, forms_t forms, bool is_single);
  void record_forms(field_path_t const& path, forms_t const& forms, bool is_always_implicit);
  field_parser_t* keep(std::unique_ptr<field_parser_t> parser);
  void add_shorthands(plist::dictionary_t const& shorthands);
  void attach_functions();
  void attach_date_functions();
  std::set<field_path_t> listed_paths() const;

  plist::dictionary_t const* _collection = nullptr;  // the parser entries, while the registry is built
  std::vector<std::unique_ptr<field_parser_t>> _owned;
  std::map<field_path_t, field_parser_t*, field_path_less_t> _parsers;
  std::map<field_path_t, field_path_t, field_path_less_t> _expansions;
  std::map<std::string, std::vector<field_parser_t*>, std::less<>> _function_parsers;

  mutable std::mutex _on_request;
  mutable std::set<field_path_t> _paths;
  mutable std::map<std::string, std::vector<field_path_t>, std::less<>> _shorthands;
};

// The dictionary in a file: empty without a word when there is no such file or it is empty, and with a line on standard
// error when it is no property list of a dictionary with entries; a second line tells where reading stopped.
plist::dictionary_t custom_plist_load(std::string const& path);

// The default list with the user's parsers and shorthands in place of the equally named ones. The process ends when there
// is no default list.
plist::dictionary_t load_specifiers();

}  // namespace kel
