#include "agent/state/StateDirectory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

#include "agent/state/StateFault.h"

namespace Routing::Agent {
namespace {

constexpr mode_t ownerOnly = 0600;
constexpr mode_t ownersDirectory = 0700;

[[noreturn]] void fail(const std::string& what, int error = errno) {
  throw std::system_error(error, std::system_category(), what);
}

struct stat statusOf(const Fd& file, const std::string& name) {
  struct stat found {};
  if (fstat(file.get(), &found) != 0) fail(name);
  return found;
}

bool isOursAlone(const struct stat& found) {
  return found.st_uid == geteuid() && (found.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

}  // namespace

StateDirectory::StateDirectory(const std::string& path) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  if (mkdir(path.c_str(), ownersDirectory) != 0 && errno != EEXIST) fail(path);
  directory_ = Fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!directory_) fail(path);
  if (!isOursAlone(statusOf(directory_, path))) fail(path, EPERM);
  if (flock(directory_.get(), LOCK_EX | LOCK_NB) != 0) fail(path);
}

std::set<std::string> StateDirectory::names() const {
  Fd again = open(".", O_RDONLY | O_DIRECTORY);
  if (!again) fail("reading the directory");
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(dup(again.get())), closedir);
  if (!entries) fail("reading the directory");
  std::set<std::string> names;
  while (const dirent* entry = readdir(entries.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.insert(name);
  }
  return names;
}

// Opened without waiting: a FIFO would hold the daemon up.
std::string StateDirectory::read(const std::string& name) const {
  const Fd file = open(name, O_RDONLY | O_NONBLOCK);
  if (!file) {
    if (errno == ELOOP) throw StateFault("is no file");
    fail(name);
  }
  const struct stat found = statusOf(file, name);
  if (!S_ISREG(found.st_mode)) throw StateFault("is no file");
  if (!isOursAlone(found)) throw StateFault("is not its owner's alone");
  if (static_cast<std::size_t>(found.st_size) > maxFileSize) throw StateFault("is too long");
  std::string text(static_cast<std::size_t>(found.st_size), '\0');
  std::size_t size = 0;
  while (size < text.size()) {
    const ssize_t got = ::read(file.get(), text.data() + size, text.size() - size);
    if (got < 0) fail(name);
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  text.resize(size);
  return text;
}

Fd StateDirectory::replace(const std::string& name, std::string_view content) const {
  const std::string fresh = name + ".new";
  remove(fresh);
  Fd file = open(fresh, O_WRONLY | O_APPEND | O_CREAT | O_EXCL);
  if (!file) fail(fresh);
  writeAll(file, content);
  rename(fresh, name);
  return file;
}

void StateDirectory::rename(const std::string& name, const std::string& to) const {
  const int at = directory_.get();
  if (renameat(at, name.c_str(), at, to.c_str()) == 0) return;
  // What is there may be of another kind.
  if (errno != EISDIR && errno != ENOTDIR) fail(name);
  remove(to);
  if (renameat(at, name.c_str(), at, to.c_str()) != 0) fail(name);
}

void StateDirectory::remove(const std::string& name) const {
  if (unlinkat(directory_.get(), name.c_str(), 0) == 0 || errno == ENOENT) return;
  if (errno != EISDIR || unlinkat(directory_.get(), name.c_str(), AT_REMOVEDIR) != 0) fail(name);
}

Fd StateDirectory::open(const std::string& name, int flags) const {
  return Fd(openat(directory_.get(), name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, ownerOnly));
}

void writeAll(const Fd& file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(file.get(), text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail("writing");
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace Routing::Agent
