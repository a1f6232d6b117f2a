// One JSON line for each of many messages, from the quick header scan.
//
// Threads take batches of work: one file of a folder, or some hundred messages of a large mbox. Each batch has a number, and
// what it gives is written when all batches before it are written, so the output has the order of the inputs.
#include "verbs.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include <kelmime/quick_parse_headers.h>

#include "json_writer.h"
#include "mbox.h"

namespace kel::tool {

namespace {

constexpr std::size_t messages_per_batch = 256;
constexpr std::int64_t large_file = 4 << 20;

std::string index_line(message_t const& message) {
  static std::set<std::string, std::less<>> const wanted = { "message-id", "from", "to",          "cc",
                                                             "subject",    "date", "content-type" };
  char const* cursor = message.bytes.data();
  auto const found = quick_parse_headers(cursor, message.bytes.data() + message.bytes.size(), wanted);
  return index_json(message.name, message.bytes.size(), found);
}

// An mbox that is given out in pieces, and kept until the last piece is done.
struct open_mbox_t {
  std::string name;
  file_bytes_t bytes;
  std::string_view rest = {};
  std::size_t num_taken = 0;
};

struct batch_t {
  std::size_t number = 0;
  source_t source = {};                          // a file to read, or
  std::shared_ptr<open_mbox_t const> mbox = {};  // messages that are read already
  std::vector<std::string_view> messages = {};
  std::size_t first_message = 0;
};

struct result_t {
  std::string lines = {};
  std::size_t num_messages = 0;
  std::string name = {};
  std::string failure = {};
};

class work_t {
public:
  explicit work_t(std::vector<std::string> const& inputs) : _sources(list_sources(inputs)) {}

  std::optional<batch_t> next() {
    std::lock_guard const lock(_mutex);
    if (!_mbox || _mbox->rest.empty()) {
      _mbox = nullptr;
      if (_next_source == _sources.size())
        return {};
      source_t const& source = _sources[_next_source++];
      if (!open_large_mbox(source))
        return batch_t{ .number = _num_batches++, .source = source };
    }
    return take_from_mbox();
  }

  // No more work: nobody reads what it would give.
  void stop() {
    std::lock_guard const lock(_mutex);
    _mbox = nullptr;
    _next_source = _sources.size();
  }

private:
  bool open_large_mbox(source_t const& source) {
    struct stat status = {};
    if (source.path == "-" || ::stat(source.path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size < large_file)
      return false;
    auto mbox = std::make_shared<open_mbox_t>(source.path);
    if (!mbox->bytes.read(source.path).empty() || !is_mbox(mbox->bytes.view()))
      return false;
    mbox->rest = mbox->bytes.view();
    _mbox = std::move(mbox);
    return true;
  }

  batch_t take_from_mbox() {
    batch_t batch = { .number = _num_batches++, .mbox = _mbox, .first_message = _mbox->num_taken + 1 };
    while (!_mbox->rest.empty() && batch.messages.size() < messages_per_batch)
      batch.messages.push_back(take_message(_mbox->rest));
    _mbox->num_taken += batch.messages.size();
    return batch;
  }

  std::mutex _mutex;
  std::vector<source_t> _sources;
  std::size_t _next_source = 0;
  std::size_t _num_batches = 0;
  std::shared_ptr<open_mbox_t> _mbox;
};

// Writes results in the order of their numbers, whenever they come.
class ordered_output_t {
public:
  explicit ordered_output_t(output_t& out)
      : _out(out), _has_progress(::isatty(STDERR_FILENO) && !::isatty(STDOUT_FILENO)) {}

  // Answers whether more is welcome.
  bool put(std::size_t number, result_t result) {
    std::lock_guard const lock(_mutex);
    _waiting.emplace(number, std::move(result));
    for (auto first = _waiting.begin(); first != _waiting.end() && first->first == _next;
         first = _waiting.erase(first), ++_next)
      write(first->second);
    return _out.is_open();
  }

  void finish() {
    if (_has_progress)
      write_all(STDERR_FILENO, "\r\033[K");
  }

  bool is_everything_read() const { return _is_everything_read; }

private:
  void write(result_t const& result) {
    _out << result.lines;
    _num_messages += result.num_messages;
    if (!result.failure.empty()) {
      finish();
      complain(result.name, result.failure);
      _is_everything_read = false;
    }
    auto const now = std::chrono::steady_clock::now();
    if (_has_progress && now - _last_progress > std::chrono::milliseconds(100)) {
      _last_progress = now;
      write_all(STDERR_FILENO, "\r" + std::to_string(_num_messages) + " messages");
    }
  }

  std::mutex _mutex;
  output_t& _out;
  bool _has_progress;
  bool _is_everything_read = true;
  std::map<std::size_t, result_t> _waiting;
  std::size_t _next = 0;
  std::size_t _num_messages = 0;
  std::chrono::steady_clock::time_point _last_progress = std::chrono::steady_clock::now();
};

result_t index_file(source_t const& source, file_bytes_t& bytes) {
  result_t result;
  result.name = display_name(source.path);
  result.failure = source.failure.empty() ? bytes.read(source.path) : source.failure;
  if (!result.failure.empty())
    return result;
  for_each_message(source.path, bytes.view(), [&](message_t const& message) {
    result.lines += index_line(message);
    ++result.num_messages;
    return true;
  });
  return result;
}

result_t index_messages(batch_t const& batch) {
  result_t result;
  std::string storage;
  std::size_t number = batch.first_message;
  for (std::string_view const raw : batch.messages) {
    std::string const name = batch.mbox->name + ":" + std::to_string(number++);
    result.lines += index_line({ name, reading_form(raw, /*is_in_mbox*/ true, storage) });
  }
  result.num_messages = batch.messages.size();
  return result;
}

void work_off(work_t& work, ordered_output_t& results) {
  file_bytes_t bytes;
  while (auto const batch = work.next())
    if (!results.put(batch->number, batch->mbox ? index_messages(*batch) : index_file(batch->source, bytes)))
      work.stop();
}

}  // namespace

exit_status_t index(options_t const& options, output_t& out) {
  work_t work(options.inputs);
  ordered_output_t results(out);
  unsigned const num_threads =
      options.threads > 0 ? options.threads : std::max(1u, std::thread::hardware_concurrency());
  {
    std::vector<std::jthread> helpers;
    for (unsigned i = 1; i < num_threads; ++i)
      helpers.emplace_back([&] { work_off(work, results); });
    work_off(work, results);
  }
  results.finish();
  return results.is_everything_read() ? done : unreadable;
}

}  // namespace kel::tool
