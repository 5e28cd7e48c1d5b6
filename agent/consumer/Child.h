#pragma once

#include <sys/types.h>

#include <string>

#include "config/file/Fd.h"

namespace Routing::Agent {

/// A program that was started with a socket for its standard input; its other output goes where the
/// daemon's goes.
struct Child {
  pid_t pid = -1;
  Fd input;  ///< this side of its standard input
  Fd exit;   ///< readable once it has ended
};

/// Starts a program without arguments, with none of the daemon's capabilities. It ends with the
/// calling thread. Raises std::system_error if no process can be made; a program that cannot be run
/// ends with exit code 127.
Child startChild(const std::string& program);
/// Takes the end of a child that has ended: "exit code 1", "signal 9".
std::string endOf(pid_t pid);

}  // namespace Routing::Agent
