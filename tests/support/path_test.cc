#include <kel/path.h>

#include <gtest/gtest.h>

#include <helpers/surroundings.h>

namespace kel {

TEST(Path, TakesNamesApart) {
  struct { char const* path; char const* name; char const* extension; } const rows[] = {
    { "/a/b/c.txt", "c.txt", ".txt" }, { "a.d/b", "b", "" }, { "x.tar.gz/", "x.tar.gz", ".gz" },
    { "/a/.profile", ".profile", "" }, { "a.", "a.", "." }, { "..", "..", "" }, { "/", "", "" }, { "", "", "" },
  };
  for (auto const& row : rows) {
    EXPECT_EQ(path::name(row.path), row.name) << row.path;
    EXPECT_EQ(path::extension(row.path), row.extension) << row.path;
  }
}

TEST(Path, JoinsWithOneSlash) {
  EXPECT_EQ(path::join("a", "b"), "a/b");
  EXPECT_EQ(path::join("a/", "b"), "a/b");
  EXPECT_EQ(path::join("a", "/b"), "/b");
  EXPECT_EQ(path::join("", "b"), "b");
  EXPECT_EQ(path::join("a", ""), "a");
}

TEST(Path, ReadsFilesOrSaysThatThereIsNoValue) {
  temporary_folder_t const folder;
  std::string const bytes = std::string(100'000, 'x') + std::string("\0\r\n", 3);
  EXPECT_EQ(path::content(folder.write("large", bytes)), bytes);
  EXPECT_EQ(path::content(folder.write("empty", "")), "");
  EXPECT_EQ(path::content(folder.path() + "/missing"), "\xEF\xBF\xBF");
  EXPECT_EQ(path::content(folder.path()), "\xEF\xBF\xBF");
}

TEST(Path, MakesTemporaryPathsThatDiffer) {
  temporary_folder_t const folder;
  variable_guard_t const temporary("TMPDIR", folder.path());
  std::string const first = path::temp("file");
  EXPECT_EQ(first.find(folder.path() + "/file_"), 0U);
  EXPECT_NE(first, path::temp("file"));
  EXPECT_FALSE(path::exists(first));
}

}  // namespace kel
