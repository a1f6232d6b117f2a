// Whole outputs, compared with files that stand beside the messages: newsletter.eml and newsletter.json, newsletter.tree ...
//
// With KELMIME_UPDATE_GOLDEN set, the files are written anew; look at the difference before it is committed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "program.h"

namespace {

struct golden_t {
  char const* verb;
  char const* message;
  int status;
};

class Golden : public testing::TestWithParam<golden_t> {};

TEST_P(Golden, Output) {
  auto const [verb, message, status] = GetParam();
  // Through standard input, so that no path of this machine is in the output.
  auto const outcome = kelmime({ verb }, content_of(data_path(std::string(message) + ".eml")));
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.err, "");

  std::string const golden = data_path(std::string(message) + "." + verb);
  if (std::getenv("KELMIME_UPDATE_GOLDEN"))
    write_file(golden, outcome.out);
  EXPECT_EQ(outcome.out, content_of(golden));
}

INSTANTIATE_TEST_SUITE_P(Verbs, Golden,
                         testing::Values(golden_t{ "show", "plain", 0 }, golden_t{ "headers", "plain", 0 },
                                         golden_t{ "json", "plain", 0 }, golden_t{ "index", "plain", 0 },
                                         golden_t{ "show", "newsletter", 0 }, golden_t{ "tree", "newsletter", 0 },
                                         golden_t{ "json", "newsletter", 0 }, golden_t{ "show", "html", 0 },
                                         golden_t{ "show", "broken", 0 }, golden_t{ "lint", "broken", 1 },
                                         golden_t{ "json", "broken", 0 }, golden_t{ "show", "hostile", 0 }),
                         [](auto const& row) { return std::string(row.param.message) + "_" + row.param.verb; });

}  // namespace
