#include "agent/control/ControlSocket.h"

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <asio.hpp>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace Routing::Agent {
namespace {

using Protocol = asio::local::stream_protocol;

[[noreturn]] void fail(std::error_code error, const std::string& path) {
  throw std::system_error(error, "control socket " + path);
}

Protocol::endpoint endpointOf(const std::string& path) {
  if (path.empty() || path.size() >= sizeof(sockaddr_un::sun_path)) {
    fail(std::make_error_code(std::errc::filename_too_long), path);
  }
  return Protocol::endpoint(path);
}

void createDirectory(const std::string& path) {
  const auto directory = std::filesystem::path(path).parent_path();
  std::error_code error;
  if (!directory.empty()) std::filesystem::create_directories(directory, error);
  if (error) fail(error, path);
}

/// A full queue of connections is a listener too, so the attempt must not wait.
bool somebodyListens(asio::io_context& loop, const Protocol::endpoint& endpoint) {
  Protocol::socket probe(loop, Protocol());
  probe.non_blocking(true);
  std::error_code error;
  probe.connect(endpoint, error);
  return error != asio::error::connection_refused;
}

void removeStale(asio::io_context& loop, const std::string& path) {
  struct stat found {};
  if (lstat(path.c_str(), &found) != 0) return;
  if (!S_ISSOCK(found.st_mode)) fail(std::make_error_code(std::errc::file_exists), path);
  if (somebodyListens(loop, endpointOf(path))) {
    fail(std::make_error_code(std::errc::address_in_use), path);
  }
  if (unlink(path.c_str()) != 0) fail({errno, std::system_category()}, path);
}

/// The mode must be right from the first moment: whoever connects before a later chmod stays.
void bindWithMode(ControlSocket::Acceptor& acceptor, const std::string& path) {
  const Protocol::endpoint endpoint = endpointOf(path);
  const mode_t others = umask(0117);
  std::error_code error;
  acceptor.bind(endpoint, error);
  umask(others);
  if (error) fail(error, path);
}

}  // namespace

ControlSocket::ControlSocket(asio::io_context& loop, const std::string& path)
    : path_(path), acceptor_(loop, Protocol()) {
  createDirectory(path);
  removeStale(loop, path);
  bindWithMode(acceptor_, path);
  struct stat made {};
  if (lstat(path.c_str(), &made) != 0) fail({errno, std::system_category()}, path);
  device_ = made.st_dev;
  inode_ = made.st_ino;
  acceptor_.listen();
}

ControlSocket::~ControlSocket() {
  struct stat found {};
  const bool ours =
      lstat(path_.c_str(), &found) == 0 && found.st_dev == device_ && found.st_ino == inode_;
  if (ours) unlink(path_.c_str());
}

}  // namespace Routing::Agent
