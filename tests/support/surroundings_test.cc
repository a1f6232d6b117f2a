// What the library takes from its surroundings: preferences, data files, the environment, the application.
#include <helpers/surroundings.h>
#include <helpers/threads.h>

#include <cstdio>

#include <gtest/gtest.h>

#include <kel/application.h>
#include <kel/bundle.h>
#include <kel/environment.h>
#include <kel/preferences.h>
#include <kel/run_command.h>
#include <kel/timer.h>
#include <kel/uuid.h>

namespace kel {
namespace {

namespace fs = std::filesystem;

class Preferences : public testing::Test {
protected:
  void write(std::string_view content) {
    _folder.write("postwick/preferences.plist", content);
    preferences::reset();
  }
  ~Preferences() override { preferences::reset(); }

  temporary_folder_t _folder;
  variable_guard_t _config{ "XDG_CONFIG_HOME", _folder.path() };
};

TEST_F(Preferences, AsksTheProcessThenTheFileThenTheDefaults) {
  write("{ A = file; B = file; }");
  preferences::register_default("B", "default");
  preferences::register_default("C", "default");
  preferences::set("A", "process");
  auto const asked = [](char const* key) { return preferences::string(key, "fallback"); };
  EXPECT_EQ(asked("A") + " " + asked("B") + " " + asked("C") + " " + asked("D"), "process file default fallback");
  EXPECT_EQ(asked("PwOpenPGPHashFunction"), "sha256");

  preferences::reset();
  EXPECT_EQ(asked("A"), "file");
  write("{ PwOpenPGPHashFunction = sha512; }");
  EXPECT_EQ(asked("A") + " " + asked("PwOpenPGPHashFunction"), "fallback sha512");
}

TEST_F(Preferences, AnswersInTheKindThatIsAsked) {
  write("{ on = YES; off = NO; word = x; list = (a, {}, b); }");
  EXPECT_TRUE(preferences::boolean("on") && !preferences::boolean("off", true) && preferences::boolean("word", true));
  EXPECT_EQ(preferences::string("list", "fallback"), "fallback");
  EXPECT_EQ(preferences::strings("list"), (std::vector<std::string>{ "a", "b" }));
  EXPECT_TRUE(preferences::strings("word").empty());
  preferences::set("off", true);
  EXPECT_TRUE(preferences::boolean("off"));
}

TEST_F(Preferences, WarnsOfAFileThatItCannotUse) {
  std::string const file = path::join(_folder.path(), "postwick/preferences.plist");
  std::pair<char const*, std::string> const rows[] = {
    { "{\n a = b }", "Warning: Unable to parse '" + file + "': line 2, column 8: Expected ';' after the value\n" },
    { "(a)", "Warning: '" + file + "' does not hold a dictionary\n" },
  };
  for (auto const& [content, expected] : rows) {
    write(content);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(preferences::value("a") || preferences::value("b"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected) << "once";
  }
}

TEST_F(Preferences, MayBeAskedAndSetByManyThreads) {
  write("{ A = file; }");
  in_threads(4, [](int i) {
    std::string const own = "B" + std::to_string(i);
    for (int n = 0; n < 100; ++n) {
      preferences::set(own, std::to_string(n));
      EXPECT_EQ(preferences::string("A") + preferences::string(own), "file" + std::to_string(n));
    }
  });
}

TEST_F(Preferences, SwitchTimersOn) {
  testing::internal::CaptureStderr();
  { timer_t const timer("silent"); }
  preferences::set("PwDebugTimers", true);
  { timer_t const timer("loading"); }
  std::string const output = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(output.starts_with("loading: ") && output.ends_with(" ms\n")) << output;
}

TEST(Bundle, TakesTheNamedFolderAndNoOther) {
  temporary_folder_t const folder;
  std::string const file = folder.write("specifiers.plist", "{}");
  {
    variable_guard_t const named("KELMIME_RESOURCES", folder.path());
    EXPECT_EQ(bundle::resource("specifiers", "plist"), file);
    EXPECT_EQ(bundle::resource("missing", "plist"), std::nullopt);
  }
  variable_guard_t const named("KELMIME_RESOURCES", folder.path() + "/missing");
  EXPECT_EQ(bundle::resource("specifiers", "plist"), std::nullopt);
}

// Run by the test below, in a copy of this program: looks for a file of the name that it is given.
TEST(Bundle, DISABLED_Probe) {
  if (char const* const name = std::getenv("PROBE_RESOURCE"))
    std::printf("<%s>\n", bundle::resource(name, "txt").value_or("not found").c_str());
}

// What a program sees that was installed as `program`, with the resource probe.txt in `resources`.
std::string seen_from(fs::path const& program, fs::path const& resources) {
  temporary_folder_t const prefix;
  fs::path const root = fs::canonical(prefix.path());
  prefix.write((resources / "probe.txt").string(), "");
  fs::create_directories((root / program).parent_path());
  fs::copy_file(application_t::path(), root / program);

  std::string text, error;
  run_command({ { "PROBE_RESOURCE", "probe" } },
              (root / program).string() + " --gtest_also_run_disabled_tests --gtest_filter=Bundle.DISABLED_Probe", "", text, error);
  std::string const seen = text.substr(text.find('<') + 1, text.find('>') - text.find('<') - 1);
  return seen.starts_with(root.string()) ? seen.substr(root.string().size() + 1) : seen;
}

TEST(Bundle, FindsInstalledFilesFromWhereItLies) {
  EXPECT_EQ(seen_from("lib/library", "share/kelmime"), "share/kelmime/probe.txt");
  EXPECT_EQ(seen_from("lib/x86_64-linux-gnu/library", "share/kelmime"), "share/kelmime/probe.txt");
  EXPECT_EQ(seen_from("lib/a/b/c/library", "share/kelmime"), "not found");
  EXPECT_EQ(seen_from("lib/library", "share/other"), "not found");
}

TEST(Bundle, FallsBackToTheSourceTree) {
  variable_guard_t const unnamed("KELMIME_RESOURCES", std::nullopt);
  for (auto const& entry : fs::directory_iterator(KELMIME_RESOURCES_DIR)) {
    fs::path const file = entry.path();
    if (file.has_extension()) {
      EXPECT_EQ(bundle::resource(file.stem().string(), file.extension().string().substr(1)), file.string());
    }
  }
  EXPECT_EQ(bundle::resource("no such resource", "plist"), std::nullopt);
}

TEST(Application, KeepsItsFilesWhereTheUserSays) {
  struct { char const* home; std::optional<std::string> data; char const* expected; } const rows[] = {
    { "/home/joe", "/data", "/data/postwick" }, { "/home/joe", {}, "/home/joe/.local/share/postwick" },
    { "/home/joe", "relative", "/home/joe/.local/share/postwick" }, { "/home/joe", "", "/home/joe/.local/share/postwick" },
  };
  for (auto const& row : rows) {
    variable_guard_t const home("HOME", row.home), data("XDG_DATA_HOME", row.data);
    EXPECT_EQ(application_t::support_folder(), row.expected);
  }
  variable_guard_t const no_home("HOME", std::nullopt), no_data("XDG_DATA_HOME", std::nullopt);
  EXPECT_TRUE(application_t::support_folder().starts_with('/'));
}

class BasicEnvironment : public testing::Test {
protected:
  void add_program(std::string_view name) { fs::permissions(_folder.write(name, "#!/bin/sh\n"), fs::perms::owner_all); }
  static std::string helper(char const* variable) {
    auto const environment = basic_environment();
    auto const found = environment.find(variable);
    return found == environment.end() ? "not there" : found->second;
  }

  temporary_folder_t _folder;
  variable_guard_t _path{ "PATH", "relative::/no such folder:" + _folder.path() };
  variable_guard_t _gpg{ "PW_GPG", std::nullopt };
  variable_guard_t _tnef{ "PW_TNEF", std::nullopt };
};

TEST_F(BasicEnvironment, NamesTheHelpersThatAreFound) {
  EXPECT_EQ(helper("PW_GPG"), "not there");
  add_program("gpg");
  _folder.write("tnef", "not a program");
  EXPECT_EQ(helper("PW_GPG") + " " + helper("PW_TNEF"), _folder.path() + "/gpg not there");
  add_program("gpg2");
  add_program("tnef");
  EXPECT_EQ(helper("PW_GPG") + " " + helper("PW_TNEF"), _folder.path() + "/gpg2 " + _folder.path() + "/tnef");
  variable_guard_t const gpg("PW_GPG", "/opt/gpg=x"), no_path("PATH", std::nullopt);
  EXPECT_EQ(helper("PW_GPG") + " " + helper("PATH") + " " + helper("PW_TNEF"), "/opt/gpg=x not there not there") << "nothing else is added";
}

TEST(Uuid, IsRandomAndUpperCase) {
  std::string const text = uuid_t().to_s();
  ASSERT_EQ(text.size(), 36U);
  EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF-"), text.npos) << text;
  EXPECT_EQ(text[14], '4') << "made of random bits";
  EXPECT_NE(text, uuid_t().to_s());
}

}  // namespace
}  // namespace kel
