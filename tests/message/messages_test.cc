// Whole messages: each file below messages/ stands beside a ".tree" file with its tree in one line and its records.
#include <gtest/gtest.h>

#include <helpers/messages.h>

namespace kel {
namespace {

using test::content_of;
using test::message_files;

// Parts tile their parent: raw ranges lie in the bytes that were given, header block and body meet.
void expect_raw_bytes_within(body_part_t& part, std::string_view whole) {
  for (body_part_t& child : part.subparts()) {
    EXPECT_EQ(child.raw_headers().data() + child.raw_headers().size(), child.raw_body().data());
    if (part.decoded_body().data() == part.raw_body().data() && child.raw_data().data() >= whole.data() &&
        child.raw_data().data() < whole.data() + whole.size()) {
      EXPECT_NE(part.raw_body().find(child.raw_data()), std::string_view::npos);
    }
    expect_raw_bytes_within(child, whole);
  }
}

TEST(Messages, ReadAsTheirTreesSay) {
  for (auto const& path : message_files()) {
    std::string const text = content_of(path);
    auto const message = test::message_of(text);
    std::string const found = test::describe(*message) + "\n" + test::all_records(*message);
    EXPECT_EQ(found, content_of(std::filesystem::path(path).replace_extension(".tree"))) << path;
    EXPECT_EQ(message->raw_data(), text) << path;
    expect_raw_bytes_within(*message, message->raw_data());
  }
}

TEST(Messages, EveryPrefixParses) {
  for (auto const& path : message_files()) {
    std::string const text = content_of(path);
    for (std::size_t size = 0; size < text.size(); ++size) {
      test::exact_copy_t const bytes(std::string_view(text).substr(0, size));
      auto const message = parse_body(bytes.begin(), bytes.end());
      EXPECT_EQ(message->raw_data().size(), size);
      message->num_errors();
      message->get_filename();
    }
  }
}

}  // namespace
}  // namespace kel
