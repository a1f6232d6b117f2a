// Mail written by an enemy: limits hold, each leaves a record, and nothing needs a deep stack.
#include <gtest/gtest.h>

#include <pthread.h>

#include <functional>
#include <thread>

#include <kelmime/body.h>
#include <kelmime/limits.h>
#include <helpers/describe.h>

namespace kel {
namespace {

using test::message_of;

std::string repeated(std::string const& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i)
    result += text;
  return result;
}

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

std::size_t depth_of(body_part_t& part) {
  std::size_t depth = 0;
  for (body_part_t* at = &part; !at->subparts().empty(); at = &at->subpart(0))
    ++depth;
  return depth;
}

TEST(Hostile, NestingStopsAtTheLimit) {
  std::string const nested_messages = repeated("Content-Type: message/rfc822\n\n", 100'000) + "leaf";
  for (std::string const& text : { nested_multiparts(1000), nested_messages }) {
    with_small_stack([&] {
      auto const message = message_of(text);
      EXPECT_EQ(depth_of(*message), limits::nested_levels);
      decode_text_bodies(*message);
      std::vector<mime_error_t> errors;
      message->get_errors({}, errors);
      EXPECT_EQ(errors.back().at("description"), "Body parts are nested too deeply, this one is left as it stands");
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
  EXPECT_EQ(test::records(*message),
            (std::vector<std::string>{ "Too many body parts in this message, the further ones are not listed" }));
}

// Each level of quoted-printable decodes to a body of nearly the same size: without a budget 256 times the input.
TEST(Hostile, DecodedBytesStopAtTheBudget) {
  std::string const text =
      repeated("Content-Type: message/rfc822\nContent-Transfer-Encoding: quoted-printable\n\n", 255) +
      std::string(4 << 20, 'x');
  auto const message = message_of("Content-Type: message/rfc822\n\n" + text);
  std::size_t const held = message->space_usage() - text.size();
  EXPECT_LE(held, limits::decoded_factor * text.size() + limits::decoded_allowance);
  std::vector<mime_error_t> errors;
  message->get_errors({}, errors);
  EXPECT_EQ(errors.back().at("description"), "The decoded message is too large for its size, this part is left as it stands");
  body_part_t* innermost = message.get();
  while (!innermost->subparts().empty())
    innermost = &innermost->subpart(0);
  std::size_t const raw_size = innermost->raw_body().size();
  innermost->set_header("subject", "x");
  EXPECT_EQ(innermost->decoded_body().size(), raw_size) << "an edit keeps the content whatever it costs";
}

TEST(Hostile, RepeatedHeadersAndManyFields) {
  auto const message = message_of(repeated("Content-Type: multipart/mixed; boundary=b\n", 50'000) + "\n\n--b\n\nx\n--b--\n");
  EXPECT_EQ(message->num_subparts(), 1u);
  auto const many = message_of(repeated("X: y\n", 2 * limits::header_fields) + "\nbody");
  EXPECT_EQ(many->decoded_body(), "body");
  EXPECT_LE(many->headers().size(), limits::header_fields + 3);
}

TEST(Hostile, InjectsNothingIntoTheStandInBlock) {
  auto const message = message_of(
      "Content-Type: multipart/mixed; charset*=utf-8''x%0ASubject:%20spoof%0A%0A\n\nno delimiter here");
  EXPECT_FALSE(message->subpart(0).exists_header("subject"));
  EXPECT_EQ(message->subpart(0).decoded_body(), "no delimiter here");
}

TEST(Hostile, TakesNoVirtualHeaderFromAMessage) {
  auto const message = message_of("##security-details: GOODSIG\nsecurity-generation-detail: x\n#flags: y\nTo: a@x\n\n");
  EXPECT_FALSE(message->has_security_status() || message->exists_header("security-generation-detail") ||
               message->exists_header("#flags"));
  EXPECT_EQ(message->num_root_errors(), 3u);
}

TEST(Hostile, FloodsAreRead) {
  struct {
    char const* name;
    std::string text;
  } const rows[] = {
    { "equals signs", "Content-Transfer-Encoding: quoted-printable\nSubject: " + std::string(1 << 20, '=') + "\n\n" + std::string(1 << 20, '=') },
    { "openings of encoded words", "Subject: " + repeated("=?", 1 << 19) + "\n\n" },
    { "comments", "Content-Type: " + std::string(1 << 20, '(') + "\nTo: " + std::string(1 << 20, '(') + "\nDate: 1 Jan 2024 " + std::string(1 << 20, '(') + "\n\n" },
    { "commas", "To: " + std::string(1 << 20, ',') + "\n\n" },
    { "angle brackets", "To: " + std::string(1 << 20, '<') + "@\n\n" },
    { "escapes", "Content-Type: text/plain; charset=iso-2022-jp\nSubject: " + repeated("\x1B$", 1 << 19) + "\n\n" + repeated("\x1B$(Q\n", 1 << 17) },
    { "blanks", "Subject: a" + std::string(1 << 20, ' ') + "b\n\n" + std::string(1 << 20, ' ') },
    { "parameters", "Content-Type: text/plain" + repeated("; a*1*=b", 1 << 17) + "\n\n" },
    { "one long token", "X: " + std::string(4 << 20, 'x') + "\n\n" + std::string(4 << 20, 'x') },
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
  auto const read = [] {
    auto const message = message_of("Subject: =?koi8-r?q?=C1?=\nDate: 1 Jan 2024 10:00:00 +0000\nTo: a@x, b@y\n\n\xC1");
    message->num_errors();
    return message->get_header("subject", "") + message->get_header("date.#local", "") + message->get_suggested_filename();
  };
  std::string first;
  std::string second;
  std::thread one([&] { first = read(); });
  std::thread two([&] { second = read(); });
  one.join();
  two.join();
  EXPECT_EQ(first, second);
}

TEST(Hostile, CopiesMayLiveInTwoThreads) {
  auto const message = message_of("Content-Type: multipart/mixed; boundary=b\n\n\n--b\n\n=41\n--b--\n");
  body_part_t copy = *message;
  std::thread other([&] { copy.num_errors(); });
  message->num_errors();
  other.join();
  EXPECT_EQ(test::describe(copy), test::describe(*message));
}

}  // namespace
}  // namespace kel
