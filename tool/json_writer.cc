#include "json_writer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <kelmime/rfc822_date_parser.h>
#include <nlohmann/json.hpp>

#include "body_lists.h"
#include "envelope.h"
#include "sha256.h"
#include "utf8.h"

namespace kel::tool {

namespace {

using json_t = nlohmann::ordered_json;

constexpr std::size_t longest_preview = 256;  // characters

// Appends a member without looking whether the key is there: objects with a member for each part would cost the square.
void append_member(json_t& object, std::string_view key, json_t value) {
  object.get_ref<json_t::object_t&>().emplace_back(std::string(key), std::move(value));
}

// JSON lets U+007F to U+009F stand as they are, a terminal obeys some of them. They occur inside strings only.
std::string with_controls_escaped(std::string const& text) {
  std::string out;
  out.reserve(text.size() + 1);
  std::size_t copied = 0;
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] != '\x7f' && text[i] != '\xc2') {
      ++i;
      continue;
    }
    std::size_t const start = i;
    character_t const character = take_character(text, i);
    if (!is_control(character.value))
      continue;
    std::array<char, 8> escape;
    std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(character.value));
    out.append(text, copied, start - copied).append(escape.data());
    copied = i;
  }
  return out.append(text, copied);
}

std::string text_of(json_t const& value, json_style_t style) {
  int const indent = style == json_style_t::indented ? 2 : -1;
  std::string const text = value.dump(indent, ' ', /*ensure_ascii*/ false, json_t::error_handler_t::replace);
  return with_controls_escaped(text) + "\n";
}

template <typename T>
json_t or_null(std::optional<T> const& value) {
  return value ? json_t(*value) : json_t();
}

json_t addresses_json(body_part_t& root, std::string const& header) {
  auto const addresses = addresses_of(root, header);
  if (!addresses)
    return nullptr;
  json_t list = json_t::array();
  for (auto const& [name, email] : *addresses)
    list.push_back({ { "name", name.empty() ? json_t() : json_t(name) }, { "email", email } });
  return list;
}

std::optional<std::string> first_value(body_part_t const& root, std::string const& header) {
  auto const found = root.headers().find(header);
  return found == root.headers().end() ? std::nullopt : std::optional(found->second);
}

json_t headers_json(body_part_t& part) {
  json_t list = json_t::array();
  for (auto& header : headers_in_order(part)) {
    json_t member = json_t::object();
    append_member(member, "name", std::move(header.name));
    append_member(member, "value", std::move(header.value));
    list.push_back(std::move(member));
  }
  return list;
}

// The part without its children. The hash of a part that came with children would cost its size again at each level.
json_t own_json(part_t const& part) {
  bool const has_hash = part.children.empty() || part.is_unsealed();
  std::string_view const bytes = part.body->decoded_body();
  json_t own = json_t::object();
  append_member(own, "partId", part.number.empty() ? json_t() : json_t(part.number));
  append_member(own, "type", part.type);
  append_member(own, "charset", part.charset);
  append_member(own, "encoding", part.encoding);
  append_member(own, "disposition", part.disposition);
  append_member(own, "name", part.name);
  append_member(own, "cid", part.content_id);
  append_member(own, "size", bytes.size());
  append_member(own, "sha256", has_hash ? sha256(bytes) : std::string());
  append_member(own, "headers", headers_json(*part.body));
  return own;
}

// The PART object of the root, and copies of those that the flat lists name.
struct parts_json_t {
  json_t root;
  std::map<std::size_t, json_t> listed;
};

// Children are complete before their parents, so the walk goes backwards, and each object moves into its parent. Listed
// parts never hold one another, so that their copies cost no more than the tree.
parts_json_t parts_json(outline_t const& parts, body_lists_t const& lists) {
  parts_json_t result;
  for (auto const* const list : { &lists.text, &lists.html, &lists.attachments })
    for (std::size_t const index : *list)
      result.listed[index];

  std::vector<json_t> objects(parts.size());
  for (std::size_t i = parts.size(); i-- > 0;) {
    objects[i] = own_json(parts[i]);
    if (!parts[i].children.empty()) {
      json_t children = json_t::array();
      for (std::size_t const child : parts[i].children)
        children.push_back(std::move(objects[child]));
      append_member(objects[i], "subParts", std::move(children));
    }
    if (auto const listed = result.listed.find(i); listed != result.listed.end())
      listed->second = objects[i];
  }
  result.root = std::move(objects.front());
  return result;
}

// A problem of the body itself: records of headers name the header.
bool has_encoding_problem(part_t const& part) {
  auto const& records = part.body->errors().records();
  return std::ranges::any_of(records, [](mime_error_t const& record) {
    bool const is_of_body = record.contains("content-transfer-encoding") || record.contains("from_charset");
    return is_of_body && !record.contains("header");
  });
}

std::vector<std::size_t> texts_wanted(outline_t const& parts, body_lists_t const& lists, bodies_t bodies) {
  std::vector<std::size_t> wanted;
  if (bodies == bodies_t::text) {
    wanted = lists.text;
    wanted.insert(wanted.end(), lists.html.begin(), lists.html.end());
  } else if (bodies == bodies_t::all) {
    for (std::size_t i = 0; i < parts.size(); ++i)
      wanted.push_back(i);
  }
  std::erase_if(wanted, [&](std::size_t index) { return !parts[index].is_text(); });
  std::ranges::sort(wanted);
  auto const repeated = std::ranges::unique(wanted);
  wanted.erase(repeated.begin(), repeated.end());
  return wanted;
}

