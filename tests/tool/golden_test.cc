// Whole outputs, compared with files that stand beside the messages: newsletter.eml and newsletter.json, newsletter.tree ...
//
// With KELMIME_UPDATE_GOLDEN set, the files are written anew; look at the difference before it is committed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "program.h"

namespace {

TEST(Golden, Outputs) {
  struct { std::string message, verb; int status = 0; } const rows[] = {
    { "plain", "show" }, { "plain", "headers" }, { "plain", "json" }, { "plain", "index" },
    { "newsletter", "show" }, { "newsletter", "tree" }, { "newsletter", "json" }, { "html", "show" },
    { "broken", "show" }, { "broken", "lint", 1 }, { "broken", "json" }, { "hostile", "show" },
  };
  for (auto const& row : rows) {
    // Through standard input, so that no path of this machine is in the output.
    auto const outcome = kelmime({ row.verb }, content_of(data_path(row.message + ".eml")));
    std::string const golden = data_path(row.message + "." + row.verb);
    EXPECT_EQ(outcome.status, row.status) << golden;
    EXPECT_EQ(outcome.err, "") << golden;
    if (std::getenv("KELMIME_UPDATE_GOLDEN"))
      std::ofstream(golden, std::ios::binary) << outcome.out;
    EXPECT_EQ(outcome.out, content_of(golden)) << golden;
  }
}

}  // namespace
