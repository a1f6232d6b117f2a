#include <gtest/gtest.h>

#include <base/fatal.h>
#include <kelmime/limits.h>
#include <kelmime/mime_errors_handler.h>

namespace kel {

TEST(MimeErrorsHandler, CompletesRecordsFromContexts) {
  mime_errors_handler_t errors;
  errors.push_back("description", "1", "", "x", "", "");
  errors.push_context("header", "outer", "part", "1", "", "dropped");
  {
    error_context_t const guard(&errors, { "header", "inner" });
    report(&errors, "2", "text");
    errors.push_back("description", "3", "header", "own", "", "");
  }
  report_low(&errors, "4");
  errors.pop_context();
  errors.pop_context();
  report_low(&errors, "5", "text");
  std::vector<mime_error_t> const expected = {
    { { "description", "1" } }, { { "description", "2" }, { "context", "text" }, { "header", "inner" }, { "part", "1" } },
    { { "description", "3" }, { "header", "own" }, { "part", "1" } },
    { { "description", "4" }, { "header", "outer" }, { "part", "1" }, { "priority", "low" } },
    { { "description", "5" }, { "context", "text" }, { "priority", "low" } },
  };
  EXPECT_EQ(errors.records(), expected);
}

TEST(MimeErrorsHandler, GivesExtraPairsToTheLastRecordOnly) {
  mime_errors_handler_t errors;
  report(&errors, "1");
  report(&errors, "2");
  std::vector<mime_error_t> out;
  errors.get_errors({ { "message", ".1" }, { "description", "not taken" } }, out);
  std::vector<mime_error_t> const expected = { { { "description", "1" } }, { { "description", "2" }, { "message", ".1" } } };
  EXPECT_EQ(out, expected);
}

TEST(MimeErrorsHandler, ClosesWhenFull) {
  mime_errors_handler_t many;
  for (std::size_t i = 0; i < limits::records + 10; ++i)
    report(&many, "x");
  ASSERT_EQ(many.records().size(), limits::records + 1);
  EXPECT_EQ(many.records().back().at("description"), "Too many problems in this part, the further ones are not listed");

  mime_errors_handler_t large;
  for (int i = 0; i < 100; ++i)
    report(&large, "x", std::string(2 * limits::record_context_bytes, 'c'));
  EXPECT_EQ(large.records().front().at("context").size(), limits::record_context_bytes);
  EXPECT_EQ(large.records().size(), limits::record_text_bytes / limits::record_context_bytes);
}

TEST(MimeErrorsHandler, DumpsWithControlBytesEscaped) {
  mime_errors_handler_t errors;
  report(&errors, "bad", "a\x1B[2J\n");
  testing::internal::CaptureStderr();
  errors.dump();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "context = 'a{1B}[2J{0A}';\ndescription = 'bad';\n\n");
}

TEST(Fatal, WritesItsLineAndAborts) {
  EXPECT_DEATH(fatal("%d of %s\n", 1, "two"), "^Fatal: 1 of two\n$");
  EXPECT_DEATH(stop("unique_id == -1\n"), "^unique_id == -1\n$");
}

TEST(Printable, EscapesWhatDrivesATerminal) {
  EXPECT_EQ(printable("a\tb\x7F\x1B[m"), "a{09}b{7F}{1B}[m");
  EXPECT_EQ(printable("gr\xC3\xBCn \xC2\xA0\xE2\x82\xAC"), "gr\xC3\xBCn \xC2\xA0\xE2\x82\xAC");
  EXPECT_EQ(printable("\xC2\x9B" "31m \x9B" "31m"), "{C2}{9B}31m {9B}31m");
  EXPECT_EQ(printable("\xC3(\xC3"), "{C3}({C3}");
}

}  // namespace kel