json_t body_values_json(outline_t const& parts, body_lists_t const& lists, bodies_t bodies) {
  json_t values = json_t::object();
  for (std::size_t const index : texts_wanted(parts, lists, bodies)) {
    part_t const& part = parts[index];
    json_t value = json_t::object();
    append_member(value, "value", part.body->decoded_body());
    append_member(value, "isEncodingProblem", has_encoding_problem(part));
    append_member(value, "isTruncated", false);
    append_member(values, part.number, std::move(value));
  }
  return values;
}

std::string preview_of(std::string_view text) {
  std::string preview;
  bool wants_blank = false;
  std::size_t length = 0;
  for (std::size_t position = 0; position < text.size() && length < longest_preview;) {
    character_t const character = take_character(text, position);
    if (character.value == ' ' || character.value == 0xa0 || is_control(character.value)) {
      wants_blank = !preview.empty();
      continue;
    }
    if (std::exchange(wants_blank, false)) {
      preview += ' ';
      if (++length == longest_preview)
        break;
    }
    preview += character.bytes;
    ++length;
  }
  return preview;
}

// Names with "##" are not of the message; what was found out about its protection has a place of its own.
json_t virtual_json(body_part_t const& root) {
  json_t virtual_headers = json_t::object();
  std::string_view last;
  for (auto const& [name, value] : root.headers())
    if (name.starts_with('#') && !name.starts_with("##") && std::exchange(last, name) != name)
      append_member(virtual_headers, name, value);
  return virtual_headers;
}

json_t errors_json(opened_message_t const& opened) {
  constexpr std::string_view main_keys[] = { "description", "context", "header", "priority" };
  json_t list = json_t::array();
  for (auto const& deviation : opened.deviations()) {
    json_t object = json_t::object();
    append_member(object, "part", deviation.part);
    for (auto const key : main_keys)
      if (auto const found = deviation.record->find(std::string(key)); found != deviation.record->end())
        append_member(object, key, found->second);
    for (auto const& [key, value] : *deviation.record)
      if (std::ranges::find(main_keys, key) == std::end(main_keys))
        append_member(object, key, value);
    list.push_back(std::move(object));
  }
  return list;
}

// The status and the details are empty where nothing was verified or decrypted.
json_t security_json(body_part_t& root) {
  std::string const status = root.get_security_status(/*whole_message*/ true);
  return { { "level", root.get_security_level() },
           { "protocol", root.get_security_protocol() },
           { "status", status == unset_string ? "" : status },
           { "details", root.get_security_details() } };
}

json_t email_object(opened_message_t const& opened, bodies_t bodies) {
  body_part_t& root = opened.root();
  outline_t const& parts = opened.parts();
  body_lists_t const lists = sort_bodies(parts);
  parts_json_t objects = parts_json(parts, lists);
  auto const listed = [&](std::vector<std::size_t> const& indices) {
    json_t list = json_t::array();
    for (std::size_t const index : indices)
      list.push_back(objects.listed.at(index));
    return list;
  };
  auto const is_offered = [&](std::size_t index) {
    return parts[index].disposition != "inline" && std::ranges::find(lists.seals, index) == lists.seals.end();
  };
  auto const date = first_value(root, "#date");

  json_t email;
  email["messageId"] = or_null(ids_of(root, "message-id"));
  email["inReplyTo"] = or_null(ids_of(root, "in-reply-to"));
  email["references"] = or_null(ids_of(root, "references"));
  email["from"] = addresses_json(root, "from");
  email["to"] = addresses_json(root, "to");
  email["cc"] = addresses_json(root, "cc");
  email["bcc"] = addresses_json(root, "bcc");
  email["replyTo"] = addresses_json(root, "reply-to");
  email["sender"] = addresses_json(root, "sender");
  email["subject"] = or_null(first_value(root, "subject"));
  email["sentAt"] = or_null(date ? iso_date(*date) : std::nullopt);
  email["headers"] = headers_json(root);
  email["bodyStructure"] = std::move(objects.root);
  email["bodyValues"] = body_values_json(parts, lists, bodies);
  email["textBody"] = listed(lists.text);
  email["htmlBody"] = listed(lists.html);
  email["attachments"] = listed(lists.attachments);
  email["hasAttachment"] = std::ranges::any_of(lists.attachments, is_offered);
  email["preview"] = preview_of(readable_text(parts, lists));

  // Last, when everything that was asked has left its records.
  json_t& extension = email["kelmime"] = json_t::object();
  extension["schema"] = 1;
  extension["virtual"] = virtual_json(root);
  extension["errors"] = errors_json(opened);
  extension["security"] = security_json(root);
  return email;
}

}  // namespace

std::string email_json(opened_message_t const& opened, bodies_t bodies, json_style_t style) {
  return text_of(email_object(opened, bodies), style);
}

std::string index_json(std::string const& name, std::size_t size, found_headers_t const& found) {
  auto const value = [&](std::string_view key) {
    auto const header = found.find(key);
    return header == found.end() ? json_t() : json_t(header->second);
  };
  std::string const date = found.contains("date") ? found.find("date")->second : std::string();
  mime_errors_handler_t ignored;
  rfc822_date_t const parsed(date.data(), date.data() + date.size(), ignored);
  auto const type = found.find("#type");
  auto const subtype = found.find("#subtype");

  json_t entry;
  entry["input"] = name;
  entry["size"] = size;
  for (char const* const header : { "message-id", "from", "to", "cc", "subject", "date" })
    entry[header] = value(header);
  entry["sentAt"] = or_null(iso_date(parsed.local_canonical_format()));
  entry["type"] =
      type == found.end() || subtype == found.end() ? json_t() : json_t(type->second + "/" + subtype->second);
  entry["charset"] = value("#charset");
  return text_of(entry, json_style_t::line);
}

}  // namespace kel::tool
