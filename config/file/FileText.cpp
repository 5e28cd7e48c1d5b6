#include "config/file/FileText.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "config/file/Fd.h"

namespace Routing::Agent {
namespace {

[[noreturn]] void fail(int error) {
  throw std::runtime_error(std::generic_category().message(error));
}

/// Opening a pipe or a device without O_NONBLOCK may wait for its other end.
Fd opened(const std::string& file) {
  Fd fd(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!fd) fail(errno);
  return fd;
}

bool isRegular(const Fd& fd) {
  struct stat status {};
  return ::fstat(fd.get(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

std::string regularFileText(const std::string& file, std::size_t most) {
  const Fd fd = opened(file);
  if (!isRegular(fd)) throw std::runtime_error("not a regular file");
  std::string text(most, '\0');
  std::size_t size = 0;
  while (size < most) {
    const ssize_t count = ::read(fd.get(), text.data() + size, most - size);
    if (count < 0) fail(errno);
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  text.resize(size);
  return text;
}

}  // namespace Routing::Agent
