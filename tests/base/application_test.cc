#include <gtest/gtest.h>

#include <kel/application.h>
#include <kel/preferences.h>
#include <kelmime/application.h>

namespace kel {

// A literal must not become a boolean on the way.
TEST(Application, SetsPreferencesOfEachKind) {
  set_preference("a", true);
  set_preference("b", "text");
  set_preference("c", std::string("YES"));
  set_preference("d", std::vector<std::string>{ "1", "2" });
  EXPECT_TRUE(preferences::boolean("a") && preferences::boolean("c") && !preferences::boolean("b"));
  EXPECT_EQ(preferences::string("b"), "text");
  EXPECT_EQ(preferences::strings("d"), (std::vector<std::string>{ "1", "2" }));
  preferences::reset();
  set_application_version("2.0", "1234");
  EXPECT_EQ(application_t::version() + " " + application_t::revision(), "2.0 1234");
}

}  // namespace kel
