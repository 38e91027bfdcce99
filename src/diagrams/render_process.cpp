#include "diagrams/render_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fmt/format.h>

#include "platform/paths.h"

namespace zyl::diagrams {

namespace {

// A temporary file holding the picture data; removed when it goes out of scope.
struct TempPicture {
  std::string path;
  ~TempPicture() {
    if (!path.empty()) ::unlink(path.c_str());
  }
  std::string Write(const std::string& data) {
    std::string pattern = (std::filesystem::temp_directory_path() / "zyl-picture-XXXXXX").string();
    int fd = ::mkstemp(pattern.data());
    if (fd < 0) return fmt::format("can not create a temporary file: {}", std::strerror(errno));
    path = pattern;
    size_t done = 0;
    while (done < data.size()) {
      ssize_t n = ::write(fd, data.data() + done, data.size() - done);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        ::close(fd);
        return fmt::format("can not write {}: {}", path, std::strerror(errno));
      }
      done += static_cast<size_t>(n);
    }
    ::close(fd);
    return {};
  }
};

}  // namespace

std::string RenderPicture(const DiagramPicture& pic, const std::filesystem::path& out, int width, int height,
                          const std::filesystem::path& renderer_dir) {
  const std::string renderer =
      ((renderer_dir.empty() ? platform::ProgramDir() : renderer_dir) / kRendererName).string();
  if (::access(renderer.c_str(), X_OK) != 0)
    return fmt::format("the picture renderer {} is not built or not executable", renderer);
  TempPicture temp;
  if (std::string e = temp.Write(WritePicture(pic)); !e.empty()) return e;
  const std::string target = out.string(), size = fmt::format("{}x{}", width, height);
  pid_t pid = ::fork();
  if (pid < 0) return fmt::format("can not start {}: {}", renderer, std::strerror(errno));
  if (pid == 0) {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    const char* argv[] = {renderer.c_str(), temp.path.c_str(), target.c_str(), "--size", size.c_str(), nullptr};
    ::execv(renderer.c_str(), const_cast<char* const*>(argv));
    ::_exit(127);
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0)
    if (errno != EINTR) return fmt::format("lost the renderer process: {}", std::strerror(errno));
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return {};
  if (WIFEXITED(status)) return fmt::format("the picture {} could not be written (renderer exit status {})",
                                            target, WEXITSTATUS(status));
  return fmt::format("the picture renderer stopped on signal {}", WTERMSIG(status));
}

}  // namespace zyl::diagrams
