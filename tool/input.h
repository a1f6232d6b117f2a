// Where messages come from: files, standard input, Maildir folders and mbox files.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kel::tool {

// One message, ready for the library.
struct message_t {
  std::string name;        // as the user knows it; messages of an mbox are "NAME:1", "NAME:2"
  std::string_view bytes;  // bare line feeds; never a null pointer
};

// The bytes of one file.
class file_bytes_t {
public:
  // Reads a file, or standard input for "-". Answers what went wrong, empty for nothing.
  std::string read(std::string const& path);

  std::string_view view() const { return { _data.get(), _size }; }

private:
  void reserve(std::size_t capacity);

  std::unique_ptr<char[]> _data;
  std::size_t _size = 0;
  std::size_t _capacity = 0;
};

// A place to read: one file, or what could not be looked into and why.
struct source_t {
  std::string path;
  std::string failure = {};
};

// The files behind the inputs, in order: a Maildir folder stands for its messages (those of "cur" and "new", sorted by name,
// which is by time of arrival).
std::vector<source_t> list_sources(std::vector<std::string> const& inputs);

// "standard input" for "-", else the path.
std::string display_name(std::string const& path);

// Hands over each message of a file's bytes until `take` answers false; the message lives during the call only.
using take_message_t = std::function<bool(message_t const&)>;
void for_each_message(std::string const& name, std::string_view bytes, take_message_t const& take);

// The same for all inputs. What cannot be read is reported on standard error and passed over; the answer is whether
// everything could be read.
bool for_each_message(std::vector<std::string> const& inputs, take_message_t const& take);

// Whether the input is one file with one message: a folder or an mbox is not, whatever it holds.
bool is_single_message(std::vector<std::string> const& inputs, std::string_view message_name);

}  // namespace kel::tool
