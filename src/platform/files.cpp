#include "platform/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace zyl::platform {

namespace fs = std::filesystem;

std::optional<std::string> ReadFile(const fs::path& path, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    if (error) *error = std::strerror(errno);
    return std::nullopt;
  }
  std::ostringstream ss;
  ss << in.rdbuf();
  if (in.bad()) {
    if (error) *error = "read error";
    return std::nullopt;
  }
  return ss.str();
}

fs::path TempNameBeside(const fs::path& path) {
  static std::atomic<unsigned> counter{0};
  fs::path tmp = path;
  tmp += ".tmp" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
  return tmp;
}

bool ReplaceFile(const fs::path& temp, const fs::path& path, std::string* error) {
  if (std::rename(temp.c_str(), path.c_str()) != 0) {
    if (error) *error = std::strerror(errno);
    std::error_code ec;
    fs::remove(temp, ec);
    return false;
  }
  return true;
}

bool WriteFileAtomic(const fs::path& path, std::string_view content, std::string* error) {
  const fs::path tmp = TempNameBeside(path);
  int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) {
    if (error) *error = std::strerror(errno);
    return false;
  }
  const char* p = content.data();
  size_t left = content.size();
  while (left > 0) {
    ssize_t n = ::write(fd, p, left);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (error) *error = std::strerror(errno);
      ::close(fd);
      ::unlink(tmp.c_str());
      return false;
    }
    p += n;
    left -= static_cast<size_t>(n);
  }
  const bool synced = ::fsync(fd) == 0;
  const bool closed = ::close(fd) == 0;
  if (!synced || !closed) {
    if (error) *error = std::strerror(errno);
    ::unlink(tmp.c_str());
    return false;
  }
  return ReplaceFile(tmp, path, error);
}

}  // namespace zyl::platform
