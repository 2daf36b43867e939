#ifndef DORVANE_TESTS_HARNESS_TEMPDIR_H
#define DORVANE_TESTS_HARNESS_TEMPDIR_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

namespace harness {

// A new directory that is removed with all it holds at the end of the scope.
class TempDir {
 public:
  TempDir() : m_path(testing::TempDir() + "/dorvane-XXXXXX") {
    EXPECT_NE(::mkdtemp(m_path.data()), nullptr) << m_path;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // The path of an entry; it need not exist.
  std::string operator/(std::string_view name) const { return m_path + "/" + std::string(name); }

  // Makes a file with this content and returns its path.
  std::string file(std::string_view name, std::string_view content) const {
    std::string path = *this / name;
    std::ofstream out(path, std::ios::binary);
    out << content;
    out.close();
    EXPECT_TRUE(out) << path;
    return path;
  }

  const std::string& path() const { return m_path; }

 private:
  std::string m_path;
};

inline std::string contentOfFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in) << path;
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Number of files that this process has open.
inline long openFiles() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return std::distance(begin(entries), end(entries));
}

}  // namespace harness

#endif
