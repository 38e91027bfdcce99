#pragma once
// A fresh folder under the test temp dir, removed at the end of its scope.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zyl::testing {

class TempDir {
 public:
  explicit TempDir(const std::string& prefix = "zyl") {
    static std::atomic<int> n{0};
    path_ = std::filesystem::path(::testing::TempDir()) /
            (prefix + "_" + std::to_string(::getpid()) + "_" + std::to_string(n++));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  const std::filesystem::path& path() const { return path_; }
  const std::filesystem::path& Path() const { return path_; }  ///< the same, as the window tests spell it

 private:
  std::filesystem::path path_;
};

/// A file's whole content (empty when it can not be read).
inline std::string ReadWholeFile(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace zyl::testing
