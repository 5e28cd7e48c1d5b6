#pragma once

#include <set>
#include <string>
#include <string_view>

#include "config/file/Fd.h"

namespace Routing::Agent {

/// A directory that is this process's alone: its files have mode 0600 and belong to its user, and
/// whatever else lies there under their names is not opened. What fails raises std::system_error.
class StateDirectory {
 public:
  static constexpr std::size_t maxFileSize = 64U << 20U;

  /// Makes the directory if need be. Raises also if it is not its owner's alone, or if another
  /// process holds it.
  explicit StateDirectory(const std::string& path);

  /// The names of all that is there.
  std::set<std::string> names() const;
  /// The content of a file. Raises StateFault where there is something else, or too much.
  std::string read(const std::string& name) const;
  /// Puts a new file in the place of whatever is there, in one step; to be written on at its end.
  Fd replace(const std::string& name, std::string_view content) const;
  /// Renames a file or what else is there; what was there under the new name goes.
  void rename(const std::string& name, const std::string& to) const;
  /// Takes a file or an empty directory away; what is not there is no failure.
  void remove(const std::string& name) const;

 private:
  Fd open(const std::string& name, int flags) const;

  Fd directory_;
};

/// Writes all of it, or raises std::system_error.
void writeAll(const Fd& file, std::string_view text);

}  // namespace Routing::Agent
