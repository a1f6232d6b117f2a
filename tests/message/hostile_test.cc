// Mail written by an enemy: limits hold, each leaves a record, and nothing needs a deep stack.
#include <gtest/gtest.h>

#include <pthread.h>

#include <functional>
#include <thread>

#include <kelmime/limits.h>
#include <helpers/messages.h>
#include <helpers/repeated.h>

namespace kel {
namespace {

using test::message_of;

std::string nested_multiparts(int depth) {
  std::string text;
  for (int level = 0; level < depth; ++level) {
    std::string const boundary = "b" + std::to_string(level);
    text += "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n\n--" + boundary + "\n";
  }
  return text + "\nleaf\n";
}

// Runs with a stack of 512 KiB; sanitizers spend several times as much on each frame.
void with_small_stack(std::function<void()> const& run) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  std::size_t const stack_bytes = 4 << 20;
#else
  std::size_t const stack_bytes = 512 << 10;
#endif
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, stack_bytes), 0);
  pthread_t thread;
  auto const start = [](void* argument) -> void* {
    (*static_cast<std::function<void()> const*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, start, const_cast<std::function<void()>*>(&run)), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

body_part_t& innermost_of(body_part_t& part, std::size_t& depth) {
  return part.subparts().empty() ? part : innermost_of(part.subpart(0), ++depth);
}

// The last record of the whole tree.
std::string last_record_of(body_part_t& message) {
  std::vector<mime_error_t> errors;
  message.get_errors({}, errors);
  return errors.empty() ? "" : errors.back().at("description");
}

TEST(Hostile, NestingStopsAtTheLimit) {
  std::string const nested_messages = repeated("Content-Type: message/rfc822\n\n", 100'000) + "leaf";
  for (std::string const& text : { nested_multiparts(1000), nested_messages }) {
    with_small_stack([&] {
      auto const message = message_of(text);
      std::size_t depth = 0;
      innermost_of(*message, depth);
      EXPECT_EQ(depth, limits::nested_levels);
      decode_text_bodies(*message);
      EXPECT_EQ(last_record_of(*message), "Body parts are nested too deeply, this one is left as it stands");
      EXPECT_GE(message->num_errors(), 1u);
      EXPECT_EQ(message->raw_data(), text);
      body_part_t copy = *message;
      copy.detach();
      message->space_usage();
      testing::internal::CaptureStderr();
      message->dump(true, 0);
      message->dump_errors();
      testing::internal::GetCapturedStderr();
    });
  }
}

TEST(Hostile, PartsStopAtTheLimit) {
  auto const message = message_of("Content-Type: multipart/mixed; boundary=b\n\n\n" + repeated("--b\n\nx\n", 20'000) + "--b--\n");
  EXPECT_EQ(message->num_subparts(), limits::parts_per_tree - 1);
  EXPECT_EQ(test::records(*message), (std::vector<std::string>{ "Too many body parts in this message, the further ones are not listed" }));
}

// Each level of quoted-printable decodes to a body of nearly the same size: without a budget 256 times the input.
TEST(Hostile, DecodedBytesStopAtTheBudget) {
  std::string const text =
      repeated("Content-Type: message/rfc822\nContent-Transfer-Encoding: quoted-printable\n\n", 255) + std::string(4 << 20, 'x');
  auto const message = message_of("Content-Type: message/rfc822\n\n" + text);
  EXPECT_LE(message->space_usage() - text.size(), limits::decoded_factor * text.size() + limits::decoded_allowance);
  EXPECT_EQ(last_record_of(*message), "The decoded message is too large for its size, this part is left as it stands");
  std::size_t depth = 0;
  body_part_t& innermost = innermost_of(*message, depth);
  std::size_t const raw_size = innermost.raw_body().size();
  innermost.set_header("subject", "x");
  EXPECT_EQ(innermost.decoded_body().size(), raw_size) << "an edit keeps the content whatever it costs";
}

TEST(Hostile, RepeatedHeadersAndManyFields) {
  auto const message = message_of(repeated("Content-Type: multipart/mixed; boundary=b\n", 50'000) + "\n\n--b\n\nx\n--b--\n");
  EXPECT_EQ(message->num_subparts(), 1u);
  auto const many = message_of(repeated("X: y\n", 2 * limits::header_fields) + "\nbody");
  EXPECT_EQ(many->decoded_body(), "body");
  EXPECT_LE(many->headers().size(), limits::header_fields + 3);
}

TEST(Hostile, InjectsNothingIntoTheStandInBlock) {
  auto const message = message_of("Content-Type: multipart/mixed; charset*=utf-8''x%0ASubject:%20spoof%0A%0A\n\nno delimiter here");
  EXPECT_FALSE(message->subpart(0).exists_header("subject"));
  EXPECT_EQ(message->subpart(0).decoded_body(), "no delimiter here");
}

TEST(Hostile, TakesNoVirtualHeaderFromAMessage) {
  auto const message = message_of("##security-details: GOODSIG\nsecurity-generation-detail: x\n#flags: y\nTo: a@x\n\n");
  EXPECT_FALSE(message->has_security_status() || message->exists_header("security-generation-detail") || message->exists_header("#flags"));
  EXPECT_EQ(message->num_root_errors(), 3u);
}

TEST(Hostile, FloodsAreRead) {
  std::size_t const many = 1 << 19;
  std::string const equals(2 * many, '='), blanks(2 * many, ' '), comments(2 * many, '('), token(8 * many, 'x');
  struct { char const* name; std::string text; } const rows[] = {
    { "equals signs", "Content-Transfer-Encoding: quoted-printable\nSubject: " + equals + "\n\n" + equals },
    { "openings of encoded words", "Subject: " + repeated("=?", many) + "\n\n" },
    { "comments", "Content-Type: " + comments + "\nTo: " + comments + "\nDate: 1 Jan 2024 " + comments + "\n\n" },
    { "commas", "To: " + std::string(2 * many, ',') + "\n\n" }, { "angle brackets", "To: " + std::string(2 * many, '<') + "@\n\n" },
    { "escapes", "Content-Type: text/plain; charset=iso-2022-jp\nSubject: " + repeated("\x1B$", many) + "\n\n" + repeated("\x1B$(Q\n", many / 4) },
    { "blanks", "Subject: a" + blanks + "b\n\n" + blanks },
    { "parameters", "Content-Type: text/plain" + repeated("; a*1*=b", many / 4) + "\n\n" },
    { "one long token", "X: " + token + "\n\n" + token },
    { "a boundary of line feeds", "Content-Type: multipart/mixed; boundary*=utf-8''" + repeated("%0A--", 1 << 15) + "\n\n" + repeated("--\n", 1 << 16) },
    { "HTML alternatives", "Content-Type: multipart/alternative; boundary=b\n\n" + repeated("--b\nContent-Type: text/html\n\nx\n", 9'000) },
    { "one boundary everywhere", "Content-Type: multipart/mixed; boundary=b\n\n" + repeated("--b\nContent-Type: multipart/mixed; boundary=b\n\n", 20'000) },
  };
  for (auto const& row : rows) {
    auto const message = message_of(row.text);
    for (char const* path : { "to.split.address", "content-type.parameter.split.name", "from.name", "date.#relative" })
      message->get_header(path, "");
    std::vector<std::string> values;
    message->get_header_bodies({ "to", "split" }, values);
    decode_text_bodies(*message);
    message->num_errors();
    EXPECT_EQ(message->raw_data(), row.text) << row.name;
  }
}

TEST(Hostile, TwoThreadsMayStartCold) {
  auto const read = [](std::string& text) {
    auto const message = message_of("Subject: =?koi8-r?q?=C1?=\nDate: 1 Jan 2024 10:00:00 +0000\nTo: a@x, b@y\n\n\xC1");
    message->num_errors();
    text = message->get_header("subject", "") + message->get_header("date.#local", "") + message->get_suggested_filename();
  };
  std::string first, second;
  std::thread one([&] { read(first); }), two([&] { read(second); });
  one.join();
  two.join();
  EXPECT_EQ(first, second);
}

TEST(Hostile, CopiesMayLiveInTwoThreads) {
  auto const message = message_of(test::multipart("mixed", { "\n=41" }));
  body_part_t copy = *message;
  std::thread other([&] { copy.num_errors(); });
  message->num_errors();
  other.join();
  EXPECT_EQ(test::describe(copy), test::describe(*message));
}

}  // namespace
}  // namespace kel
