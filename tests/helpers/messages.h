// Whole messages: put together, written and read again, found beside the tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <helpers/describe.h>
#include <kelmime/encoding.h>

namespace kel::test {

inline std::string leaf(std::string const& type, std::string const& body, std::string const& headers = "") {
  return "Content-Type: " + type + "\n" + headers + "\n" + body;
}

inline std::string leaf_in_base64(std::string const& type, std::string_view bytes) {
  std::string text = leaf(type, "", "Content-Transfer-Encoding: base64\n");
  encode(bytes.begin(), bytes.end(), std::back_inserter(text), "base64");
  return text + "\n";
}

// A multipart around parts; the number in its boundary is greater than those inside.
inline std::string multipart(std::string const& subtype, std::vector<std::string> const& parts, std::string const& headers = "") {
  std::size_t size = 0;
  for (std::string const& part : parts)
    size += part.size();
  std::string const delimiter = "--b" + std::to_string(size);
  std::string text = leaf("multipart/" + subtype + "; boundary=" + delimiter.substr(2), "", headers);
  for (std::string const& part : parts)
    text += "\n" + delimiter + "\n" + part;
  return text + "\n" + delimiter + "--\n";
}

inline std::string written(body_part_t& part, void (body_part_t::*step)(message_inserter_t) = &body_part_t::generate_rfc822) {
  std::vector<char> bytes;
  (part.*step)(std::back_inserter(bytes));
  return { bytes.begin(), bytes.end() };
}

inline std::shared_ptr<body_part_t> read_again(body_part_t& part) { return message_of(written(part)); }

inline std::string content_of(std::filesystem::path const& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return { std::istreambuf_iterator<char>(file), {} };
}

inline std::string with_cr_lf(std::string_view text) {
  std::string result;
  for (char const c : text)
    result += c == '\n' ? "\r\n" : std::string(1, c);
  return result;
}

// The files with messages below a folder of the tests; never so few that a law over them says nothing.
inline std::vector<std::filesystem::path> message_files(std::string const& folder = "/messages") {
  std::vector<std::filesystem::path> found;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(KELMIME_TEST_DATA + folder)) {
    if (entry.path().extension() == ".eml")
      found.push_back(entry.path());
  }
  EXPECT_GE(found.size(), 10u) << folder;
  return found;
}

}  // namespace kel::test
